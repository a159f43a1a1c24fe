// FolderWriter: making files and folders in an open folder, whatever others put in their way.
//
// Entries are made from the folder's handle by their own names, without a path that could be led
// elsewhere: links are never followed, except by the constructor, whose path the caller vouches
// for. A name is one component; separators, "." and ".." are the caller's to bar.
//
// A writer may be shared by threads that make different entries.

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
  FolderWriter(FolderWriter&& other) noexcept : handle_(std::exchange(other.handle_, kNoFile)) {}
  FolderWriter& operator=(FolderWriter&& other) noexcept;
  ~FolderWriter();

  bool IsOpen() const { return handle_ != kNoFile; }
  /// The folder of that name in this one, made unless it stands; not open when that fails, and for
  /// a link.
  [[nodiscard]] FolderWriter MakeFolder(const char* name) const;
  /// A new, empty file in this folder, open for writing; one that stands there gives way, and stays
  /// what it was under other names. kNoFile when something else has the name.
  [[nodiscard]] FileHandle CreateFile(const char* name) const;

 private:
  explicit FolderWriter(FileHandle handle) : handle_(handle) {}

  FileHandle handle_ = kNoFile;
};

}  // namespace Zef::Platform
