// ByteReader: the one way in which bytes from outside enter the system.
//
// A cursor over a block of memory that somebody else owns. Every read is checked against the
// end. The first read that does not fit makes the reader fail; a failed reader yields zeros and
// stays where it is, so a parser reads a whole record and asks once.
//
// Cost: one compare a read. Not thread-safe; copy it freely.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace Zef {

static_assert(std::endian::native == std::endian::little, "formats are read as they lie");

class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : bytes_(bytes) {}
  ByteReader(const void* data, std::size_t size)
      : bytes_(static_cast<const std::byte*>(data), size) {}

  bool Failed() const { return failed_; }
  std::size_t Position() const { return position_; }
  std::size_t Remaining() const { return failed_ ? 0 : bytes_.size() - position_; }

  /// Next little-endian value, or 0 once the reader has failed.
  std::uint8_t U8() { return Value<std::uint8_t>(); }
  std::uint32_t U32() { return Value<std::uint32_t>(); }
  std::uint64_t U64() { return Value<std::uint64_t>(); }
  std::int32_t I32() { return Value<std::int32_t>(); }
  float F32() { return Value<float>(); }

  /// View of the next `count` bytes, valid as long as the block is. Empty on failure.
  std::span<const std::byte> Bytes(std::size_t count) {
    if (!Take(count)) return {};
    return bytes_.subspan(position_ - count, count);
  }

  /// Moves forward; fails when fewer than `count` bytes are left.
  void Skip(std::size_t count) { Take(count); }

 private:
  bool Take(std::size_t count) {
    if (failed_ || count > bytes_.size() - position_) {
      failed_ = true;
      return false;
    }
    position_ += count;
    return true;
  }

  template <class T>
  T Value() {
    T value{};
    if (Take(sizeof(T))) std::memcpy(&value, bytes_.data() + position_ - sizeof(T), sizeof(T));
    return value;
  }

  std::span<const std::byte> bytes_;
  std::size_t position_ = 0;
  bool failed_ = false;
};

}  // namespace Zef
