// LargeBlock: memory for bulk data that is filled at once, such as a file's image.
//
// Comes in large pages where the system has them: the first touch of a small page costs more
// than reading its bytes from a file. Blocks below one large page are ordinary memory.
// LargePages brings the same to a vector.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "kernel/platform/System.h"

struct FreeBlock {
  void operator()(std::byte* block) const { Zef::Platform::FreeBulk(block); }
};
using LargeBlock = std::unique_ptr<std::byte[], FreeBlock>;

/// Uninitialised, aligned for any type. Raises bad_alloc.
inline LargeBlock MakeLargeBlock(std::size_t size) {
  void* const block = Zef::Platform::AllocateBulk(size);
  if (block == nullptr) throw std::bad_alloc();
  return LargeBlock(static_cast<std::byte*>(block));
}

/// Allocator of vectors that grow large.
template <class T>
struct LargePages {
  using value_type = T;
  LargePages() = default;
  template <class U>
  explicit LargePages(const LargePages<U>&) {}
  T* allocate(std::size_t count) {
    if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(T)) throw std::bad_alloc();
    return reinterpret_cast<T*>(MakeLargeBlock(count * sizeof(T)).release());
  }
  void deallocate(T* block, std::size_t) { FreeBlock()(reinterpret_cast<std::byte*>(block)); }
  friend bool operator==(const LargePages&, const LargePages&) { return true; }
};
