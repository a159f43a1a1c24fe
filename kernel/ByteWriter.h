// ByteWriter: assembles little-endian bytes in memory, for formats that go out in one write.
//
// Grows geometrically; Clear keeps the memory, so one writer serves a whole file. Not
// thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace Zef {

class ByteWriter {
 public:
  void U8(std::uint8_t value) { Append(&value, sizeof value); }
  void U16(std::uint16_t value) { Append(&value, sizeof value); }
  void U32(std::uint32_t value) { Append(&value, sizeof value); }
  void U64(std::uint64_t value) { Append(&value, sizeof value); }
  void I32(std::int32_t value) { Append(&value, sizeof value); }
  void F32(float value) { Append(&value, sizeof value); }
  void Bytes(std::span<const std::byte> bytes) { Append(bytes.data(), bytes.size()); }
  void Text(std::string_view text) { Append(text.data(), text.size()); }

  /// Room for `size` more bytes, to be filled by the caller before the next call.
  std::byte* Extend(std::size_t size) {
    bytes_.resize(bytes_.size() + size);
    return bytes_.data() + bytes_.size() - size;
  }

  std::size_t Size() const { return bytes_.size(); }
  std::span<const std::byte> View() const { return bytes_; }
  void Clear() { bytes_.clear(); }

  /// Overwrites a word that was written before, such as a length known only at the end.
  void PatchU32(std::size_t position, std::uint32_t value) {
    std::memcpy(bytes_.data() + position, &value, sizeof value);
  }

 private:
  void Append(const void* from, std::size_t size) {
    const auto* first = static_cast<const std::byte*>(from);
    bytes_.insert(bytes_.end(), first, first + size);
  }

  std::vector<std::byte> bytes_;
};

}  // namespace Zef
