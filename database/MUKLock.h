// MUKLock: the guard under which the running database is read and changed.
//
// Any number of shared guards, or one exclusive one; a thread may nest them. The first guard
// loads the database, and a guard that finds another process to own it waits for its turn and
// loads what that process wrote; for this a shared guard becomes exclusive and stays so. A guard
// holds nothing while the database is not running, or its files cannot be opened: ask IsHeld.
//
// Belongs to the thread that made it, and is no thing to keep: MUKIdle does nothing meanwhile.
// Taking an exclusive guard inside a shared one waits for all other readers; two threads that do
// so at once stop at a trap.

#pragma once

class Database;

class MUKLock {
 public:
  /// `tryOnly` does not wait for other threads; it does wait for other processes.
  explicit MUKLock(bool exclusive, bool tryOnly = false);
  /// Gives the database back, and tells the host of changes when nobody else holds it.
  ~MUKLock();
  MUKLock(const MUKLock&) = delete;
  MUKLock& operator=(const MUKLock&) = delete;

  bool IsHeld() const { return held_; }

 private:
  bool Take(bool tryOnly);
  void Release();

  Database& database_;
  bool exclusive_;
  bool held_ = false;
};
