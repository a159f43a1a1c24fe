// Clock: the time as far as rules hang on it.
//
// Whatever waits ten seconds or thirty days asks a Clock that it was given, so that a test can
// let the time pass. Any thread may ask.

#pragma once

#include <cstdint>

namespace Zef {

class Clock {
 public:
  virtual ~Clock() = default;
  /// Seconds since this module was loaded; never goes back.
  virtual double Seconds() const = 0;
  /// Seconds since 1 January 1970, as the system's calendar has it.
  virtual std::int64_t UnixTime() const = 0;
};

/// The clock of the system; lives for ever.
const Clock& RealClock();

}  // namespace Zef
