// TBuffer: a TStream over memory, for writers that assemble a file before it goes out and for
// readers of bytes already there. Grows geometrically.
//
// A seek past the end is allowed up to the next multiple of the growth step; a write there fills
// the gap with zeros. Size and Eof go by what was written, never by the room. Not thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kernel/standard/TStream.h"

namespace Zef {

class TBuffer : public TStream {
 public:
  static constexpr std::uint64_t kGrowStep = 0x80000;

  /// What the stream works on; `fixed` makes writes do nothing. May outlive the stream.
  struct Storage {
    std::vector<std::byte> data;  ///< its size is the high-water mark
    std::uint64_t position = 0;
    bool fixed = false;
  };

  TBuffer();                           ///< over a storage of its own
  explicit TBuffer(Storage* storage);  ///< over a borrowed one

  void Clear() override;  ///< size and position to 0, memory kept
  std::uint64_t Tell() override;
  std::uint64_t Size() override;
  std::uint32_t Write(const void* from, std::uint32_t size) override;
  std::uint32_t Read(void* to, std::uint32_t size) override;
  void Seek(std::int64_t offset, std::int32_t whence) override;
  bool Eof() override;

  /// All bytes up to the high-water mark; valid until the next write.
  std::span<const std::byte> View() const;

 private:
  Storage own_;
  Storage* storage_;
};

}  // namespace Zef
