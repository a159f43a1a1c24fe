// Database: the one running asset database of the process.
//
// Holds the index, the reader/writer lock that guards it, the dirty state, the three-file
// discipline and the ownership between processes. MUKInitialise loads in the background; the
// host calls MUKIdle often, which writes what was left alone for ten seconds and hands the
// database to other processes; MUKShutdown writes the rest. In between, any thread works through
// the accessors (Accessors.h) or under a guard (MUKLock.h).
//
// After a load and after the first change, "assets.mkx" does not exist until the next write: its
// absence tells the next start of an unclean end (docs/database.md).

#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "database/AssetServices.h"
#include "database/DatabaseFiles.h"
#include "database/IndexHost.h"
#include "database/MUKAssetIndex.h"
#include "environment/IpcLock.h"
#include "kernel/RWLock.h"
#include "kernel/Thread.h"

namespace Zef {
class Clock;
}

/// What a host says about the database it runs. Callbacks must not throw.
struct MUKSettings {
  /// Folder of the product, plain or with a substitution prefix. A relative one is taken from
  /// the current folder once. Empty: the database lives in memory and touches no file.
  std::string productRoot;
  /// Called once per folder in long scans, with the folder.
  std::function<void(const char* folder)> progress;
  /// Called with the kinds of change when an exclusive guard was released and nobody holds one.
  /// May use the database, but not MUKShutdown.
  std::function<void(std::uint32_t mask)> change;
  bool allowRepair = true;               ///< recover or rebuild when "assets.mkx" does not load
  bool enableStation = true;             ///< give the download station its turns
  bool archivesOnly = false;             ///< look for assets in archives alone; never recover
  ContentServices* services = nullptr;   ///< borrowed; null is the database's own AssetServices
  const Zef::Clock* clock = nullptr;     ///< borrowed; null is the system's
  std::uint32_t pollMilliseconds = 100;  ///< between looks at another process's ownership
  StepObserver stepObserver = nullptr;
};

/// Starts the database and loads it on a thread of its own. Nothing when it runs already.
void MUKInitialise(const MUKSettings& settings);
/// Writes what changed and ends the database. A recovery or rebuild that is going on is given up
/// and leaves the files as they were. Waits for its threads; nothing when it is not running. Not
/// under a guard, and not from a callback.
void MUKShutdown();
/// The database's turn on the host's main thread. Does nothing while the calling thread holds a
/// guard, and during a start or a shutdown.
void MUKIdle();
/// Writes the database now, on this thread, under an exclusive guard. Nothing when it is not
/// running, or cannot be loaded.
void MUKInternalWriteDatabase();

class Database final : public IndexHost {
 public:
  static constexpr double kQuietSeconds = 10.0;
  static constexpr double kBackUpPause = 1.0;  ///< behind an attempt that failed, in seconds

  /// The process's database, running or not.
  static Database& Get();

  bool IsInitialised() const { return initialised_; }
  /// True from the first change until the write that holds it has begun.
  bool IsDirty() const { return dirty_; }
  /// True while a thread of this process waits for another process to hand the database over.
  bool IsAwaitingTurn() const { return awaitsTurn_; }
  /// Set when the database ends: long work stops, and what it had done so far is dropped.
  const std::atomic<bool>& StopRequest() const { return stop_; }
  /// As given, with an absolute root, and never without services. Under a guard.
  const MUKSettings& Settings() const { return settings_; }
  /// Under a guard, an exclusive one for changes.
  MUKAssetIndex& Index() { return index_; }
  /// Guards flags that readers fill in passing, under their shared guard.
  std::mutex& CacheLock() { return cacheLock_; }

  void Touch() override;
  void MarkChanged(std::uint32_t mask) override;
  /// Marks a change that is about to be made on disk. False while "assets.mkx" cannot be moved
  /// away: no start would look for what a crash leaves half done, so nothing may be changed there.
  [[nodiscard]] bool BeginDiskChange();
  void BeforeSave() override;
  std::int64_t UnixTime() override;
  std::vector<PLID> ReadObsoleteList(const MUKAsset& asset) override;
  PLID NextLocalId() override;

 private:
  friend class MUKLock;
  friend void MUKInitialise(const MUKSettings& settings);
  friend void MUKShutdown();
  friend void MUKIdle();
  friend void MUKInternalWriteDatabase();

  Database() = default;

  void Initialise(const MUKSettings& settings);
  void Shutdown();
  void EndThreads();
  void Idle();
  void IdleTurn();
  bool HandOver();
  void Write();
  static std::int32_t MUKThread_WriteDatabaseLocal(void*);

  // For guards, which hold lock_.
  bool IsReady() const { return loaded_ && ipc_->HoldsWriteLock(); }
  void MakeReady();
  void Notify();

  void LoadIndex();
  /// Which file the index was loaded from. Blocked: one that would take its place is unreadable.
  enum class Source { Main, Leftover, None, Blocked };
  Source LoadFiles();
  void Recover();
  void Rebuild();
  void BackUpLocked();
  const Zef::Clock& GetClock() const;

  std::mutex lifecycle_;  // Initialise, Shutdown and Idle, one at a time
  std::atomic<bool> idling_{false};
  std::atomic<bool> initialised_{false};
  std::atomic<bool> stop_{false};
  std::atomic<bool> awaitsTurn_{false};  // a thread waits for another process
  bool exitRegistered_ = false;

  Zef::RWLock lock_;  // guards settings_, change_, files_, ipc_, index_, loaded_
  MUKSettings settings_;
  // Shared, as a destructor copies it, where nothing may throw.
  std::shared_ptr<const std::function<void(std::uint32_t)>> change_;
  AssetServices ownServices_;
  DatabaseFiles files_;
  std::unique_ptr<IpcLock> ipc_;
  MUKAssetIndex index_{this};
  bool loaded_ = false;
  bool editsSwept_ = false;  // empty working folders were removed, once a run
  std::mutex cacheLock_;

  std::unique_ptr<Zef::Thread> writer_;
  std::unique_ptr<Zef::Thread> starter_;

  std::atomic<bool> dirty_{false};
  std::atomic<double> lastChange_{0};
  std::atomic<double> hurryFrom_{0};  // another process that waits counts from this time on
  std::atomic<std::uint32_t> changeMask_{0};
  std::mutex stateLock_;     // guards the transitions of dirty_, and what follows
  bool mainStands_ = false;  // "assets.mkx" was loaded or written whole, and not moved since
  double backUpFrom_ = 0;    // no attempt to move it before that time
  DatabaseFiles::Stamp stamp_;
};
