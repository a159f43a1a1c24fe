#include "kernel/BlockAllocator.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <vector>

using namespace Zef;

TEST(BlockAllocator, KeepsFreeBlocksUpToTheLimitOfTheirClass) {
  const struct {
    std::uint32_t unitClass, limit;  // classes that nothing else uses while the test runs
  } cases[] = {{1, 1025}, {97, 11}, {127, 9}};
  for (const auto& c : cases) {
    const std::uint32_t limit = BlockAllocator::FreeLimit(c.unitClass);
#ifndef ZEF_PLAIN_HEAP
    EXPECT_EQ(limit, c.limit);
#endif
    std::vector<void*> blocks(c.limit + 1);
    for (void*& block : blocks) block = BlockAllocator::Allocate(c.unitClass * 8 - 4);
    const auto before = BlockAllocator::GetStatistics();
    for (void* block : blocks) BlockAllocator::Free(block);
    EXPECT_EQ(BlockAllocator::FreeBlocks(c.unitClass), limit);
    EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes, before.systemBytes);
    for (void*& block : blocks) block = BlockAllocator::Allocate(c.unitClass * 8 - 4);
    const auto after = BlockAllocator::GetStatistics();
    EXPECT_EQ(after.listHits - before.listHits, limit);
    EXPECT_EQ(after.listMisses - before.listMisses, blocks.size() - limit);
    for (void* block : blocks) BlockAllocator::Free(block);
  }
}

TEST(BlockAllocator, BlocksPastTheHeadersUnitsGoBackWhole) {
  // 64 MiB wrap the header's 23 bits to zero units: read back, they would look like a small block.
  const auto before = BlockAllocator::GetStatistics();
  void* block = BlockAllocator::Allocate((std::size_t{64} << 20) - 4);
  EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes - before.systemBytes, 64U << 20);
  BlockAllocator::Free(block);
  EXPECT_EQ(BlockAllocator::GetStatistics().systemBytes, before.systemBytes);
}

TEST(BlockAllocatorDeathTest, ImpossibleSizesGiveNullAndImpossiblePointersTrap) {
  for (const std::size_t size : {~std::size_t{0}, ~std::size_t{0} - 11, std::size_t{1} << 62}) {
    EXPECT_EQ(BlockAllocator::Allocate(size), nullptr);
  }
  EXPECT_THROW(static_cast<void>(KernelObject::operator new (~std::size_t{0})), std::bad_alloc);
  alignas(16) static std::byte room[32];
  const auto address = reinterpret_cast<std::uintptr_t>(room);
  for (const std::uintptr_t pointer :
       {std::uintptr_t{0}, std::uintptr_t{0xFFF0}, address + 20, std::uintptr_t{1} << 47}) {
    EXPECT_EXIT(BlockAllocator::Free(std::bit_cast<void*>(pointer)),
                testing::KilledBySignal(SIGTRAP), "impossible");
  }
}
