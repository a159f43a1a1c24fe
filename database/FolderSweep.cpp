#include "database/FolderSweep.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "kernel/platform/Fault.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/Trace.h"

namespace {

void Delete(const std::string& path) try {
  if (Zef::Platform::DeleteTree(path) || Zef::Platform::DeleteFile(path)) return;
  if (Zef::Platform::IsGone(path)) return;
  Zef::Trace("SweepFolder> cannot delete \"%s\"\n", path.c_str());
} catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; it stays where nobody looks
}

class Sweeper {
 public:
  /// Never destroyed: its thread may be the last one. A forked child, which has neither the thread
  /// nor a lock that it can trust, gets one of its own.
  static Sweeper& Get() {
    static std::atomic<Sweeper*> current{nullptr};
    Sweeper* known = current;
    if (known != nullptr && known->process_ == Zef::Platform::CurrentProcessId()) return *known;
    auto fresh = std::unique_ptr<Sweeper>(new Sweeper(known));
    if (!current.compare_exchange_strong(known, fresh.get())) return *known;
    return *fresh.release();
  }

  void Add(const std::string& path) {
    {
      const std::lock_guard lock(mutex_);
      const auto [at, isNew] = paths_.insert(path);
      if (!isNew || isRunning_ || StartLocked()) return;
      paths_.erase(at);
    }
    Delete(path);
  }

  bool IsBusy() {
    const std::lock_guard lock(mutex_);
    return isRunning_;
  }

  void Await() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return !isRunning_; });
    if (thread_.joinable()) thread_.join();
  }

 private:
  explicit Sweeper(Sweeper* parents) : parents_(parents) {}

  bool StartLocked() {
    if (thread_.joinable()) thread_.join();  // it has let go of the lock for the last time
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
      return false;
    }
    isRunning_ = true;
    return true;
  }

  void Run() {
    const Zef::Platform::FaultStack faults;
    std::unique_lock lock(mutex_);
    while (!paths_.empty()) {
      const auto path = paths_.begin();  // stays where it is while others come
      lock.unlock();
      Delete(*path);
      lock.lock();
      paths_.erase(path);
    }
    isRunning_ = false;
    done_.notify_all();
  }

  [[maybe_unused]] Sweeper* const
      parents_;  // that of the parent process, which cannot be destroyed
  const Zef::Platform::ProcessId process_ = Zef::Platform::CurrentProcessId();
  std::mutex mutex_;
  std::condition_variable done_;
  std::set<std::string> paths_;  // with the one that is being deleted
  std::thread thread_;
  bool isRunning_ = false;
};

}  // namespace

void SweepFolder(const std::string& path) { Sweeper::Get().Add(path); }
bool IsSweeping() { return Sweeper::Get().IsBusy(); }
void AwaitSweeps() { Sweeper::Get().Await(); }
