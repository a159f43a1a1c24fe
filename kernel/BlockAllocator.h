// BlockAllocator: the process's allocator for the small objects of the kernel and above.
//
// Sizes are counted in units of 8 bytes: units = (size + 11) >> 3, and 1 for a request of 0.
// Requests below 128 units (payload up to 1012 bytes) are small and come from one free list a
// class, each keeping about 8 KiB; larger ones go straight to the system heap. Payloads are
// 16-byte aligned. Bulk data (images, file buffers) belongs into std::vector instead.
//
// Cost: a spin lock, a pop and a store for a small block whose list is not empty. Thread-safe;
// works before any static constructor has run. Exhaustion gives null. Freeing an impossible
// pointer (null, misaligned, below 64 KiB, at or above 2^47) stops at a trap.

#pragma once

#include <cstddef>
#include <cstdint>

#include "kernel/platform/Export.h"

namespace Zef {

class BlockAllocator {
 public:
  static constexpr std::uint32_t kClassCount = 128;

  /// All words wrap. A small block that goes back to the system is not taken off `systemBytes`,
  /// a large one is.
  struct Statistics {
    std::uint32_t systemBytes;    ///< units * 8 taken from the system
    std::uint32_t listMisses;     ///< small requests that found the list empty
    std::uint32_t listHits;       ///< small requests served from a list
    std::uint32_t largeRequests;  ///< requests of 128 units and more
  };

  [[nodiscard]] static void* Allocate(std::size_t size);
  static void Free(void* payload);

  static Statistics GetStatistics();
  /// Free blocks that a class keeps at the moment; 0 for a class that does not exist.
  static std::uint32_t FreeBlocks(std::uint32_t unitClass);
  /// The most free blocks that a class keeps.
  static std::uint32_t FreeLimit(std::uint32_t unitClass);
};

/// Base that takes an object's memory from BlockAllocator. Throws std::bad_alloc on exhaustion.
class ZEF_API KernelObject {
 public:
  static void* operator new(std::size_t size);
  static void operator delete(void* object) noexcept;
};

}  // namespace Zef
