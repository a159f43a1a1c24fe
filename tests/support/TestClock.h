// TestClock: a clock that stands still until a test moves it. Any thread may ask and move it.

#pragma once

#include <atomic>
#include <cstdint>

#include "kernel/Clock.h"

namespace Test {

class TestClock final : public Zef::Clock {
 public:
  explicit TestClock(double seconds = 0, std::int64_t unixTime = 1'700'000'000)
      : seconds_(seconds), unixTime_(unixTime) {}

  double Seconds() const override { return seconds_; }
  std::int64_t UnixTime() const override { return unixTime_; }

  void Set(double seconds, std::int64_t unixTime) {
    seconds_ = seconds;
    unixTime_ = unixTime;
  }
  /// Moves both times on.
  void Advance(double seconds) {
    seconds_ += seconds;
    unixTime_ += static_cast<std::int64_t>(seconds);
  }

 private:
  std::atomic<double> seconds_;
  std::atomic<std::int64_t> unixTime_;
};

}  // namespace Test
