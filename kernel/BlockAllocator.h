// BlockAllocator: the process's allocator for the small objects of the kernel and above.
//
// Sizes are counted in units of 8 bytes: units = (size + 11) >> 3, and 1 for a request of 0.
// Requests below 128 units (payload up to 1012 bytes) are small and come from one free list a
// class, each keeping about 8 KiB; larger ones go straight to the system heap. Payloads are
// 16-byte aligned. Bulk data (images, file buffers) belongs into std::vector instead.
//
// Thread-safe; works before any static constructor has run. Exhaustion gives null. Freeing an
// impossible pointer (null, misaligned, below 64 KiB, at or above 2^47) stops at a trap.

#pragma once

#include <cstddef>
#include <cstdint>

namespace Zef {

class BlockAllocator {
 public:
  /// Plain counters, updated without synchronisation: they can lose updates under threads.
  struct Statistics {
    std::uint32_t systemBytes;    ///< units * 8 taken from the system; see Free for its drift
    std::uint32_t listMisses;     ///< small requests that found the list empty
    std::uint32_t listHits;       ///< small requests served from a list
    std::uint32_t largeRequests;  ///< requests of 128 units and more
  };

  [[nodiscard]] static void* Allocate(std::size_t size);
  static void Free(void* payload);

  static Statistics GetStatistics();
  /// Units of a class's free blocks kept at the moment, and the most it keeps.
  static std::uint32_t FreeBlocks(std::uint32_t unitClass);
  static std::uint32_t FreeLimit(std::uint32_t unitClass);
};

/// Base that takes an object's memory from BlockAllocator. Throws std::bad_alloc on exhaustion.
class KernelObject {
 public:
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* object) noexcept;
};

}  // namespace Zef
