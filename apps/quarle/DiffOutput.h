// DiffOutput: where a patch set is made before it takes the place of an older one.
//
// The plug-in writes into a folder of its own beside the older set, from which a whole set is
// moved. A program that is killed leaves the older set, or one that lacks a file, which nobody
// takes for whole, and beside it a folder "unfinished" and a file "unfinished.lock". A set that
// does not come about leaves nothing. One program at a time makes a set in a folder.
//
// Used from one thread.

#pragma once

#include <string>
#include <vector>

#include "kernel/platform/FileSystem.h"

class DiffOutput {
 public:
  /// For the set in folder `set`.
  DiffOutput(const std::string& set, const std::string& indexName);
  /// Removes what was made and not kept.
  ~DiffOutput();
  DiffOutput(const DiffOutput&) = delete;
  DiffOutput& operator=(const DiffOutput&) = delete;

  /// Makes the folders. False, with the failure's line printed, when that cannot be done, a file of
  /// the older set may not be replaced, or another program makes a set there.
  [[nodiscard]] bool Make();
  /// The folder for the plug-in to write the set to, with a closing slash.
  std::string Root() const { return place_ + "/"; }
  /// Puts the set that was made in the place of the older one, whose permissions it keeps. False
  /// when that cannot be done.
  [[nodiscard]] bool Keep();

 private:
  [[nodiscard]] bool Lock();

  const std::string indexName_;
  const std::string stem_;
  const std::string folder_;          // of the set's files
  const std::string lockName_;        // in folder_
  std::string place_;                 // in folder_
  std::vector<std::string> missing_;  // folders that were not there, the deepest first
  Zef::Platform::OwnedFile lock_;     // held until nothing of the set is touched any more
  bool kept_ = false;
};
