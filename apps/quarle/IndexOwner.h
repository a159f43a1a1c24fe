// IndexOwner: keeps running programs away from an index file while a command rewrites it.
//
// A file named "assets.mkx" is the database of its folder. While an owner holds it, a program that
// starts on that folder waits, and one that waited reads the new file. Any other file is nobody's.
//
// Used from one thread. Ends with the object.

#pragma once

#include <string>

#include "environment/IpcLock.h"

/// Where an index file lies.
struct IndexPlace {
  std::string folder;
  bool isDatabase = false;  ///< the file that a running database of `folder` has
};
IndexPlace PlaceOf(const std::string& file);

class IndexOwner {
 public:
  /// Becomes the owner of `file`; never waits. False, with the failure's line printed, which ends
  /// with `advice`, when a running program is.
  [[nodiscard]] bool Take(const std::string& file, const std::string& advice);
  /// Has the programs that wait read the file anew.
  void MarkChanged();

 private:
  IpcLock lock_;
};
