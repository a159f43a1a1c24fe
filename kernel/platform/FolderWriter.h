// FolderWriter: making files and folders in an open folder, whatever others put in their way.
//
// Entries are made from the folder's handle by their own names, without a path that could be led
// elsewhere: links are never followed, except by the constructor, whose path the caller vouches
// for. A name is one component; separators, "." and ".." are the caller's to bar.
//
// A writer may be shared by threads that make different entries.
//
// Beside it: making folders in which the users of the one above may work as they do there.

#pragma once

#include <string>
#include <utility>

#include "kernel/platform/FileSystem.h"

namespace Zef::Platform {

class FolderWriter {
 public:
  FolderWriter() = default;
  /// Makes the folder with all that are missing above it. Not open when it does not stand then.
  explicit FolderWriter(const std::string& path);

  bool IsOpen() const { return static_cast<bool>(handle_); }
  /// The folder of that name in this one, made unless it stands; not open when that fails, and for
  /// a link.
  [[nodiscard]] FolderWriter MakeFolder(const char* name) const;
  /// A new, empty file in this folder, open for writing; one that stands there gives way, and stays
  /// what it was under other names. No handle when something else has the name.
  [[nodiscard]] OwnedFile CreateFile(const char* name) const;

 private:
  explicit FolderWriter(OwnedFile handle) : handle_(std::move(handle)) {}

  OwnedFile handle_;
};

/// MakeFolders; if the last one is the only one missing, it gets the owner, group and permissions
/// of the folder it lies in, as far as the system lets this process.
[[nodiscard]] bool MakeFoldersAsAbove(const std::string& path);

}  // namespace Zef::Platform
