// StagedFolder: a folder that is filled out of sight and then takes its place in one step.
//
//   StagedFolder staged(root, observer);
//   if (!staged.IsMade() || !CopyAssetFolder(source, staged.Path())) return false;
//   return staged.Put(target);
//
// Lies below "temp" of the product root, on the file system of the folders that assets live in.
// Whatever instant the process dies at, the target is as it was or as it shall be. What the object
// still holds when it ends is deleted. What dead processes left is put right and deleted by the
// next one that is made, and before a recovery.
//
// Belongs to one thread, under the exclusive guard of the running database: who holds that owns
// "temp". Several may exist at a time. Nothing throws but std::bad_alloc.

#pragma once

#include <string>
#include <string_view>

#include "database/DatabaseFiles.h"

class StagedFolder {
 public:
  /// Makes an empty folder. `root` is the product root as a path of the system; with any other one,
  /// and where the disk refuses, none is made. The observer may be null.
  explicit StagedFolder(const std::string& root, StepObserver observer = nullptr);
  ~StagedFolder();
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;

  bool IsMade() const { return !path_.empty(); }
  /// Of the system; empty when it was not made. Behind Put nothing is there.
  const std::string& Path() const { return path_; }

  /// Moves the folder to a path where nothing stands, or an empty folder. False, with all in place,
  /// when that cannot be.
  [[nodiscard]] bool Put(const std::string& target);
  /// Changes places with the folder at `target`, which is then the one that is deleted. False, with
  /// all in place, when there is none or it cannot be.
  [[nodiscard]] bool Exchange(const std::string& target);
  /// Takes a folder, with all in it, in the place of what was filled in so far. False, with all in
  /// place, when it cannot be moved.
  [[nodiscard]] bool Take(const std::string& folder);

  /// Puts right and deletes what dead processes left. Nothing while a StagedFolder exists.
  static void ClearLeftovers(const std::string& root);

 private:
  bool ExchangeByRenames(const std::string& target);
  void Step(const char* step) const {
    if (observer_ != nullptr) observer_(step);
  }

  std::string root_;
  std::string name_;  // in "temp"
  std::string path_;
  StepObserver observer_;
};

/// Deletes an asset's folder in one step as seen from outside, whatever it holds: it goes to "temp"
/// first. `relative` is its path below the root. False, with the folder as it was, when it cannot
/// be moved, when a link is on the way, and for a path that has less than two parts, "." or "..":
/// no asset lies directly below the root. True also when nothing is there.
[[nodiscard]] bool DeleteAssetFolder(const std::string& root, std::string_view relative,
                                     StepObserver observer = nullptr);

/// Makes a new, empty folder in a folder directly below the root: named `wantedName` made safe if
/// that is free, else `prefix` and random characters. Its path below the root; empty when it could
/// not be made.
[[nodiscard]] std::string MakeAssetFolder(const std::string& root, std::string_view parent,
                                          std::string_view prefix,
                                          std::string_view wantedName = {});
