// Time: high-resolution time that never goes back, counted from the load of this module.
//
// For rules that hang on the time take a Clock, which tests can turn. Any thread may ask.

#pragma once

#include <cstdint>

#include "kernel/platform/System.h"

namespace Zef {

class Time {
 public:
  static std::uint64_t Ticks() { return Platform::MonotonicTicks(); }
  /// Ticks in a second.
  static std::uint64_t Frequency() { return Platform::MonotonicFrequency(); }
  /// Seconds since this module was loaded.
  static double Seconds();
};

}  // namespace Zef
