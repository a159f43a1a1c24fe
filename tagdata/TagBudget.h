// TagBudget: bounds what a walk may make of a tree that repeats its keys.
//
// Each tag carries the value of the first one of its key, so a container and a null tag of the
// same key, nested in each other, double at every level: a kilobyte would fill the memory. Who
// copies what a walk gives asks the budget for each tag. It grants a fixed allowance, which
// ordinary trees stay within, and beyond it four times what the source holds when every value
// counts once. Cost: an addition a tag, and one walk over the source when the allowance is gone.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tagdata/HCSChunk.h"

class TagBudget {
 public:
  /// `depth` counts the containers around the tag, without the root.
  using Cost = std::uint64_t (*)(std::string_view key, const HCSChunk& chunk, std::size_t depth);

  /// For a walk over the tags of `root`, which must outlive the budget and may be null.
  TagBudget(const HCSChunk* root, std::uint64_t allowance, Cost cost)
      : root_(root), limit_(allowance), cost_(cost) {}

  /// False when the tag does not fit any more.
  [[nodiscard]] bool Take(std::string_view key, const HCSChunk& chunk, std::size_t depth) {
    spent_ += cost_(key, chunk, depth);
    if (spent_ <= limit_) return true;
    if (root_ != nullptr) limit_ += kFactor * Measure();
    root_ = nullptr;
    return spent_ <= limit_;
  }

 private:
  static constexpr std::uint64_t kFactor = 4;
  /// Nothing larger is measured: trees made in memory may contain themselves.
  static constexpr std::uint64_t kMaxMeasure = 0x20000000;

  std::uint64_t Measure() const;

  const HCSChunk* root_;  ///< null once it was measured
  std::uint64_t limit_;
  Cost cost_;
  std::uint64_t spent_ = 0;
};
