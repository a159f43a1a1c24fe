// StagingSlot: a name below "temp" of the product root, for what an operation has on the way.
//
//   staged-asset N         a folder that comes or goes
//   staged-asset N.old     one that makes place for another
//   staged-asset N.note    what is to be done should the process die
//   staged-asset N.lock    is locked as long as the slot lives
//
// Nobody else touches a slot that lives, whatever process, user or machine it belongs to, if the
// file system has locks. What dead processes left is put right and deleted by ClearLeftovers.
// docs/asset-life.md has the bytes of a note.
//
// Under the exclusive guard of the running database. Nothing throws but std::bad_alloc.

#pragma once

#include <cstdint>
#include <string>

#include "kernel/platform/FileSystem.h"

/// With a target: the folder at `place` is an old one that goes, if the one at `target` is the new
/// one; each is told by its serial number. Without: the ".old" folder goes back to `place`, if
/// nothing stands there. Paths behind the root, which may have moved.
struct StagingNote {
  std::string place;
  std::uint64_t serial = 0;
  std::string target;
  std::uint64_t targetSerial = 0;
};

class StagingSlot {
 public:
  /// `root` is the product root as a path of the system; with any other one, and where the disk
  /// refuses, none is held.
  explicit StagingSlot(const std::string& root);
  /// Has the folders deleted (FolderSweep.h), unless a note stands.
  ~StagingSlot();
  StagingSlot(const StagingSlot&) = delete;
  StagingSlot& operator=(const StagingSlot&) = delete;

  bool IsHeld() const { return static_cast<bool>(lock_); }
  /// Of the system; nothing stands there at first.
  const std::string& Folder() const { return path_; }
  std::string Old() const { return path_ + ".old"; }

  [[nodiscard]] bool WriteNote(const StagingNote& note);
  void DropNote();

 private:
  std::string path_;
  Zef::Platform::OwnedFile lock_;
  bool hasNote_ = false;
};

/// A free path below "temp" for what is to be deleted, which no slot need guard.
[[nodiscard]] std::string RubbishPath(const std::string& root);
/// Puts right and deletes what dead processes left. Nothing while this process holds a slot.
void ClearLeftovers(const std::string& root);
