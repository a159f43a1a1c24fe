// StagedFolder: folders of assets that come, change and go in one step.
//
//   StagedFolder staged(root, observer);
//   if (!staged.IsMade() || !CopyAssetFolder(source, staged.Path())) return false;
//   return staged.Put(target);
//
// A new folder is filled out of sight, below "temp" of the product root, and then moved to its
// place or exchanged with the one that stands there; one that is deleted goes to "temp" first. So
// whatever instant the process dies at, every asset's folder is whole, the old or the new one. What
// dead processes left is put right and deleted when the next one is made, and before a recovery.
// The folders that assets live in must be on the file system of "temp".
//
// All paths are of the system, below the product root as `root` spells it and in their spelling on
// disk. They are refused with less than two parts behind the root, as no asset lies directly below
// it, with "." or "..", and where a link is on the way.
//
// Under the exclusive guard of the running database: who holds that owns "temp". Observers may be
// null. Nothing throws but std::bad_alloc.

#pragma once

#include <string>
#include <string_view>

#include "database/DatabaseFiles.h"

class StagedFolder {
 public:
  /// Makes an empty folder. `root` is the product root as a path of the system; with any other one,
  /// and where the disk refuses, none is made.
  explicit StagedFolder(const std::string& root, StepObserver observer = nullptr);
  /// Has what lies in the folder deleted (FolderSweep.h).
  ~StagedFolder();
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;

  bool IsMade() const { return isMade_; }
  /// Of the system. Nothing is there behind Put.
  const std::string& Path() const { return path_; }

  /// Moves the folder to a path where nothing stands, or an empty folder. False, with all as it
  /// was, when that cannot be.
  [[nodiscard]] bool Put(const std::string& target);
  /// Changes places with a folder, which then is the one that is deleted. False, with all as it
  /// was, when there is none or it cannot be.
  [[nodiscard]] bool Exchange(const std::string& target);
  /// Takes in a folder, a link or a file, to be deleted. Must be empty. False, with all as it was,
  /// when it cannot be moved.
  [[nodiscard]] bool Take(const std::string& folder);

  /// Puts right and deletes what dead processes left. Nothing while there are staged folders.
  static void ClearLeftovers(const std::string& root);

 private:
  friend bool MoveAssetFolder(const std::string& root, const std::string& from,
                              const std::string& to, StepObserver observer);

  bool ExchangeByRenames(const std::string& place);
  bool Relay(const std::string& source, const std::string& target);
  void Step(const char* step) const {
    if (observer_ != nullptr) observer_(step);
  }

  std::string root_;
  std::string path_;
  bool isMade_ = false;
  StepObserver observer_;
};

/// The path below the root of a path of the system; empty for one outside.
[[nodiscard]] std::string PathBelow(const std::string& root, std::string_view path);

/// Makes a new, empty folder in a folder directly below the root: named `wantedName` made safe if
/// that is free, else `prefix` and random characters. Its path behind the root; empty when it could
/// not be made.
[[nodiscard]] std::string MakeAssetFolder(const std::string& root, std::string_view parent,
                                          std::string_view prefix,
                                          std::string_view wantedName = {});
/// Deletes a folder with whatever it holds, a link as such, or a file. False, with it as it was,
/// when it cannot be moved to "temp". True also when nothing is there.
[[nodiscard]] bool DeleteAssetFolder(const std::string& root, const std::string& folder,
                                     StepObserver observer = nullptr);
/// Moves a folder to another place, where nothing may stand, or a folder that is then deleted.
/// False, with all as it was, when that cannot be done in one step.
[[nodiscard]] bool MoveAssetFolder(const std::string& root, const std::string& from,
                                   const std::string& to, StepObserver observer = nullptr);
