// TagImage: the records of one binary tag file in memory, never changed once they are read.
//
// The views into it hold it, not the file object, so a value taken out of a tree keeps the bytes
// but not the edits of that tree. The block is 16-byte aligned: aligned payloads count their
// padding from its start.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "kernel/Containers.h"

class TagImage final : public Zef::ReferenceCountMP {
  struct alignas(16) Cell {
    std::byte bytes[16];
  };

 public:
  static constexpr std::uint32_t kAnsiVersion = 0;  ///< texts are in the code page
  static constexpr std::uint32_t kUtf8Version = 1;

  /// Null when there is no memory for it. The bytes are not set.
  static Zef::Ref<TagImage> Make(std::uint32_t size, std::uint32_t version) {
    std::unique_ptr<Cell[]> cells(new (std::nothrow) Cell[size / sizeof(Cell) + 1]);
    if (cells == nullptr) return nullptr;
    return Zef::Ref<TagImage>(new TagImage(std::move(cells), size, version));
  }

  std::byte* Data() { return reinterpret_cast<std::byte*>(cells_.get()); }
  const std::byte* Data() const { return reinterpret_cast<const std::byte*>(cells_.get()); }
  std::span<const std::byte> Bytes() const { return {Data(), size_}; }
  std::uint32_t Version() const { return version_; }

 private:
  TagImage(std::unique_ptr<Cell[]> cells, std::uint32_t size, std::uint32_t version)
      : cells_(std::move(cells)), size_(size), version_(version) {}

  std::unique_ptr<Cell[]> cells_;
  std::uint32_t size_;
  std::uint32_t version_;
};
