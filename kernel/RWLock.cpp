#include "kernel/RWLock.h"

#include <algorithm>

#include "kernel/platform/System.h"

namespace Zef {

RWLock::Holder* RWLock::Find(std::thread::id thread) {
  const auto found = std::ranges::find(holders_, thread, &Holder::thread);
  return found != holders_.end() ? &*found : nullptr;
}

void RWLock::Hold(std::thread::id thread, std::uint32_t Holder::*kind) {
  Holder* holder = Find(thread);
  if (holder == nullptr) holder = &holders_.emplace_back(Holder{.thread = thread});
  ++(holder->*kind);
}

bool RWLock::MayShare(std::thread::id thread) {
  if (Find(thread) != nullptr) return true;
  const bool written = holders_.size() == 1 && holders_.front().exclusive > 0;
  return waitingWriters_ == 0 && !written;
}

bool RWLock::MayExclude(std::thread::id thread) const {
  return holders_.empty() || (holders_.size() == 1 && holders_.front().thread == thread);
}

void RWLock::LockShared() {
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock guard(mutex_);
  changed_.wait(guard, [&] { return MayShare(self); });
  Hold(self, &Holder::shared);
}

void RWLock::LockExclusive() {
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock guard(mutex_);
  if (!MayExclude(self)) {
    if (Holder* holder = Find(self)) {
      if (std::ranges::any_of(holders_, &Holder::upgrading)) {
        Platform::Trap("RWLock: two readers wait for each other to become the writer");
      }
      holder->upgrading = true;
    }
    ++waitingWriters_;
    changed_.wait(guard, [&] { return MayExclude(self); });
    --waitingWriters_;
  }
  Hold(self, &Holder::exclusive);
  holders_.front().upgrading = false;
}

bool RWLock::TryLockShared() {
  const std::thread::id self = std::this_thread::get_id();
  const std::lock_guard guard(mutex_);
  if (!MayShare(self)) return false;
  Hold(self, &Holder::shared);
  return true;
}

bool RWLock::TryLockExclusive() {
  const std::thread::id self = std::this_thread::get_id();
  const std::lock_guard guard(mutex_);
  if (!MayExclude(self)) return false;
  Hold(self, &Holder::exclusive);
  return true;
}

void RWLock::Release(std::uint32_t Holder::*kind) {
  const std::lock_guard guard(mutex_);
  Holder* const holder = Find(std::this_thread::get_id());
  if (holder == nullptr || holder->*kind == 0) {
    Platform::Trap("RWLock: released by a thread that does not hold it");
  }
  --(holder->*kind);
  if (holder->shared == 0 && holder->exclusive == 0) {
    *holder = holders_.back();
    holders_.pop_back();
  }
  changed_.notify_all();
}

void RWLock::UnlockShared() { Release(&Holder::shared); }

void RWLock::UnlockExclusive() { Release(&Holder::exclusive); }

bool RWLock::IsFree() const {
  const std::lock_guard guard(mutex_);
  return holders_.empty();
}

bool RWLock::IsHeldByCaller() const {
  const std::lock_guard guard(mutex_);
  return std::ranges::find(holders_, std::this_thread::get_id(), &Holder::thread) != holders_.end();
}

}  // namespace Zef
