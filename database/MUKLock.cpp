#include "database/MUKLock.h"

#include "database/Database.h"

MUKLock::MUKLock(bool exclusive, bool tryOnly) : database_(Database::Get()), exclusive_(exclusive) {
  if (!Take(tryOnly) || database_.IsReady()) return;
  if (!exclusive_) {
    Release();
    exclusive_ = true;
    if (!Take(tryOnly)) return;
  }
  try {
    database_.MakeReady();
  } catch (...) {
    Release();
    throw;
  }
}

MUKLock::~MUKLock() {
  if (!held_) return;
  Release();
  if (exclusive_) database_.Notify();
}

bool MUKLock::Take(bool tryOnly) {
  if (!database_.IsInitialised()) return false;
  Zef::RWLock& lock = database_.lock_;
  if (!tryOnly) {
    exclusive_ ? lock.LockExclusive() : lock.LockShared();
  } else if (!(exclusive_ ? lock.TryLockExclusive() : lock.TryLockShared())) {
    return false;
  }
  held_ = true;
  // The database may have ended while this thread waited.
  if (!database_.IsInitialised()) Release();
  return held_;
}

void MUKLock::Release() {
  held_ = false;
  exclusive_ ? database_.lock_.UnlockExclusive() : database_.lock_.UnlockShared();
}
