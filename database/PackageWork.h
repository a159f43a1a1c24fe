// PackageWork: jobs on a package's files, done by several threads and taken back in order.
//
// Holds no more than some files at a time, and no more of their bytes than fit its budget, however
// many are posted; a file that alone exceeds it goes through alone. Ends with the first job that
// failed in the order they were posted. One thread posts; see OrderedWork for the rest.

#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>

#include "kernel/OrderedWork.h"

/// `Job` has a `std::uint64_t size` in bytes.
template <typename Job>
class PackageWork {
 public:
  /// `run` is called on any thread; `done` on the one that posts, false ends the work.
  PackageWork(std::function<void(Job&)> run, std::function<bool(Job&)> done)
      : done_(std::move(done)),
        work_(Threads(), [run = std::move(run)](Job& job, std::size_t) { run(job); }) {}

  /// False once a job has failed: then nothing more is to be posted.
  [[nodiscard]] bool Post(Job job) {
    const std::uint64_t size = job.size;
    if (failed_) return false;
    while (work_.HasJobs() && (work_.Count() >= kMostJobs || bytes_ + size > kMostBytes)) {
      if (!TakeOne()) return false;
    }
    bytes_ += size;
    work_.Post(std::move(job));
    return true;
  }

  /// Waits for all jobs; false when one has failed.
  [[nodiscard]] bool Finish() {
    while (work_.HasJobs()) {
      if (!TakeOne()) return false;
    }
    return !failed_;
  }

 private:
  static constexpr std::size_t kMostJobs = 64;
  static constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;
  static constexpr std::size_t kMostThreads = 3;

  static std::size_t Threads() {
    const std::size_t processors = std::thread::hardware_concurrency();
    return processors == 0 ? 0 : std::min(processors - 1, kMostThreads);
  }

  bool TakeOne() {
    if (failed_) return false;
    Job job = work_.Take();
    bytes_ -= job.size;
    failed_ = !done_(job);
    return !failed_;
  }

  std::function<bool(Job&)> done_;
  Zef::OrderedWork<Job> work_;
  std::uint64_t bytes_ = 0;
  bool failed_ = false;
};
