#include "kernel/Waitable.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <utility>

namespace Zef {

constinit std::mutex Waitable::lock_;

namespace {

constinit Waitable* firstNamed = nullptr;  // guarded by the process's lock

}  // namespace

struct Waitable::Waiter {
  std::span<Waitable* const> objects;
  bool all;
  ThreadRecord* thread;
  std::int32_t taken = -1;
  bool abandoned = false;
  std::condition_variable wake{};

  // Takes what it waits for, if that can be had now.
  bool TryTake() {
    const auto ready = [this](const Waitable* object) { return object->IsReady(thread); };
    const auto begin = objects.begin();
    const auto first = std::find_if(begin, objects.end(), ready);
    if (first == objects.end()) return false;
    if (all && !std::all_of(begin, objects.end(), ready)) return false;
    taken = static_cast<std::int32_t>(first - begin);
    for (auto object = first; object != (all ? objects.end() : first + 1); ++object) {
      if (!(*object)->Take(thread)) continue;
      abandoned = true;
      taken = static_cast<std::int32_t>(object - begin);
    }
    return true;
  }

  void Enter() {
    try {
      for (Waitable* object : objects) object->waiters_.push_back(this);
    } catch (...) {
      Leave();
      throw;
    }
  }

  void Leave() {
    for (Waitable* object : objects) std::erase(object->waiters_, this);
  }
};

// A thread's mutexes are given up by the last thing that runs on it.
struct AbandonHeld {
  ThreadRecord* record;
  ~AbandonHeld() {
    const std::lock_guard guard(Waitable::lock_);
    record->ended = true;
    while (record->held != nullptr) record->held->Abandon();
  }
};

// The record itself has nothing to destroy and so serves destructors that run still later.
ThreadRecord* Waitable::Self() {
  thread_local constinit ThreadRecord record;
  thread_local const AbandonHeld atEnd{&record};
  return atEnd.record;
}

Waitable::~Waitable() {
  if (name_.empty()) return;
  const std::lock_guard guard(lock_);
  Waitable** link = &firstNamed;
  while (*link != this) link = &(*link)->nextNamed_;
  *link = nextNamed_;
}

std::shared_ptr<Waitable> Waitable::FindName(const char* name) {
  for (Waitable* object = firstNamed; object != nullptr; object = object->nextNamed_) {
    if (object->name_ != name) continue;
    // One whose last holder is just leaving no longer counts.
    if (std::shared_ptr<Waitable> living = object->weak_from_this().lock()) return living;
  }
  return nullptr;
}

void Waitable::Register(const char* name) {
  name_ = name;
  nextNamed_ = firstNamed;
  firstNamed = this;
}

std::int32_t Waitable::Wait(std::span<Waitable* const> objects, bool all, std::int32_t timeout,
                            bool* abandoned) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
  Waiter waiter{.objects = objects, .all = all, .thread = Self()};
  std::unique_lock guard(lock_);
  if (!waiter.TryTake() && timeout != 0) {
    waiter.Enter();
    const auto served = [&] { return waiter.taken >= 0; };
    if (timeout < 0) {
      waiter.wake.wait(guard, served);
    } else if (!waiter.wake.wait_until(guard, end, served)) {
      waiter.Leave();
    }
  }
  if (abandoned != nullptr) *abandoned = waiter.abandoned;
  return waiter.taken;
}

void Waitable::Serve() {
  for (std::size_t i = 0; i < waiters_.size();) {
    Waiter* const waiter = waiters_[i];
    if (!waiter->TryTake()) {
      ++i;
      continue;
    }
    waiter->Leave();
    waiter->wake.notify_one();
  }
}

void EventState::Set() {
  const std::lock_guard guard(lock_);
  signalled_ = true;
  Serve();
}

void EventState::Reset() {
  const std::lock_guard guard(lock_);
  signalled_ = false;
}

bool EventState::Take(ThreadRecord*) {
  if (!manualReset_) signalled_ = false;
  return false;
}

bool SemaphoreState::Release(std::int32_t count) {
  const std::lock_guard guard(lock_);
  if (count <= 0 || count > maximum_ - count_) return false;
  count_ += count;
  Serve();
  return true;
}

bool SemaphoreState::Take(ThreadRecord*) {
  --count_;
  return false;
}

MutexState::MutexState(bool initiallyOwned) {
  if (initiallyOwned) Take(Self());
}

MutexState::~MutexState() {
  const std::lock_guard guard(lock_);
  if (owner_ != nullptr) Unlink();
}

bool MutexState::Release() {
  const std::lock_guard guard(lock_);
  if (owner_ != Self()) return false;
  if (--depth_ > 0) return true;
  Unlink();
  Serve();
  return true;
}

bool MutexState::Take(ThreadRecord* by) {
  if (++depth_ > 1) return false;
  owner_ = by;
  // A record that has ended is soon gone, and nobody looks at its list again.
  linked_ = !by->ended;
  if (linked_) nextHeld_ = std::exchange(by->held, this);
  return std::exchange(abandoned_, false);
}

void MutexState::Unlink() {
  ThreadRecord* const owner = std::exchange(owner_, nullptr);
  if (!std::exchange(linked_, false)) return;
  MutexState** link = &owner->held;
  while (*link != this) link = &(*link)->nextHeld_;
  *link = nextHeld_;
}

void MutexState::Abandon() {
  Unlink();
  depth_ = 0;
  abandoned_ = true;
  Serve();
}

}  // namespace Zef
