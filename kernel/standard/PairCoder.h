// PairCoder: replaces pairs of bytes by byte values that the data does not use.
//
// The coder of CFIL blocks: works in pages of up to 2048 bytes, each with its own table of 256
// rows. Equal input always gives equal output, on every machine. docs/format-cfil.md has the
// layout. Good for texts and tables, useless for what is compressed already: such a block is
// handed back as it came.
//
// Cost: decoding one step a byte; encoding up to 250 passes over each page. An object holds the
// encoder's work area of 16 KiB and serves one thread; decoding needs no object.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace Zef {

class PairCoder {
 public:
  PairCoder();
  ~PairCoder();

  /// Codes `length` bytes into `to`, which has room for `length` bytes and does not overlap
  /// `from`. Result: bytes used; exactly `length` means that coding saved nothing and `to` holds
  /// a copy of the input.
  [[nodiscard]] std::uint32_t Encode(std::uint8_t* to, const std::uint8_t* from,
                                     std::uint32_t length);

  /// Bytes decoded into `to`, or nothing for input that is malformed or yields more than
  /// `capacity` bytes; `to` is then partly overwritten. Never looks outside either block.
  [[nodiscard]] static std::optional<std::uint32_t> Decode(std::uint8_t* to, std::uint32_t capacity,
                                                           const std::uint8_t* from,
                                                           std::uint32_t length);

 private:
  struct Page;
  std::unique_ptr<Page> page_;
};

}  // namespace Zef
