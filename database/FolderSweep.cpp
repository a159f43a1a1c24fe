#include "database/FolderSweep.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

#include "kernel/KernelBoot.h"
#include "kernel/platform/Fault.h"
#include "kernel/platform/FileSystem.h"
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
  /// Never destroyed: its thread may be the last one.
  static Sweeper& Get() {
    static Sweeper& sweeper = *new Sweeper;
    return sweeper;
  }

  void Add(const std::string& path) {
    {
      const std::lock_guard lock(mutex_);
      paths_.push_back(path);
      if (isRunning_ || StartLocked()) return;
      paths_.pop_back();
    }
    Delete(path);
  }

  void Await() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return !isRunning_; });
    if (thread_.joinable()) thread_.join();
  }

 private:
  Sweeper() { Zef::KernelExitTable::Register(AwaitSweeps); }

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
    for (; !paths_.empty(); lock.lock()) {
      const std::string path = std::move(paths_.front());
      paths_.pop_front();
      lock.unlock();
      Delete(path);
    }
    isRunning_ = false;
    done_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable done_;
  std::deque<std::string> paths_;
  std::thread thread_;
  bool isRunning_ = false;
};

}  // namespace

void SweepFolder(const std::string& path) { Sweeper::Get().Add(path); }
void AwaitSweeps() { Sweeper::Get().Await(); }
