// Sync: the objects by which threads wait for each other.
//
// SyncObject is what can be waited for: events, mutexes, semaphores, threads, and the plain
// CriticalSection. All but the last can be waited for together through a MultiLock. Waiters are
// served in the order in which they came. A named object is shared by all that are made with the
// name in this process. RWLock stands beside the family, in a header of its own.
//
// Cost: a CriticalSection is one uncontended lock. Everything waitable goes through one lock of
// the process and wakes exactly the thread that got the object. Locks are for short waits between
// threads; between processes see IpcLock.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "kernel/BlockAllocator.h"

namespace Zef {

class Waitable;

/// Time-out that never comes. Time-outs are in milliseconds; any negative one is this.
inline constexpr std::int32_t kForever = -1;

class SyncObject : public KernelObject {
 public:
  SyncObject(const SyncObject&) = delete;
  SyncObject& operator=(const SyncObject&) = delete;
  /// Nobody may be waiting any more.
  virtual ~SyncObject();

  /// Identity of what is waited for; null for a CriticalSection and for an object whose
  /// constructor was given impossible arguments, or a name that an object of another kind has.
  virtual const void* Handle() const;
  /// Waits until the object is signalled and takes it. False on a time-out, or without a handle.
  virtual bool Lock(std::int32_t timeout);
  /// Gives back `count` times; false when the object has nothing to give back.
  virtual bool Unlock(std::int32_t count);
  virtual bool Unlock();

 protected:
  SyncObject() = default;
  explicit SyncObject(std::shared_ptr<Waitable> waitable);
  Waitable* GetWaitable() const { return waitable_.get(); }

 private:
  friend class MultiLock;
  std::shared_ptr<Waitable> waitable_;
};

/// Signalled by Set. A manual-reset event stays so until Reset; any other one lets one waiter
/// through and is clear again.
class WEvent : public SyncObject {
 public:
  WEvent(bool manualReset, bool signalled, const char* name = nullptr);
  void Set();
  void Reset();
};

/// Owned by one thread, which may take it again and gives it back as often. A thread that ends
/// while it owns a mutex abandons it: the next taker gets it all the same.
class Mutex : public SyncObject {
 public:
  /// `initiallyOwned` counts only if the name is new.
  explicit Mutex(bool initiallyOwned = false, const char* name = nullptr);
  /// Both release once, whatever the count; false when the calling thread is not the owner.
  bool Unlock(std::int32_t count) override;
  bool Unlock() override;
};

/// Lets as many takers through as its count says. Needs 0 <= initial <= maximum, maximum > 0.
class Semaphore : public SyncObject {
 public:
  Semaphore(std::int32_t initial, std::int32_t maximum, const char* name = nullptr);
  /// Adds to the count; one that would pass the maximum changes nothing and gives false.
  bool Unlock(std::int32_t count) override;
  bool Unlock() override;
};

/// The everyday recursive lock. Has no handle and no time-out.
class CriticalSection : public SyncObject {
 public:
  /// The name is for the reader of the code alone.
  explicit CriticalSection(const char* name = nullptr);
  /// Enters, however long it takes; always true.
  bool Lock(std::int32_t timeout) override;
  using SyncObject::Unlock;
  /// Leaves; only for the thread that entered.
  bool Unlock() override;

 private:
  std::recursive_mutex mutex_;
};

/// Takes an object for the length of a scope.
class SyncGuard {
 public:
  explicit SyncGuard(SyncObject& object, bool lock = true)
      : object_(object), locked_(lock && object.Lock(kForever)) {}
  SyncGuard(const SyncGuard&) = delete;
  SyncGuard& operator=(const SyncGuard&) = delete;
  ~SyncGuard() { Release(); }

  bool IsLocked() const { return locked_; }
  /// Gives the object back before the scope ends.
  void Release() {
    if (locked_) object_.Unlock();
    locked_ = false;
  }

 private:
  SyncObject& object_;
  bool locked_;
};

/// Waits for several objects at once. Marks what it took and gives that back. Not thread-safe.
class MultiLock {
 public:
  static constexpr std::uint32_t kFailed = 0;
  static constexpr std::uint32_t kTimeout = 1;
  static constexpr std::uint32_t kSignalled = 0x10000000;
  static constexpr std::uint32_t kAbandoned = 0x20000000;
  static constexpr std::size_t kCapacity = 64;

  /// The objects must outlive this one.
  explicit MultiLock(std::vector<SyncObject*> objects);
  MultiLock(const MultiLock&) = delete;
  MultiLock& operator=(const MultiLock&) = delete;
  ~MultiLock() { Release(); }

  /// Gives back what it still holds, then takes all objects in one step, or the first that can be
  /// had. Gives kSignalled or kAbandoned plus the index of the object (0, or the abandoned one,
  /// when waiting for all), kTimeout, or kFailed: no objects or more than kCapacity, one without a
  /// handle, or one twice in a wait for all.
  [[nodiscard]] std::uint32_t Wait(bool all, std::int32_t timeout);
  bool IsLocked(std::size_t index) const { return locked_[index]; }
  /// Unlocks every marked object once.
  void Release();

 private:
  std::vector<SyncObject*> objects_;
  std::vector<bool> locked_;
};

}  // namespace Zef
