// RWLock: many readers or one writer, each as often as it likes.
//
// A thread that holds the lock in any way may take it shared again at once. New readers queue
// behind a waiting writer, so a stream of readers cannot starve it. A writer may take it both
// ways again. A reader may become the writer too, once all others have left; should two readers
// want that at the same time, neither could ever leave, and the second stops at a trap.
//
// Every hold is given back on the thread that took it. Cost: one short mutex and a scan of the
// threads that hold the lock.

#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "kernel/BlockAllocator.h"

namespace Zef {

class RWLock : public KernelObject {
 public:
  RWLock() = default;
  RWLock(const RWLock&) = delete;
  RWLock& operator=(const RWLock&) = delete;

  void LockShared();
  void LockExclusive();
  /// Never wait; false when the lock cannot be had at once. A waiting writer counts as an
  /// obstacle to a new reader here too.
  [[nodiscard]] bool TryLockShared();
  [[nodiscard]] bool TryLockExclusive();
  /// Give back one hold of the kind. Without such a hold of the calling thread: a trap.
  void UnlockShared();
  void UnlockExclusive();

  /// True when no thread, the calling one included, holds the lock.
  bool IsFree() const;
  /// True when the calling thread holds the lock in any way.
  bool IsHeldByCaller() const;

 private:
  struct Holder {
    std::thread::id thread;
    std::uint32_t shared = 0;
    std::uint32_t exclusive = 0;
    bool upgrading = false;  // waits to become the writer
  };

  Holder* Find(std::thread::id thread);
  void Release(std::uint32_t Holder::*kind);
  bool MayShare(std::thread::id thread);
  bool MayExclude(std::thread::id thread) const;
  void Hold(std::thread::id thread, std::uint32_t Holder::*kind);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Holder> holders_;  // one entry for a thread, while it holds anything
  std::uint32_t waitingWriters_ = 0;
};

}  // namespace Zef
