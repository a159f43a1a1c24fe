// BaseId: the base identifier of the local user: who he is, and the next free number.
//
// Kept in "Settings/plid.txt" below the product root, a text tag file with one tag "base-plid".
// The user of the base identifier, once the file gave one, is the base user id of the process
// (BaseUserId), by which identifiers are known as local. Without a root it lives in memory.
//
// A file that is there and cannot be read holds what must not be lost: it is tried again at every
// turn and never written over. What could not be written is written at the next turn.
//
// Any thread may call; NextLocalId wants the index guarded.

#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "tagdata/PLID.h"

class MUKAssetIndex;

class BaseIdSettings {
 public:
  static constexpr std::int32_t kFirstContent = 1000;

  /// Reads the file below a root, a path of the system; an empty one means no file. Takes the
  /// base user id of the process from it, unless it gives the null identifier.
  void LoadBaseId(const std::string& root);
  /// Reads the file again, which another process may have moved on. A base user id that was set
  /// since the file gave one stays, and so does a number that could not be saved and is further on.
  void Reload();
  PLID Get() const;
  /// Stores and saves. False for the null identifier, and when the file cannot be written, or must
  /// not be because it cannot be read, which is traced.
  bool SetBaseId(const PLID& id);
  /// Brings the base identifier in line with the base user id, saves it if it changed, and gives
  /// the user; -1 while there is none.
  std::int32_t GetBaseUser();
  /// The next identifier that no record has in any version; saves the one behind it. Numbers count
  /// up without a sign, and start again at 0. Null for a user that has no identifiers,
  /// and while the file cannot be read. One that a failed clone asked for is not given again.
  PLID NextLocalId(const MUKAssetIndex& index);

 private:
  std::string Path() const;
  bool IsPlain() const;
  void Read();
  bool Store(const PLID& id);
  std::int32_t User();

  mutable std::mutex lock_;
  std::string root_;
  PLID base_;
  std::int32_t givenUser_ = 0;  // the process's, as the file gave it or as it was before
  bool isUnread_ = false;       // there is a file, and it could not be read
  bool isUnsaved_ = false;      // base_ could not be written
};
