// RandomGenerator: Park-Miller numbers, for scatter and never for secrets.
//
// The sequence of a seed is fixed, and its constants are not the textbook's: what was laid out by
// it must come out again. A seed of 0 yields zeros for ever. Not thread-safe.

#pragma once

#include <cstdint>

namespace Zef {

class RandomGenerator {
 public:
  explicit RandomGenerator(std::uint32_t seed) : seed_(seed) {}

  /// The next number, which is the next seed. Schrage's split keeps the product within range.
  /// Below 255547 the plain product fits 32 bits and is not reduced. The remainder is one more
  /// than exact, and relied upon.
  std::uint32_t Next() {
    if (seed_ <= kQuotient) return seed_ *= kMultiplier;
    const std::int64_t high = seed_ / kQuotient;
    const std::int64_t low = seed_ % kQuotient;
    const std::int64_t next = kMultiplier * low - kRemainder * high;
    return seed_ = static_cast<std::uint32_t>(next < 0 ? next + kModulus : next);
  }

 private:
  static constexpr std::uint32_t kMultiplier = 16807;
  static constexpr std::int64_t kModulus = 0x7FFFFFFF;
  static constexpr std::uint32_t kQuotient = 255546;
  static constexpr std::int64_t kRemainder = 5673;

  std::uint32_t seed_;
};

}  // namespace Zef
