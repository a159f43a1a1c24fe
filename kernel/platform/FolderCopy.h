// FolderCopy: the steps of copying a folder and of putting one in the place of another.
//
// Contents go from one open file to another inside the system, without a copy of blocks where the
// file system can share them. A folder is flushed as a whole before it counts. Two folders change
// places in one step, so that nobody ever sees neither or a part of one.
//
// Nothing here follows a link as the last part of a path. Any thread may call.

#pragma once

#include <cstdint>
#include <string>

#include "kernel/platform/FileSystem.h"

namespace Zef::Platform {

/// Copies all bytes of a regular file to an empty one that is open for writing. False, with a part
/// copied, on a read error, a full disk, or when the source shrinks meanwhile.
[[nodiscard]] bool CopyContents(FileHandle from, FileHandle to);
/// Gives an open file the write time of another one.
bool CopyWriteTime(FileHandle from, FileHandle to);
/// Sets the write time of an open file, in seconds since 1970.
bool SetWriteTime(FileHandle file, std::int64_t seconds);

/// Waits until a folder with all below it is on the device, contents and entries. False when the
/// device has failed to write, maybe some time ago. What may not be read is flushed with the whole
/// file system, at the cost of waiting for whatever else is to be written.
[[nodiscard]] bool FlushTree(const std::string& path);

enum class ExchangeResult {
  Done,
  Unsupported,  ///< nothing happened: the file system cannot do it
  Failed,       ///< nothing happened: one is missing, a right is, or they lie on two file systems
};
/// Lets two folders change their places in one step. What is no folder is refused.
[[nodiscard]] ExchangeResult ExchangeFolders(const std::string& a, const std::string& b);

}  // namespace Zef::Platform
