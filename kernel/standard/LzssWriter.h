// LzssWriter: puts literals and matches into the bytes of an LZSS stream.
//
// Flag words stand ahead of the data that they describe, so a group is held until its flags are
// used up. Bytes go to the sink in blocks. Serves one thread.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "kernel/Containers.h"
#include "kernel/standard/AdaptiveHuffman.h"
#include "kernel/standard/Compressor.h"
#include "kernel/standard/LzssFormat.h"

namespace Zef {

class LzssWriter {
 public:
  /// `level` is 1 to 9; its first byte is written.
  LzssWriter(Ref<ByteSink> sink, std::uint32_t level);

  // All are false when the sink fails.

  /// A run of literals, at most Lzss::kLongestRun.
  [[nodiscard]] bool Literals(const std::uint8_t* bytes, std::uint32_t count);
  /// A match of 3 to Lzss::kLongestMatch bytes, from less than the window away.
  [[nodiscard]] bool Match(std::uint32_t distance, std::uint32_t length);
  /// Writes end mark and padding or the last group, and all that is buffered.
  [[nodiscard]] bool Finish();

 private:
  static constexpr std::size_t kBlock = 16384;
  // A block is followed by the rest of an open group (4148 bytes at most) and what one more call
  // adds: less than three bytes a literal.
  static constexpr std::size_t kRoom = kBlock + 8192;

  [[nodiscard]] bool FlushBlock();
  void Flag(std::uint32_t flag);
  void CloseGroup();
  void Symbol(AdaptiveHuffman& tree, std::uint32_t symbol);
  void Bits(std::uint32_t bits, std::uint32_t count);
  void FlagMatch(std::uint32_t distance, std::uint32_t length);
  void HuffmanMatch(std::uint32_t distance, std::uint32_t length);
  void U8(std::uint32_t value) { bytes_[size_++] = static_cast<std::uint8_t>(value); }
  void U16(std::uint32_t value);

  Ref<ByteSink> sink_;
  const Lzss::WindowKind& window_;
  const Lzss::Coding coding_;
  std::size_t size_ = 0;
  // The open group: where its word goes, and the flags given so far.
  std::size_t flagPlace_ = 0;
  std::uint32_t flags_ = 0;
  std::uint32_t flagCount_ = 0;
  std::uint64_t bits_ = 0;
  std::uint32_t bitCount_ = 0;
  std::optional<AdaptiveHuffman> mainTree_;
  std::optional<AdaptiveHuffman> distanceTree_;
  std::array<std::uint8_t, kRoom> bytes_;
};

}  // namespace Zef
