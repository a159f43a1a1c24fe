// LzssEncoder: compresses input that comes in pieces.
//
// The matcher's buffer is filled whole before anything is searched, and run down to the longest
// match: so a search sees as much however the input was cut into pieces. Serves one thread.

#pragma once

#include <cstddef>
#include <cstdint>

#include "kernel/standard/LzssMatcher.h"
#include "kernel/standard/LzssWriter.h"

namespace Zef {

class LzssEncoder {
 public:
  /// `level` is 1 to 9.
  LzssEncoder(Ref<ByteSink> sink, std::uint32_t level);

  /// False when the sink fails.
  [[nodiscard]] bool Append(const std::uint8_t* data, std::size_t length);
  [[nodiscard]] bool Finish();

 private:
  bool Run(std::uint32_t lookahead);
  bool WritePending();
  bool WriteMatch(LzssMatcher::Match match);

  LzssMatcher matcher_;
  LzssWriter writer_;
  std::uint32_t pending_ = 0;  // literals before the position that are not written yet
};

}  // namespace Zef
