// Fuzzes both directions of PairCoder: the input once as coded data, once as data to code.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernel/standard/PairCoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint32_t kCapacity = 16384;
  if (size > 2 * kCapacity) return 0;
  const auto length = static_cast<std::uint32_t>(size);
  std::vector<std::uint8_t> decoded(kCapacity);
  const auto yield = Zef::PairCoder::Decode(decoded.data(), kCapacity, data, length);
  if (yield && *yield > kCapacity) std::abort();

  static Zef::PairCoder coder;
  std::vector<std::uint8_t> coded(size);
  const std::uint32_t used = coder.Encode(coded.data(), data, length);
  if (used > length) std::abort();
  if (used == length) return 0;
  decoded.resize(size);
  const auto back = Zef::PairCoder::Decode(decoded.data(), length, coded.data(), used);
  if (!back || *back != length || std::memcmp(decoded.data(), data, size) != 0) std::abort();
  return 0;
}
