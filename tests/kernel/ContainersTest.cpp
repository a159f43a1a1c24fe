#include "kernel/Containers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

using namespace Zef;

// Links that do not stand at the object's start: converting back must move the pointer.
struct Item {
  virtual ~Item() = default;
};
struct Linked : Item, IListNode, ISingleListNode, ITree<Linked> {};

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
    } else if (choice < 5 || model.empty()) {
      list.PushBack(step);
      model.push_back(step);
    } else {
      const auto index = static_cast<std::ptrdiff_t>(random() % model.size());
      const auto behind = list.Erase(list.Find(model[static_cast<std::size_t>(index)]));
      const auto expected = model.erase(model.begin() + index);
      ASSERT_EQ(behind == list.end() ? 0 : *behind, expected == model.end() ? 0 : *expected);
    }
    ASSERT_EQ(list.Count(), model.size());
    ASSERT_TRUE(std::equal(model.begin(), model.end(), list.begin()));
  }
  const ChunkList<std::uintptr_t> copy(list);
  list.Clear();
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_FALSE(list.Remove(1));
  EXPECT_TRUE(std::equal(model.begin(), model.end(), copy.begin()));
}

static int living = 0;
template <typename Base>
struct Living : Base {
  Living() { ++living; }
  ~Living() override { --living; }
};

template <typename Base>
class RefTest : public testing::Test {};
using CountBases = testing::Types<ReferenceCount, ReferenceCountMP>;
TYPED_TEST_SUITE(RefTest, CountBases);

TYPED_TEST(RefTest, TheLastHolderEndsTheObject) {
  using Object = Living<TypeParam>;
  {
    Ref<Object> first(new Object);
    EXPECT_EQ(first->References(), 1) << "a new object is adopted as it is born";
    Ref<Object> second = first;
    Ref<TypeParam> base = Ref<TypeParam>::Share(first.Get());
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
