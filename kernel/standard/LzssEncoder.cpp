#include "kernel/standard/LzssEncoder.h"

#include <utility>

namespace Zef {

using namespace Lzss;

LzssEncoder::LzssEncoder(Ref<ByteSink> sink, std::uint32_t level)
    : matcher_(kWindowKinds[kLevels[level].kind], kLevels[level].goodLength),
      writer_(std::move(sink), level) {}

bool LzssEncoder::Append(const std::uint8_t* data, std::size_t length) {
  while (length > 0) {
    const std::size_t taken = matcher_.Fill(data, length);
    data += taken;
    length -= taken;
    if (matcher_.IsFull() && !Run(kLongestMatch)) return false;
  }
  return true;
}

bool LzssEncoder::Finish() { return Run(0) && WritePending() && writer_.Finish(); }

bool LzssEncoder::Run(std::uint32_t lookahead) {
  while (matcher_.Remaining() > lookahead) {
    if (pending_ == kLongestRun && !WritePending()) return false;
    matcher_.SlideIfDue();
    const LzssMatcher::Match match = matcher_.Find();
    if (match.length < kLeastMatch) {
      matcher_.Pass();
      ++pending_;
    } else if (!WritePending() || !WriteMatch(match)) {
      return false;
    }
  }
  return true;
}

bool LzssEncoder::WritePending() {
  const std::uint32_t count = std::exchange(pending_, 0);
  return count == 0 || writer_.Literals(matcher_.Before(count), count);
}

// A match may be longer than an item can say; a rest that is no match is searched anew.
bool LzssEncoder::WriteMatch(LzssMatcher::Match match) {
  std::uint32_t left = match.length;
  for (; left > kLongestMatch; left -= kLongestMatch) {
    if (!writer_.Match(match.distance, kLongestMatch)) return false;
  }
  if (left >= kLeastMatch) {
    if (!writer_.Match(match.distance, left)) return false;
    left = 0;
  }
  matcher_.PassMatch(match.length - left);
  return true;
}

}  // namespace Zef
