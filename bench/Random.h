// Random: the numbers behind generated content, the same for a seed on every machine.
//
// A counter run through a 64-bit mix, so any stream of any seed starts at once: content is made
// per asset, in whatever order it is asked for. Not for anything that must not be guessed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

class Random {
 public:
  /// Streams of one seed have nothing to do with each other.
  Random(std::uint64_t seed, std::uint64_t stream)
      : state_(Mix(Mix(seed + kStep) ^ (stream * kStep))) {}

  std::uint64_t Next() { return Mix(state_ += kStep); }
  /// 0 to `bound` - 1; 0 for a bound of 0.
  std::uint32_t Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(((Next() >> 32) * bound) >> 32);
  }
  /// `low` to `high`, both included.
  std::uint32_t Between(std::uint32_t low, std::uint32_t high) {
    return low + Below(high - low + 1);
  }
  bool Percent(std::uint32_t percent) { return Below(100) < percent; }

  template <class T, std::size_t N>
  const T& Pick(const T (&choices)[N]) {
    return choices[Below(static_cast<std::uint32_t>(N))];
  }

  /// Moves each entry by at most `window` places or, now and then, a few windows.
  template <class T>
  void ShuffleNearby(std::span<T> entries, std::uint32_t window) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::size_t reach = entries.size() - i < window ? entries.size() - i : window;
      std::swap(entries[i], entries[i + Below(static_cast<std::uint32_t>(reach))]);
    }
  }

 private:
  static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;

  static constexpr std::uint64_t Mix(std::uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
  }

  std::uint64_t state_;
};
