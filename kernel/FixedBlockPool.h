// FixedBlockPool: hands out items of one size from chunks of many.
//
// A new chunk is cut up item by item before any released item is used again; a chunk whose
// items have all come back goes back to the allocator. Each item has a hidden word in front of
// it: the address of its chunk while in use, the free link otherwise.
//
// Cost: a lock and a few stores. Thread-safe. The pool's end frees all items, in use or not,
// without destroying them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "kernel/Containers.h"

namespace Zef {

class FixedBlockPool {
 public:
  /// `align` other than a power of two counts as 8, and a smaller one too; 0 items as 1.
  FixedBlockPool(std::uint32_t itemSize, std::uint32_t itemsPerChunk, std::uint32_t align = 8);
  ~FixedBlockPool() { Clear(); }
  FixedBlockPool(const FixedBlockPool&) = delete;
  FixedBlockPool& operator=(const FixedBlockPool&) = delete;

  /// An aligned item with any content, or null when memory is exhausted.
  [[nodiscard]] void* Acquire();
  /// Takes an item of this pool back; null is ignored.
  void Release(void* item);
  /// Frees every chunk; all items become invalid.
  void Clear();

  std::uint64_t Stride() const { return stride_; }
  /// Released items that wait for reuse.
  std::int32_t FreeItems() const;
  /// Chunks held at the moment.
  std::uint32_t Chunks() const;

 private:
  struct Chunk;
  union Slot;

  void* TakeFree();
  void* Carve();
  Chunk* MakeChunk() const;

  const std::uint64_t align_;
  const std::uint64_t stride_;  ///< item with its hidden word, rounded up to the alignment
  const std::uint32_t itemsPerChunk_;

  mutable std::mutex lock_;
  IList<Chunk> fullChunks_;  ///< without a released item; a chunk being carved begins here
  IList<Chunk> freeChunks_;  ///< with released items
  Chunk* carving_ = nullptr;
  std::uint32_t uncarved_ = 0;
  std::int32_t freeItems_ = 0;
};

}  // namespace Zef
