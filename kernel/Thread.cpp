#include "kernel/Thread.h"

#include <exception>

#include "kernel/Waitable.h"
#include "kernel/platform/Fault.h"

namespace Zef {

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

Thread::State& Thread::GetState() const { return static_cast<State&>(*GetWaitable()); }

Thread::Thread(Function function, void* argument, bool start)
    : SyncObject(std::make_shared<State>()), function_(function), argument_(argument) {
  // Refused by the system: who waits for it must not wait for ever.
  if (start && !Start()) GetState().End(-1);
}

Thread::~Thread() {
  Stop();
  if (thread_.joinable()) thread_.detach();
}

bool Thread::Start() {
  const std::lock_guard guard(mutex_);
  if (thread_.joinable() || GetState().HasEnded()) return false;
  auto run = [state = std::static_pointer_cast<State>(GetWaitable()->shared_from_this()),
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
  return !thread_.joinable() && !GetState().HasEnded();
}

// The function's end is waited for before the join, so that several threads may call.
std::int32_t Thread::Stop() {
  stopEvent_.Set();
  {
    const std::lock_guard guard(mutex_);
    if (!thread_.joinable() && !GetState().HasEnded()) return -1;
    if (thread_.get_id() == std::this_thread::get_id()) return -1;
  }
  Lock(kForever);
  const std::lock_guard guard(mutex_);
  if (thread_.joinable()) thread_.join();
  return GetState().ExitCode();
}

bool Thread::IsRunning() const { return !GetState().HasEnded(); }

}  // namespace Zef
