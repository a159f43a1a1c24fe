#include "kernel/FixedBlockPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

#include "kernel/BlockAllocator.h"
#include "tests/support/Threads.h"

using namespace Zef;

TEST(FixedBlockPool, ItemsAreAlignedAndApart) {
  const struct {
    std::uint32_t itemSize, perChunk, align;
    std::uint64_t stride, effectiveAlign;
  } cases[] = {{20, 5, 3, 32, 8},     // no power of two counts as 8
               {1, 4, 1, 16, 8},      // the hidden word needs its own alignment
               {24, 10, 16, 32, 16},  // item and hidden word fill the stride
               {25, 10, 16, 48, 16}, {100, 2, 256, 256, 256}, {4, 0, 0, 16, 8}};
  for (const auto& c : cases) {
    FixedBlockPool pool(c.itemSize, c.perChunk, c.align);
    EXPECT_EQ(pool.Stride(), c.stride);
    std::vector<unsigned char*> items(20);
    for (std::size_t i = 0; i < items.size(); ++i) {
      items[i] = static_cast<unsigned char*>(pool.Acquire());
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(items[i]) % c.effectiveAlign, 0U);
      std::memset(items[i], static_cast<int>(i), c.itemSize);
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
      EXPECT_TRUE(items[i][0] == i && items[i][c.itemSize - 1] == i) << "overwritten";
      pool.Release(items[i]);
    }
    EXPECT_EQ(pool.Chunks(), 0U) << "all came back";
    EXPECT_EQ(pool.FreeItems(), 0);
  }
  EXPECT_EQ(FixedBlockPool(0xFFFFFFFF, 0xFFFFFFFF).Acquire(), nullptr);
}

TEST(FixedBlockPool, CarvesBeforeItReusesAndDropsChunksThatCameBack) {
  FixedBlockPool pool(16, 3);
  void* items[4];
  for (void*& item : items) item = pool.Acquire();
  pool.Release(items[0]);
  pool.Release(nullptr);
  EXPECT_EQ(pool.FreeItems(), 1);
  const std::set<void*> fresh = {pool.Acquire(), pool.Acquire()};
  EXPECT_EQ(fresh.count(items[0]), 0U) << "two items of the second chunk were still uncut";
  EXPECT_EQ(pool.Acquire(), items[0]);
  for (int i = 0; i < 3; ++i) pool.Release(items[i]);
  EXPECT_EQ(pool.Chunks(), 1U);
  EXPECT_EQ(pool.FreeItems(), 0) << "the items of a dropped chunk are no longer free";
  pool.Clear();
  EXPECT_EQ(pool.Chunks(), 0U);
  EXPECT_NE(pool.Acquire(), nullptr) << "usable after a clear";
}
