#include "kernel/FixedBlockPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace Zef {
namespace {

TEST(FixedBlockPool, ItemsAreAlignedAndApart) {
  const struct {
    std::uint32_t itemSize, perChunk, align;
    std::uint64_t stride, effectiveAlign;
  } cases[] = {
      {20, 5, 3, 32, 8},                         // no power of two counts as 8
      {1, 4, 1, 16, 8},                          // the hidden word needs its own alignment
      {24, 10, 16, 32, 16},                       // item and hidden word fill the stride
      {25, 10, 16, 48, 16},                       // one byte more
      {100, 2, 256, 256, 256}, {0, 0, 0, 8, 8},  // an item of no bytes, in chunks of one
  };
  for (const auto& c : cases) {
    FixedBlockPool pool(c.itemSize, c.perChunk, c.align);
    EXPECT_EQ(pool.Stride(), c.stride);
    std::vector<unsigned char*> items;
    for (int i = 0; i < 20; ++i) {
      items.push_back(static_cast<unsigned char*>(pool.Acquire()));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(items.back()) % c.effectiveAlign, 0U);
      std::memset(items.back(), i, c.itemSize);
    }
    for (std::size_t i = 0; i < 20 && c.itemSize > 0; ++i) {
      EXPECT_EQ(items[i][0], i);
      EXPECT_EQ(items[i][c.itemSize - 1], i);
    }
    for (unsigned char* item : items) pool.Release(item);
    EXPECT_EQ(pool.Chunks(), 0U) << "all came back";
    EXPECT_EQ(pool.FreeItems(), 0);
  }
}

TEST(FixedBlockPool, CarvesBeforeItReusesAndDropsChunksThatCameBack) {
  FixedBlockPool pool(16, 3);
  std::vector<void*> items;
  for (int i = 0; i < 4; ++i) items.push_back(pool.Acquire());
  EXPECT_EQ(pool.Chunks(), 2U);
  pool.Release(items[0]);
  pool.Release(nullptr);
  EXPECT_EQ(pool.FreeItems(), 1);
  std::set<void*> fresh = {pool.Acquire(), pool.Acquire()};
  EXPECT_EQ(fresh.count(items[0]), 0U) << "two items of the second chunk were still uncut";
  EXPECT_EQ(pool.Acquire(), items[0]);
  EXPECT_EQ(pool.FreeItems(), 0);
  for (int i = 0; i < 3; ++i) pool.Release(items[i]);
  EXPECT_EQ(pool.Chunks(), 1U);
  EXPECT_EQ(pool.FreeItems(), 0) << "the items of a dropped chunk are no longer free";
  pool.Clear();
  EXPECT_EQ(pool.Chunks(), 0U);
  EXPECT_NE(pool.Acquire(), nullptr) << "usable after a clear";
}

TEST(FixedBlockPool, ChunksThatCannotBeGiveNull) {
  EXPECT_EQ(FixedBlockPool(0xFFFFFFFF, 0xFFFFFFFF).Acquire(), nullptr);
}

TEST(FixedBlockPool, ThreadsNeverShareAnItem) {
  FixedBlockPool pool(sizeof(int), 10);
  std::vector<std::thread> threads;
  std::atomic<int> damaged{0};
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([id, &pool, &damaged] {
      void* held[25] = {};
      for (int round = 0; round < 5000; ++round) {
        void*& slot = held[round % 25];
        if (slot != nullptr) damaged += *static_cast<int*>(slot) != id;
        pool.Release(slot);
        slot = pool.Acquire();
        *static_cast<int*>(slot) = id;
      }
      for (void* item : held) pool.Release(item);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(damaged, 0);
  EXPECT_LE(pool.Chunks(), 1U) << "only the chunk being cut may stay";
}

}  // namespace
}  // namespace Zef
