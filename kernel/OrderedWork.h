// OrderedWork: jobs that several threads do and one thread takes back in the order it gave them.
//
//   OrderedWork<Job> work(workers, [](Job& job, std::size_t worker) { ... });
//   work.Post(job);
//   while (work.HasJobs()) Use(work.Take());
//
// The thread that posts also takes; while the next job is not done it does one itself, so it is
// never idle beside free work and zero other threads are a valid number. `worker` counts from 0
// (the posting thread) to the number of threads, for scratch memory. The threads start with the
// first job that finds others waiting.
//
// For jobs of some microseconds and more: each costs a few locks. What a job throws is thrown by
// the Take that would have handed it back. The destructor waits for jobs that are being done and
// drops the others.

#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "kernel/platform/Fault.h"

namespace Zef {

template <typename Job>
class OrderedWork {
 public:
  using Run = std::function<void(Job& job, std::size_t worker)>;

  /// `threads` beside the one that posts; fewer when the system has no more to give.
  OrderedWork(std::size_t threads, Run run) : run_(std::move(run)), threadCount_(threads) {}
  OrderedWork(const OrderedWork&) = delete;
  OrderedWork& operator=(const OrderedWork&) = delete;
  ~OrderedWork() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    posted_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

  /// Jobs given and not yet taken back.
  std::size_t Count() const { return slots_.size(); }
  bool HasJobs() const { return !slots_.empty(); }

  void Post(Job job) {
    {
      const std::lock_guard lock(mutex_);
      slots_.emplace_back(std::move(job));
    }
    if (slots_.size() > 1 && threads_.size() < threadCount_) StartThread();
    posted_.notify_one();
  }

  /// The oldest job, done. There must be one.
  Job Take() {
    std::unique_lock lock(mutex_);
    while (slots_.front().state != State::Done) {
      if (untaken_ < slots_.size()) {
        RunNext(lock, 0);
      } else {
        done_.wait(lock);
      }
    }
    Slot slot = std::move(slots_.front());
    slots_.pop_front();
    --untaken_;
    if (slot.failure) std::rethrow_exception(slot.failure);
    return std::move(slot.job);
  }

 private:
  enum class State { Waiting, Done };
  struct Slot {
    explicit Slot(Job&& given) : job(std::move(given)) {}
    Job job;
    State state = State::Waiting;
    std::exception_ptr failure;
  };

  /// Does the first job that nobody has begun. A slot stays where it is until it is done.
  void RunNext(std::unique_lock<std::mutex>& lock, std::size_t worker) {
    Slot& slot = slots_[untaken_++];
    lock.unlock();
    try {
      run_(slot.job, worker);
    } catch (...) {
      slot.failure = std::current_exception();
    }
    lock.lock();
    slot.state = State::Done;
    done_.notify_one();
  }

  void StartThread() {
    try {
      threads_.emplace_back([this, worker = threads_.size() + 1] { Serve(worker); });
    } catch (const std::system_error&) {
      threadCount_ = threads_.size();
    }
  }

  void Serve(std::size_t worker) {
    const Platform::FaultStack faults;
    std::unique_lock lock(mutex_);
    for (;;) {
      posted_.wait(lock, [this] { return ended_ || untaken_ < slots_.size(); });
      if (ended_) return;
      RunNext(lock, worker);
    }
  }

  Run run_;
  std::size_t threadCount_;  // of the posting thread
  std::vector<std::thread> threads_;

  std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable done_;
  std::deque<Slot> slots_;   // references survive pushes and pops at the ends
  std::size_t untaken_ = 0;  // leading slots that somebody has begun
  bool ended_ = false;
};

}  // namespace Zef
