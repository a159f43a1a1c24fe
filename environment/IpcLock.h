// IpcLock: which of several processes may write the database that they share.
//
// All processes of one user that work on one product root meet in a record of 16 bytes. One of
// them is the writer; when it saves it says so, and the next writer sees that it must reload.
// One is the master, which strikes out a writer that died; when the master dies, the next one
// that polls takes its place. Waiting is by polling. A killed process frees everything; only its
// place in the count of waiters stays, which makes writers yield early and no more.
//
// With an empty root, or where the system has no shared memory to give, the record is the
// process's own and everything works as if no other process were there.
//
// A second object of one process and root counts as one more process. Any thread may call anything
// between IpcStartup and IpcShutdown. After a fork the child must not use the object.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "kernel/platform/SharedBlock.h"
#include "kernel/platform/System.h"

class IpcLock {
 public:
  static constexpr std::uint32_t kDefaultPoll = 100;

  /// Milliseconds between two looks while waiting.
  explicit IpcLock(std::uint32_t pollMilliseconds = kDefaultPoll) : poll_(pollMilliseconds) {}
  IpcLock(const IpcLock&) = delete;
  IpcLock& operator=(const IpcLock&) = delete;
  ~IpcLock() { IpcShutdown(); }

  /// Joins the processes of this root. A second call does nothing. Changes made before this
  /// count as seen. The first process also removes a stale plain file of the record's name from
  /// the current folder.
  void IpcStartup(const std::string& productRoot);
  /// Gives up what this process holds, and leaves.
  void IpcShutdown();
  /// The periodic check: a dead master is succeeded, a dead writer struck out.
  void IpcPoll();

  /// Waits until this process is the writer. Does not nest: one release frees it. Returns at
  /// once before IpcStartup.
  void AcquireWriteLock();
  /// Becomes the writer if no living process is. Never waits, and asks nobody to yield.
  [[nodiscard]] bool TryAcquireWriteLock();
  void ReleaseWriteLock();
  bool HoldsWriteLock() const;
  /// True when this process is the writer and another would like to be.
  bool OthersWaiting() const;

  /// Tells the others that what is on disk has changed; to be called as the writer.
  void MarkChanged();
  /// True once after every change by another process.
  bool HasChanged();

  bool IsMaster() const { return isMaster_; }

  /// Name of the shared memory object of a root, which is never removed.
  static std::string BlockName(const std::string& productRoot);

 private:
  struct Record {
    std::atomic<std::uint32_t> masterPid;
    std::atomic<std::uint32_t> writerPid;
    std::atomic<std::uint32_t> waitCount;
    std::atomic<std::uint32_t> changeCounter;
  };
  static_assert(sizeof(Record) == 16 && std::atomic<std::uint32_t>::is_always_lock_free);

  class Section;

  bool Join(const std::string& productRoot);
  bool TakeLifeSlot();
  void Reset(Record* record) const;
  bool IsAlive(std::uint32_t process) const;
  void TakeMaster();
  void StrikeOutDeadWriter();
  bool TryBecomeWriter(bool waiting);

  const std::uint32_t poll_;
  std::mutex mutex_;
  std::unique_ptr<Zef::Platform::SharedBlock> block_;
  Record own_{};
  Record* record_ = nullptr;                // in the block, or own_; null while not started
  Zef::Platform::ProcessId processId_ = 0;  // of the one that started it, and not of a fork
  std::uint32_t myId_ = 0;                  // in the record: one that no living party has
  std::atomic<bool> isMaster_ = false;
  std::atomic<std::uint32_t> lastSeenCounter_ = 0;
};
