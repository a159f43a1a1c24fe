// Thread: a thread of the kernel, with a stop signal, and what a thread asks of the process: ids
// and sleep.
//
// A Thread is a SyncObject that is signalled once its function has returned. Its owner ends it
// with Stop, or by destroying it: both set the stop event, which the function is to poll, and
// wait as long as it takes. Nothing can stop a thread from outside. Faults in a thread are
// reported like any other once the process handles faults, the overflow of its stack included.

#pragma once

#include <cstdint>
#include <mutex>
#include <thread>

#include "kernel/Sync.h"
#include "kernel/platform/System.h"

namespace Zef {

using Platform::CurrentProcessId;
using Platform::CurrentThreadId;
using Platform::IsProcessAlive;

/// Gives up the processor for at least this long.
inline void Sleep(std::uint32_t milliseconds) { Platform::SleepMilliseconds(milliseconds); }

class Thread : public SyncObject {
 public:
  /// The result is the exit code. An exception that leaves the function ends the process.
  using Function = std::int32_t (*)(void* argument);

  enum Priority : std::int32_t { kNormal = 0, kHighest = 2 };

  /// `argument` must live as long as the thread runs. Without `start` nothing runs until Start;
  /// with it, a thread that the system has not to give counts as ended with -1.
  Thread(Function function, void* argument, bool start = true);
  /// Stops the thread. On the thread itself it sets the event and lets the thread go on alone.
  ~Thread() override;

  /// Starts a thread that has not been; false if it has, or the system has no thread to give.
  bool Start();
  /// True for a thread that has not been started, which is as good as suspended; a running one
  /// goes on, with false.
  bool Suspend();
  /// Changes nothing: the system's scheduler is left alone.
  void SetPriority(std::int32_t) {}

  /// Sets the stop event, waits for the end and gives the exit code, the same at every call. -1
  /// without waiting for a thread that was never started and on the thread itself.
  std::int32_t Stop();
  /// False once the function has returned; true before, started or not.
  bool IsRunning() const;
  /// Auto-reset: a poll that finds it set clears it.
  WEvent& StopEvent() { return stopEvent_; }

 private:
  class State;

  State& GetState() const;

  Function function_;
  void* argument_;
  WEvent stopEvent_{false, false};
  mutable std::mutex mutex_;  // guards thread_
  std::thread thread_;
};

}  // namespace Zef
