// StagedFolder: folders of assets that come, change and go in one step.
//
//   StagedFolder staged(root, observer);
//   if (!staged.IsMade() || !CopyAssetFolder(source, staged.Path()).empty()) return false;
//   return staged.Put(target);
//
// A new folder is filled out of sight, below "temp" of the product root, and then moved to its
// place or exchanged with the one that stands there; one that is deleted goes to "temp" first. So
// whatever instant the process dies at, every asset's folder is whole, the old or the new one
// (StagingSlot.h). The folders that assets live in must be on the file system of "temp". So that a
// power cut leaves that too, who fills a folder flushes it; what it replaces is deleted when its
// move is on the device.
//
// All paths are of the system, below the product root as `root` spells it and in their spelling on
// disk. ConfinedMove.h tells which are refused.
//
// Under the exclusive guard of the running database. Observers may be null. Nothing throws but
// std::bad_alloc.

#pragma once

#include <string>
#include <string_view>

#include "database/DatabaseFiles.h"
#include "database/StagingSlot.h"

/// What a message says of one that was not made.
inline constexpr const char* kNotStaged =
    "no folder could be made for them in 'temp', where the disk must have room and you the right "
    "to write";

class StagedFolder {
 public:
  /// Makes an empty folder. `root` is the product root as a path of the system; with any other one,
  /// and where the disk refuses, none is made.
  explicit StagedFolder(const std::string& root, StepObserver observer = nullptr);
  /// Has deleted what lies in the folder, or what made place for it.
  ~StagedFolder();
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;

  bool IsMade() const { return isMade_; }
  /// Of the system. Behind Put and Exchange it is no longer what was filled.
  const std::string& Path() const { return slot_.Folder(); }

  /// Moves the folder to a path where nothing stands, or an empty folder. False, with all as it
  /// was, when that cannot be.
  [[nodiscard]] bool Put(const std::string& target);
  /// Takes the place of a folder, which is then deleted. False, with all as it was, when there is
  /// none or it cannot be.
  [[nodiscard]] bool Exchange(const std::string& target);

 private:
  std::string root_;
  StagingSlot slot_;
  StepObserver observer_;
  bool isMade_;
};

/// Makes a new, empty folder in a folder directly below the root: named `wantedName` made safe if
/// nothing has that name in any letter case, else `prefix` and random characters. Its path behind
/// the root; empty when it could not be made.
[[nodiscard]] std::string MakeAssetFolder(const std::string& root, std::string_view parent,
                                          std::string_view prefix,
                                          std::string_view wantedName = {});
/// Deletes a folder with whatever it holds, a link as such, or a file. True also when nothing is
/// there. False, with it as it was, when its rights forbid that. Where nothing can be moved to
/// "temp", as on a full disk, it is deleted where it is, and then maybe not as a whole.
[[nodiscard]] bool DeleteAssetFolder(const std::string& root, const std::string& folder,
                                     StepObserver observer = nullptr);
/// Moves a folder to another place, where nothing may stand, or a folder that is then deleted.
/// False, with all as it was, when that cannot be.
[[nodiscard]] bool MoveAssetFolder(const std::string& root, const std::string& from,
                                   const std::string& to, StepObserver observer = nullptr);
/// Why no folder could be put at a path or deleted there, for a message, as far as what stands
/// there now tells: no asset may lie there, a right is missing, it is no folder, or it lies on
/// another file system than "temp". Else `otherwise`.
[[nodiscard]] std::string PlaceFault(const std::string& root, const std::string& path,
                                     const char* otherwise);
/// Removes the folders without entries that an interrupted operation may have made in a folder
/// directly below the root.
void RemoveEmptyAssetFolders(const std::string& root, std::string_view parent,
                             std::string_view prefix);
