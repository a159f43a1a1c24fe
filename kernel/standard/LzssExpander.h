// LzssExpander: decompresses an LZSS stream that comes in pieces, into a sink.
//
// Holds back the input that may end inside an item, and the window of output that matches reach
// back into. Serves one thread.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "kernel/Containers.h"
#include "kernel/standard/Compressor.h"
#include "kernel/standard/LzssDecoder.h"

namespace Zef {

class LzssExpander {
 public:
  explicit LzssExpander(Ref<ByteSink> sink) : sink_(std::move(sink)) {}

  /// False when the sink fails or the first byte names no window or level.
  [[nodiscard]] bool Append(const std::uint8_t* data, std::size_t length);
  /// Decodes what is held back and hands over what is there. False when the sink fails.
  [[nodiscard]] bool Finish();
  /// After Finish, or after Append failed.
  LzssFinding Finding() const;

 private:
  bool Start(std::uint8_t header);
  bool TakeHeld(const std::uint8_t*& data, const std::uint8_t* end);
  bool Decode(LzssDecoder::Input& in);
  bool HandOver(std::size_t kept);

  Ref<ByteSink> sink_;
  std::optional<LzssDecoder> decoder_;
  std::vector<std::uint8_t> buffer_;
  LzssDecoder::Output out_{};
  std::uint8_t* written_ = nullptr;  // up to here the sink has what is in the buffer
  // Room for what is held back and as much again, so that an item which began there ends there.
  std::array<std::uint8_t, 2 * LzssDecoder::kReserve + 1> held_;
  std::size_t heldBytes_ = 0;
  std::size_t payload_ = 0;    // bytes of input behind the first
  std::size_t behindEnd_ = 0;  // and those left over
};

}  // namespace Zef
