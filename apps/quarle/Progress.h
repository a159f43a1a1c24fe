// Progress: a bar on standard error while a command works.
//
// It appears when the work has taken half a second, only when a person is watching, and is wiped
// when the work ends. Work that cannot say how far it is shows the time it has taken. A thread of
// its own draws; Advance may be called from the working thread, at the cost of one atomic store.

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "apps/quarle/Output.h"

class Progress {
 public:
  /// `total` steps of work, 0 when that is not known.
  Progress(const CommonOptions& options, std::string label, std::uint64_t total = 0);
  ~Progress();
  /// False when no bar would ever be drawn: then nobody needs to count the steps.
  static bool IsWanted(const CommonOptions& options);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Advance(std::uint64_t done) { done_.store(done, std::memory_order_relaxed); }

 private:
  void Run(bool atOnce);
  void Draw(std::uint64_t elapsedMilliseconds) const;

  const std::string label_;
  const std::uint64_t total_;
  std::atomic<std::uint64_t> done_{0};
  std::mutex lock_;
  std::condition_variable ended_;
  bool ending_ = false;
  std::thread drawer_;
};
