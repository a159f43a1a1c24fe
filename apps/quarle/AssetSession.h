// AssetSession: the running database of a product root while a command works on it.
//
//   AssetSession session(options.root, common);
//   if (!session.Open()) return kFailed;
//   ... what the command does, under the exclusive guard that the session holds ...
//   session.CloseUnchanged();    or Close, after work that must be kept
//   ... what the command prints ...
//
// A command copies out what it will print and prints it after Close: whoever reads slowly, or not
// to the end, then keeps no other process waiting and interrupts no write.
//
// One at a time in a process, used from one thread.

#pragma once

#include <optional>
#include <string>

#include "apps/quarle/Output.h"
#include "database/MUKLock.h"

class MUKAsset;
class MUKAssetIndex;
struct PLID;

class AssetSession {
 public:
  AssetSession(const std::string& root, const CommonOptions& common)
      : named_(root), common_(common) {}
  /// Ends the database, should Close not have been called.
  ~AssetSession();
  AssetSession(const AssetSession&) = delete;
  AssetSession& operator=(const AssetSession&) = delete;

  /// Starts the database and waits until it is this process's turn. False, with the failure's line
  /// printed, for a folder that is no product and a database that cannot be read.
  [[nodiscard]] bool Open();
  /// The same for work that changes folders: false too where the database's file cannot be set
  /// aside. A start that finds it would know nothing of what was changed.
  [[nodiscard]] bool OpenForWork();
  /// Writes what changed and ends the database. False, with the failure's line printed, when it
  /// could not be written; what was changed on disk stands all the same.
  [[nodiscard]] bool Close();
  /// The same after work that changed nothing worth keeping: warns then.
  void CloseUnchanged();

  /// The product root as the database knows it. While open.
  const std::string& Root() const;
  MUKAssetIndex& Index() const;
  /// The record, or null with the failure's line printed.
  [[nodiscard]] MUKAsset* Find(const PLID& id) const;

 private:
  bool Write();
  void End();

  const std::string named_;
  const CommonOptions& common_;
  std::optional<MUKLock> guard_;
  bool started_ = false;
};
