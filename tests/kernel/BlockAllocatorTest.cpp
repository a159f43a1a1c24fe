#include "kernel/BlockAllocator.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace Zef {
namespace {

using Statistics = BlockAllocator::Statistics;

TEST(BlockAllocator, CountsEachRequestByItsSizeInUnits) {
  const struct {
    std::size_t size;
    std::uint32_t units;
    bool isLarge;
  } cases[] = {{0, 1, false},  {4, 1, false},      {5, 2, false},     {12, 2, false},
               {13, 3, false}, {1012, 127, false}, {1013, 128, true}, {100'000, 12501, true}};
  for (const auto& c : cases) {
    const Statistics before = BlockAllocator::GetStatistics();
    void* block = BlockAllocator::Allocate(c.size);
    const Statistics after = BlockAllocator::GetStatistics();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0U) << c.size;
    EXPECT_EQ(after.largeRequests - before.largeRequests, c.isLarge ? 1U : 0U) << c.size;
    const std::uint32_t fromSystem = after.systemBytes - before.systemBytes;
    const bool wasHit = after.listHits != before.listHits;
    EXPECT_EQ(fromSystem, wasHit ? 0U : c.units * 8) << c.size;
    std::memset(block, 0x5A, c.size);  // a sanitizer sees a block that is too short
    std::uint32_t header = 0;
    std::memcpy(&header, static_cast<std::byte*>(block) - 4, 4);
    EXPECT_EQ(header, (c.units << 9) | ((c.units ^ 0x155) & 0x1FF)) << c.size;
    BlockAllocator::Free(block);
  }
}

TEST(BlockAllocator, KeepsFreeBlocksUpToTheLimitOfTheirClass) {
  // Classes that nothing else in this program uses while the test runs.
  for (const std::uint32_t unitClass : {1U, 97U, 127U}) {
    const std::uint32_t limit = BlockAllocator::FreeLimit(unitClass);
    const std::uint32_t tooMany = 8192 / (unitClass * 8) + 2;
    std::vector<void*> blocks(tooMany);
    for (void*& block : blocks) block = BlockAllocator::Allocate(unitClass * 8 - 4);
    const Statistics before = BlockAllocator::GetStatistics();
    for (void* block : blocks) BlockAllocator::Free(block);
    EXPECT_EQ(BlockAllocator::FreeBlocks(unitClass), limit);
    EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes, before.systemBytes)
        << "small blocks that go back to the system are not taken off";

    for (void*& block : blocks) block = BlockAllocator::Allocate(unitClass * 8 - 4);
    const Statistics after = BlockAllocator::GetStatistics();
    EXPECT_EQ(after.listHits - before.listHits, limit);
    EXPECT_EQ(after.listMisses - before.listMisses, tooMany - limit);
    for (void* block : blocks) BlockAllocator::Free(block);
  }
#ifndef ZEF_PLAIN_HEAP
  EXPECT_EQ(BlockAllocator::FreeLimit(1), 1025U);
  EXPECT_EQ(BlockAllocator::FreeLimit(127), 9U);
#endif
}

TEST(BlockAllocator, BlocksPastTheHeadersUnitsGoBackWhole) {
  // 64 MiB wrap the header's 23 bits to zero units: read back, they would look like a small block.
  const Statistics before = BlockAllocator::GetStatistics();
  void* block = BlockAllocator::Allocate((std::size_t{64} << 20) - 4);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes - before.systemBytes, 64U << 20);
  BlockAllocator::Free(block);
  EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes, before.systemBytes);
}

TEST(BlockAllocator, ImpossibleSizesGiveNull) {
  for (const std::size_t size : {~std::size_t{0}, ~std::size_t{0} - 11, std::size_t{1} << 62}) {
    EXPECT_EQ(BlockAllocator::Allocate(size), nullptr);
  }
  EXPECT_THROW(static_cast<void>(KernelObject::operator new (~std::size_t{0})), std::bad_alloc);
}

TEST(BlockAllocatorDeathTest, ImpossiblePointersStopAtATrap) {
  alignas(16) static std::byte room[32];
  for (void* pointer : {static_cast<void*>(nullptr), reinterpret_cast<void*>(0xFFF0),
                        static_cast<void*>(room + 20), reinterpret_cast<void*>(1ULL << 47)}) {
    EXPECT_EXIT(BlockAllocator::Free(pointer), testing::KilledBySignal(SIGTRAP), "impossible");
  }
}

TEST(BlockAllocator, ThreadsNeverShareABlock) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 20'000;
  std::vector<std::thread> threads;
  std::atomic<int> damaged{0};
  for (int id = 0; id < kThreads; ++id) {
    threads.emplace_back([id, &damaged] {
      void* held[8] = {};
      for (int round = 0; round < kRounds; ++round) {
        void*& slot = held[round % 8];
        if (slot != nullptr) {
          damaged += *static_cast<int*>(slot) != id;
          BlockAllocator::Free(slot);
        }
        slot = BlockAllocator::Allocate(static_cast<std::size_t>(round % 40) * 30);
        *static_cast<int*>(slot) = id;
      }
      for (void* block : held) BlockAllocator::Free(block);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(damaged, 0);
}

}  // namespace
}  // namespace Zef
