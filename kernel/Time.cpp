#include "kernel/Time.h"

namespace Zef {

namespace {

std::uint64_t StartTicks() {
  static const std::uint64_t start = Platform::MonotonicTicks();
  return start;
}

// Asked for once while the module loads, so that second 0 is there and not at first use.
[[maybe_unused]] const std::uint64_t loadTicks = StartTicks();

}  // namespace

double Time::Seconds() {
  const std::uint64_t start = StartTicks();
  return static_cast<double>(Ticks() - start) / static_cast<double>(Frequency());
}

}  // namespace Zef
