// Waitable: the state behind a SyncObject, and the one place where threads are matched to it.
//
// All state is guarded by one lock of the process, so that several objects can be taken in one
// step. Whoever changes a state serves its waiters in their order: what becomes ready is taken on
// the waiter's behalf before it wakes, so nobody can snatch it in between.

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace Zef {

class MutexState;

/// What a thread owns; lives as long as the thread.
struct ThreadRecord {
  MutexState* held = nullptr;  // first of a list
  bool ended = false;          // nothing can be abandoned any more
};

class Waitable : public std::enable_shared_from_this<Waitable> {
 public:
  struct Waiter;

  Waitable() = default;
  Waitable(const Waitable&) = delete;
  Waitable& operator=(const Waitable&) = delete;
  virtual ~Waitable();

  /// Takes all or the first ready one of `objects`; the index of the taken (or abandoned) object,
  /// or -1 on a time-out. `abandoned` may be null.
  static std::int32_t Wait(std::span<Waitable* const> objects, bool all, std::int32_t timeout,
                           bool* abandoned);

  /// The living object of this name, or one made by `make`, with the lock held, that gets it; a
  /// null or empty name always makes. Null when the name belongs to an object of another kind.
  template <typename Kind, typename Make>
  static std::shared_ptr<Kind> Named(const char* name, Make make) {
    // Before the guard: their release may need the lock.
    std::shared_ptr<Waitable> found;
    std::shared_ptr<Kind> made;
    const std::lock_guard guard(lock_);
    const bool named = name != nullptr && name[0] != '\0';
    if (named) found = FindName(name);
    if (found != nullptr) return std::dynamic_pointer_cast<Kind>(found);
    made = make();
    if (named) made->Register(name);
    return made;
  }

 protected:
  static std::mutex lock_;
  /// Record of the calling thread.
  static ThreadRecord* Self();

  // All below are called with the lock held.
  virtual bool IsReady(const ThreadRecord* by) const = 0;
  /// Makes a ready object the taker's; true if its former owner had abandoned it.
  virtual bool Take(ThreadRecord* by) = 0;
  /// Lets the waiters in, first come first served, as far as the state allows.
  void Serve();

 private:
  friend struct AbandonHeld;

  static std::shared_ptr<Waitable> FindName(const char* name);
  void Register(const char* name);

  std::vector<Waiter*> waiters_;
  std::string name_;
  Waitable* nextNamed_ = nullptr;
};

class EventState final : public Waitable {
 public:
  EventState(bool manualReset, bool signalled) : manualReset_(manualReset), signalled_(signalled) {}
  void Set();
  void Reset();

 private:
  bool IsReady(const ThreadRecord*) const override { return signalled_; }
  bool Take(ThreadRecord*) override;

  const bool manualReset_;
  bool signalled_;
};

class SemaphoreState final : public Waitable {
 public:
  SemaphoreState(std::int32_t initial, std::int32_t maximum) : count_(initial), maximum_(maximum) {}
  bool Release(std::int32_t count);

 private:
  bool IsReady(const ThreadRecord*) const override { return count_ > 0; }
  bool Take(ThreadRecord*) override;

  std::int32_t count_;
  const std::int32_t maximum_;
};

class MutexState final : public Waitable {
 public:
  explicit MutexState(bool initiallyOwned);
  ~MutexState() override;
  bool Release();

 private:
  friend struct AbandonHeld;

  bool IsReady(const ThreadRecord* by) const override { return owner_ == nullptr || owner_ == by; }
  bool Take(ThreadRecord* by) override;
  void Unlink();
  void Abandon();

  ThreadRecord* owner_ = nullptr;
  std::uint32_t depth_ = 0;
  bool abandoned_ = false;
  bool linked_ = false;             // on the owner's list
  MutexState* nextHeld_ = nullptr;  // there
};

}  // namespace Zef
