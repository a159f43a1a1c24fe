// DiffOutput: where a patch set is made before it takes the place of an older one.
//
// The plug-in writes into a folder of its own beside the older set, from which a whole set is
// moved. A program that is killed leaves the older set, or one that lacks a file, which nobody
// takes for whole, and beside it a folder "unfinished". A set that does not come about leaves
// nothing.
//
// Used from one thread.

#pragma once

#include <string>
#include <vector>

class DiffOutput {
 public:
  /// For the set in folder `set`.
  DiffOutput(const std::string& set, const std::string& indexName);
  /// Removes what was made and not kept.
  ~DiffOutput();
  DiffOutput(const DiffOutput&) = delete;
  DiffOutput& operator=(const DiffOutput&) = delete;

  /// Makes the folders. False, with the failure's line printed, when that cannot be done or a file
  /// of the older set may not be replaced.
  [[nodiscard]] bool Make();
  /// The folder for the plug-in to write the set to, with a closing slash.
  std::string Root() const { return place_ + "/"; }
  /// Puts the set that was made in the place of the older one. False when that cannot be done.
  [[nodiscard]] bool Keep();

 private:
  const std::string indexName_;
  const std::string stem_;
  const std::string folder_;          // of the set's files
  std::string place_;                 // in folder_
  std::vector<std::string> missing_;  // folders that were not there, the deepest first
  bool kept_ = false;
};
