#include "kernel/Thread.h"

#include <atomic>
#include <exception>

#include "kernel/Waitable.h"
#include "kernel/platform/Fault.h"

namespace Zef {

namespace {

constexpr std::uint32_t kMultiplier = 16807;
constexpr std::int64_t kModulus = 0x7FFFFFFF;
constexpr std::uint32_t kQuotient = 255546;
constexpr std::int64_t kRemainder = 5673;

std::uint64_t StartTicks() {
  static const std::uint64_t start = Platform::MonotonicTicks();
  return start;
}

// Asked for once while the module loads, so that second 0 is there and not at first use.
[[maybe_unused]] const std::uint64_t loadTicks = StartTicks();

}  // namespace

// Outlives the Thread where the thread runs on alone.
class Thread::State final : public Waitable {
 public:
  bool HasEnded() const {
    const std::lock_guard guard(lock_);
    return ended_;
  }

  void End(std::int32_t exitCode) {
    const std::lock_guard guard(lock_);
    ended_ = true;
    exitCode_ = exitCode;
    Serve();
  }

  std::int32_t ExitCode() const {
    const std::lock_guard guard(lock_);
    return exitCode_;
  }

 private:
  bool IsReady(const ThreadRecord*) const override { return ended_; }
  bool Take(ThreadRecord*) override { return false; }

  bool ended_ = false;
  std::int32_t exitCode_ = -1;
};

Thread::Thread(Function function, void* argument, bool start)
    : Thread(std::make_shared<State>(), function, argument) {
  // Refused by the system: who waits for it must not wait for ever.
  if (start && !Start()) state_->End(-1);
}

Thread::Thread(const std::shared_ptr<State>& state, Function function, void* argument)
    : SyncObject(state), state_(state.get()), function_(function), argument_(argument) {}

Thread::~Thread() {
  Stop();
  if (thread_.joinable()) thread_.detach();
}

bool Thread::Start() {
  const std::lock_guard guard(mutex_);
  if (thread_.joinable() || state_->HasEnded()) return false;
  auto run = [state = std::static_pointer_cast<State>(state_->shared_from_this()),
              function = function_, argument = argument_]() noexcept {
    const Platform::FaultStack faults;
    state->End(function(argument));
  };
  try {
    thread_ = std::thread(std::move(run));
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

bool Thread::Suspend() {
  const std::lock_guard guard(mutex_);
  return !thread_.joinable() && !state_->HasEnded();
}

// The function's end is waited for before the join, so that several threads may call.
std::int32_t Thread::Stop() {
  stopEvent_.Set();
  {
    const std::lock_guard guard(mutex_);
    if (!thread_.joinable() && !state_->HasEnded()) return -1;
    if (thread_.get_id() == std::this_thread::get_id()) return -1;
  }
  Lock(kForever);
  const std::lock_guard guard(mutex_);
  if (thread_.joinable()) thread_.join();
  return state_->ExitCode();
}

bool Thread::IsRunning() const { return !state_->HasEnded(); }

std::uint64_t Time::Frequency() {
  static const std::uint64_t frequency = Platform::MonotonicFrequency();
  return frequency;
}

double Time::Seconds() {
  const std::uint64_t start = StartTicks();
  return static_cast<double>(Ticks() - start) / static_cast<double>(Frequency());
}

// Schrage's split keeps the product within range. Below 255547 the plain product fits 32 bits and
// is not reduced. The remainder is one more than exact, and relied upon.
std::uint32_t RandomGenerator::Next() {
  if (seed_ <= kQuotient) {
    seed_ *= kMultiplier;
    return seed_;
  }
  const std::int64_t high = seed_ / kQuotient;
  const std::int64_t low = seed_ % kQuotient;
  const std::int64_t next = kMultiplier * low - kRemainder * high;
  seed_ = static_cast<std::uint32_t>(next < 0 ? next + kModulus : next);
  return seed_;
}

}  // namespace Zef
