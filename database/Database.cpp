#include "database/Database.h"

#include <utility>

#include "database/AssetFolder.h"
#include "database/ContentServices.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "kernel/Clock.h"
#include "kernel/KernelBoot.h"
#include "kernel/standard/Trace.h"

namespace {

using Outcome = DatabaseFiles::Outcome;

/// The first guard of a run loads the database.
std::int32_t LoadInBackground(void*) {
  try {
    const MUKLock guard(true);
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next guard tries again
  }
  return 0;
}

constexpr std::int32_t kExitPoll = 5;  // milliseconds
constexpr std::int32_t kExitPatience = 10000;

/// Sets a flag for the length of a scope.
template <typename Flag>
class FlagScope {
 public:
  explicit FlagScope(Flag& flag) : flag_(flag) { flag_ = true; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;
  ~FlagScope() { flag_ = false; }

 private:
  Flag& flag_;
};

class ExclusiveHold {
 public:
  explicit ExclusiveHold(Zef::RWLock& lock) : lock_(lock) { lock_.LockExclusive(); }
  ExclusiveHold(const ExclusiveHold&) = delete;
  ExclusiveHold& operator=(const ExclusiveHold&) = delete;
  ~ExclusiveHold() { lock_.UnlockExclusive(); }

 private:
  Zef::RWLock& lock_;
};

}  // namespace

void MUKInitialise(const MUKSettings& settings) { Database::Get().Initialise(settings); }
void MUKShutdown() { Database::Get().Shutdown(); }
void MUKIdle() { Database::Get().Idle(); }
void MUKInternalWriteDatabase() {
  const MUKLock guard(true);
  if (guard.IsHeld()) Database::Get().Write();
}

Database& Database::Get() {
  // Never destroyed: guards of late threads still ask whether it runs.
  static Database& database = *new Database;
  return database;
}

void Database::Initialise(const MUKSettings& settings) {
  const std::lock_guard turn(lifecycle_);
  if (initialised_) return;
  {
    const ExclusiveHold hold(lock_);
    stop_ = false;
    settings_ = settings;
    change_ = std::make_shared<const std::function<void(std::uint32_t)>>(settings.change);
    settings_.productRoot = DatabaseFiles::AbsoluteRoot(settings.productRoot);
    files_ = DatabaseFiles(settings_.productRoot, settings_.stepObserver);
    lastChange_ = GetClock().Seconds();
    hurryFrom_ = lastChange_.load();
    if (settings_.services == nullptr) settings_.services = &ownServices_;
    settings_.services->LoadBaseId(settings_);
    ipc_ = std::make_unique<IpcLock>(settings_.pollMilliseconds);
    ipc_->IpcStartup(settings_.productRoot);
    editsSwept_ = false;
    initialised_ = true;
  }
  if (!std::exchange(exitRegistered_, true)) {
    Zef::KernelExitTable::Register([] {
      Get().EndThreads();
      AwaitSweeps();
    });
  }
  starter_ = std::make_unique<Zef::Thread>(LoadInBackground, nullptr);
}

// A host that exits without a shutdown: the threads must not run on while the kernel goes. One
// that waits for another process finds on waking that nothing runs any more.
void Database::EndThreads() {
  const std::unique_lock turn(lifecycle_, std::try_to_lock);
  if (!turn.owns_lock() || !initialised_.exchange(false) || lock_.IsHeldByCaller()) return;
  stop_ = true;
  for (Zef::Thread* const thread : {writer_.get(), starter_.get()}) {
    if (thread == nullptr || thread->Suspend()) continue;
    std::int32_t left = kExitPatience;
    while (left > 0 && !awaitsTurn_ && !thread->Lock(kExitPoll)) left -= kExitPoll;
    if (!thread->IsRunning()) thread->Stop();
  }
}

void Database::Shutdown() {
  const std::lock_guard turn(lifecycle_);
  if (!initialised_) return;
  stop_ = true;
  writer_.reset();
  starter_.reset();
  {
    const ExclusiveHold hold(lock_);
    // What is dirty is ours: ownership is not given up before the write.
    if (dirty_) Write();
    initialised_ = false;
    index_.Clear();
    ipc_.reset();
    loaded_ = false;
    dirty_ = false;
    mainStands_ = false;
    changeMask_ = 0;
    settings_ = MUKSettings();
    change_.reset();
    files_ = DatabaseFiles();
  }
  AwaitSweeps();
}

void Database::Idle() {
  if (!initialised_ || lock_.IsHeldByCaller() || idling_.exchange(true)) return;
  {
    const FlagScope idling(idling_);
    // Never waits: a shutdown may be joining the thread whose callback came here.
    const std::unique_lock turn(lifecycle_, std::try_to_lock);
    if (turn.owns_lock() && initialised_) IdleTurn();
  }
  // What was changed while others held the database is told here.
  Notify();
}

void Database::IdleTurn() {
  ipc_->IpcPoll();
  if (!ipc_->HoldsWriteLock()) return;
  const double now = GetClock().Seconds();
  // Who waits does not hurry a write that has just failed.
  const bool wanted = ipc_->OthersWaiting() && now >= hurryFrom_;
  if (wanted && !dirty_ && writer_ == nullptr && HandOver()) return;
  if (writer_ != nullptr && writer_->IsRunning()) return;
  writer_.reset();
  if (dirty_ && (wanted || lastChange_ + kQuietSeconds < now)) {
    auto writer = std::make_unique<Zef::Thread>(MUKThread_WriteDatabaseLocal, nullptr, false);
    if (writer->Start()) writer_ = std::move(writer);
  }
  settings_.services->IdleTurn(settings_.enableStation);
}

bool Database::HandOver() {
  if (!lock_.TryLockExclusive()) return false;
  // A guard may have changed something since the caller looked.
  if (!dirty_) ipc_->ReleaseWriteLock();
  lock_.UnlockExclusive();
  return true;
}

void Database::Notify() {
  if (changeMask_ == 0 || !lock_.TryLockExclusive()) return;
  const auto change = change_;
  lock_.UnlockExclusive();
  if (!lock_.IsFree()) return;
  const std::uint32_t mask = changeMask_.exchange(0);
  if (mask != 0 && change != nullptr && *change) (*change)(mask);
}

void Database::MakeReady() {
  {
    const FlagScope waits(awaitsTurn_);
    ipc_->AcquireWriteLock();
  }
  if (!initialised_ || stop_) return;
  // The files are asked too: a process that died may have replaced them without saying so.
  if (!ipc_->HasChanged() && loaded_ && files_.MainStamp() == stamp_) return;
  settings_.services->ReloadBaseId();
  LoadIndex();
}

void Database::LoadIndex() {
  // Not before: to the process that owned the database they may be work that has just begun.
  if (!std::exchange(editsSwept_, true)) files_.RemoveEmptyEditFolders();
  // Set first: what the load calls takes guards of its own.
  loaded_ = true;
  try {
    if (files_.Enabled() && settings_.allowRepair) ClearLeftovers(settings_.productRoot);
    if (!files_.Enabled()) {
      index_.Clear();
    } else if (const Source source = LoadFiles(); source == Source::Blocked) {
      loaded_ = false;
      return;
    } else if (source != Source::Main && settings_.allowRepair) {
      RemoveEmptyAssetFolders(settings_.productRoot, kLocalArchive, "content ");
      source == Source::Leftover ? Recover() : Rebuild();
      if (stop_) {
        // A part of the product must not pass for the whole of it.
        loaded_ = false;
        const std::lock_guard state(stateLock_);
        dirty_ = false;
        return;
      }
    }
  } catch (...) {
    loaded_ = false;
    throw;
  }
  const std::lock_guard state(stateLock_);
  stamp_ = files_.MainStamp();
}

Database::Source Database::LoadFiles() {
  Outcome main = Outcome::NotWhole;
  Outcome left = Outcome::NotWhole;
  {
    const std::lock_guard state(stateLock_);
    mainStands_ = false;
    backUpFrom_ = 0;
  }
  main = files_.LoadMain(index_);
  files_.Step("load: database tried");
  if (main == Outcome::NotWhole && settings_.allowRepair && !settings_.archivesOnly) {
    left = files_.LoadLeftover(index_);
  }
  const std::lock_guard state(stateLock_);
  if (main == Outcome::Unreadable || left == Outcome::Unreadable) {
    dirty_ = false;
    return Source::Blocked;
  }
  mainStands_ = main == Outcome::Loaded;
  if (dirty_) BackUpLocked();
  if (main == Outcome::Loaded) return Source::Main;
  return left == Outcome::Loaded ? Source::Leftover : Source::None;
}

void Database::Recover() {
  ContentServices& services = *settings_.services;
  const auto all = index_.AllRecords();
  for (MUKAsset* record : std::vector<MUKAsset*>(all.begin(), all.end())) {
    if (stop_) return;
    if (record->IsPresent()) services.Recover(index_, *record);
  }
  files_.Step("recovery: records verified");
  services.Scan(ContentArea::Local, index_, settings_);
  services.Scan(ContentArea::Editing, index_, settings_);
  files_.Step("recovery: folders scanned");
  if (stop_) return;
  index_.Sort();
  MarkChanged(kChangeGeneral);
  Write();
}

void Database::Rebuild() {
  ContentServices& services = *settings_.services;
  services.Scan(ContentArea::World, index_, settings_);
  services.Scan(ContentArea::Trains, index_, settings_);
  if (!settings_.archivesOnly) {
    services.Scan(ContentArea::Local, index_, settings_);
    services.Scan(ContentArea::Editing, index_, settings_);
  }
  index_.Sort();
  MarkChanged(kChangeGeneral);
}

void Database::Write() {
  // An index that stands for no file must not replace one.
  if (!initialised_ || !loaded_) return;
  bool stood = false;
  {
    const std::lock_guard state(stateLock_);
    stood = std::exchange(mainStands_, false);
    dirty_ = false;
  }
  bool written = false;
  try {
    written = files_.Write(index_);
    if (written) {
      ipc_->MarkChanged();
      files_.Step("write: counted");
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): not written, and tried again
  }
  const std::lock_guard state(stateLock_);
  mainStands_ = written || (stood && files_.MainExists());
  if (written) backUpFrom_ = 0;
  stamp_ = files_.MainStamp();
  if (dirty_ && written) {
    Zef::Trace("MUKInternalWriteDatabase> asset cache marked changed during write operation\n");
    BackUpLocked();
  }
  if (written) return;
  const double now = GetClock().Seconds();
  lastChange_ = now;
  hurryFrom_ = now + kQuietSeconds;
  dirty_ = true;
  changeMask_ |= kChangeGeneral;
}

std::int32_t Database::MUKThread_WriteDatabaseLocal(void*) {
  try {
    const MUKLock guard(false);
    if (guard.IsHeld()) Get().Write();
  } catch (...) {  // NOLINT(bugprone-empty-catch): still dirty; the next turn tries again
  }
  return 0;
}

void Database::BackUpLocked() {
  // A file that was neither loaded nor written whole must not take the place of a backup. While
  // a load or write is at work none stands, and its end does what changes ask for.
  if (!mainStands_) return;
  const double now = GetClock().Seconds();
  if (now < backUpFrom_) return;
  mainStands_ = !files_.BackUp();
  if (mainStands_) backUpFrom_ = now + kBackUpPause;  // a later change tries again
  stamp_ = files_.MainStamp();
}

void Database::Touch() { lastChange_ = GetClock().Seconds(); }

void Database::MarkChanged(std::uint32_t mask) {
  lastChange_ = GetClock().Seconds();
  const std::lock_guard state(stateLock_);
  dirty_ = true;
  BackUpLocked();
  changeMask_ |= mask;
}

bool Database::BeginDiskChange() {
  MarkChanged(kChangeGeneral);
  const std::lock_guard state(stateLock_);
  return !mainStands_;
}

void Database::BeforeSave() { settings_.services->RefreshBaseId(); }

std::int64_t Database::UnixTime() { return GetClock().UnixTime(); }

std::vector<PLID> Database::ReadObsoleteList(const MUKAsset& asset) {
  return settings_.services->ReadObsoleteList(asset);
}

PLID Database::NextLocalId() { return settings_.services->NextLocalId(index_); }

const Zef::Clock& Database::GetClock() const {
  return settings_.clock != nullptr ? *settings_.clock : Zef::RealClock();
}
