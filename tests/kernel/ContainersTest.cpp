#include "kernel/Containers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <thread>
#include <vector>

namespace Zef {
namespace {

// Links that do not stand at the object's start: converting back must move the pointer.
struct Item {
  virtual ~Item() = default;
  int value = 0;
};
struct Linked : Item, IListNode, ISingleListNode, ITree<Linked> {
  explicit Linked(int number) { value = number; }
};

TEST(IntrusiveLists, KeepOrderAndEndsThroughRemovals) {
  Linked a(1), b(2), c(3);
  IList<Linked> list;
  list.PushBack(&b);
  list.PushBack(&c);
  list.PushFront(&a);
  EXPECT_EQ(list.Next(list.Head())->value, 2);
  list.Remove(&b);
  EXPECT_EQ(list.Next(&a), &c);
  EXPECT_EQ(list.Prev(&c), &a);
  list.Remove(&a);
  list.Remove(&c);
  EXPECT_EQ(list.Head(), nullptr);
  EXPECT_EQ(list.Tail(), nullptr);
  EXPECT_EQ(list.Count(), 0U);

  ICircularList<Linked> ring;
  for (Linked* item : {&a, &b, &c}) ring.PushBack(item);
  ring.Unlink(&a);
  ring.Unlink(&a);
  EXPECT_EQ(ring.First(), &b);
  EXPECT_EQ(ring.Next(&b), &c);
  EXPECT_EQ(ring.Next(&c), nullptr);

  ISingleList<Linked> stack;
  for (Linked* item : {&a, &b, &c}) stack.PushFront(item);
  EXPECT_TRUE(stack.Remove(&b));
  EXPECT_FALSE(stack.Remove(&b));
  EXPECT_EQ(stack.Head(), &c);
  EXPECT_EQ(stack.Next(&c), &a);
}

TEST(Tree, AChildHasOneParent) {
  Linked root(0), other(1), left(2), right(3);
  root.Attach(&left);
  root.Attach(&right);
  other.Attach(&left);
  EXPECT_EQ(left.Parent(), &other);
  EXPECT_EQ(root.FirstChild(), &right);
  EXPECT_EQ(right.NextSibling(), nullptr);
  right.Detach();
  right.Detach();
  EXPECT_EQ(root.FirstChild(), nullptr);
}

std::uint32_t ChunksIn(const BlockAllocator::Statistics& before) {
  const auto now = BlockAllocator::GetStatistics();
  return now.listHits + now.listMisses - before.listHits - before.listMisses;
}

TEST(ChunkList, TheFourteenthEntryTakesAChunkAndGivesItBack) {
  std::vector<int> values(14);
  ChunkList<int*> list;
  const auto before = BlockAllocator::GetStatistics();
  for (int i = 0; i < 13; ++i) list.PushBack(&values[i]);
  EXPECT_EQ(ChunksIn(before), 1U);
  for (int round = 0; round < 3; ++round) {
    list.PushBack(&values[13]);
    EXPECT_TRUE(list.Remove(&values[13]));
  }
  EXPECT_EQ(ChunksIn(before), 4U) << "a chunk that empties must be freed and made anew";
}

// Any order of pushes and erases gives what a deque gives: chunk borders never show.
TEST(ChunkList, BehavesAsASequence) {
  std::mt19937 random(7);
  ChunkList<std::uintptr_t> list;
  std::deque<std::uintptr_t> model;
  for (std::uintptr_t step = 1; step < 4000; ++step) {
    const auto choice = random() % 8;
    if (choice < 2) {
      list.PushFront(step);
      model.push_front(step);
    } else if (choice < 5) {
      list.PushBack(step);
      model.push_back(step);
    } else if (!model.empty()) {
      const auto index = static_cast<std::ptrdiff_t>(random() % model.size());
      const auto behind = list.Erase(list.Find(model[index]));
      const auto expected = model.erase(model.begin() + index);
      ASSERT_EQ(behind == list.end(), expected == model.end());
      if (expected != model.end()) {
        ASSERT_EQ(*behind, *expected);
      }
    }
    ASSERT_EQ(list.Count(), model.size());
    ASSERT_TRUE(std::equal(model.begin(), model.end(), list.begin()));
  }
  ChunkList<std::uintptr_t> copy(list);
  list.Clear();
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(list.Find(1), list.end());
  EXPECT_TRUE(std::equal(model.begin(), model.end(), copy.begin()));
  EXPECT_FALSE(copy.Remove(0));
}

int living = 0;
template <typename Base>
struct Counted : Base {
  Counted() { ++living; }
  ~Counted() override { --living; }
};

template <typename Base>
class RefTest : public testing::Test {};
using CountBases = testing::Types<ReferenceCount, ReferenceCountMP>;
TYPED_TEST_SUITE(RefTest, CountBases);

TYPED_TEST(RefTest, TheLastHolderEndsTheObject) {
  using Object = Counted<TypeParam>;
  {
    Ref<Object> first(new Object);
    EXPECT_EQ(first->References(), 1) << "a new object is adopted as it is born";
    Ref<Object> second = first;
    second = *&second;
    Ref<TypeParam> base = Ref<TypeParam>::Share(first.Get());
    EXPECT_EQ(first->References(), 3);
    Ref<Object> moved = std::move(second);
    EXPECT_EQ(first->References(), 3);
    base = nullptr;
    moved = Ref<Object>(new Object);
    EXPECT_EQ(living, 2);
    EXPECT_EQ(first->References(), 1);
    moved.Detach()->Release();
    EXPECT_EQ(living, 1);
  }
  EXPECT_EQ(living, 0);
}

TEST(ReferenceCountMP, ThreadsMayShareAnObject) {
  using Object = Counted<ReferenceCountMP>;
  std::vector<std::thread> threads;
  {
    const Ref<Object> object(new Object);
    for (int id = 0; id < 4; ++id) {
      threads.emplace_back([object] {
        for (int round = 0; round < 10'000; ++round) const Ref<Object> copy(object);
      });
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(living, 0);
}

}  // namespace
}  // namespace Zef
