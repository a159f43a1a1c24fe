#include "kernel/Clock.h"

#include "kernel/Time.h"

namespace Zef {

namespace {

class SystemClock final : public Clock {
 public:
  double Seconds() const override { return Time::Seconds(); }
  std::int64_t UnixTime() const override { return Platform::UnixTime(); }
};

constinit const SystemClock realClock;

}  // namespace

const Clock& RealClock() { return realClock; }

}  // namespace Zef
