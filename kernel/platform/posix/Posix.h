// Posix: what the sources of this folder share: opening folders, their entries and the spelling of
// paths.

#pragma once

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "kernel/platform/FileSystem.h"

namespace Zef::Platform {

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// The path with '/' as its only separator; empty for a path that cannot exist (empty, with a
/// zero byte, or 4096 bytes and more), which every system call then answers with "not found".
std::string NativePath(const std::string& path);

/// A folder opened as a starting point for calls relative to it. `flags` are further open flags.
OwnedFile OpenFolderAt(int parent, const char* name, int flags);

inline bool IsDots(std::string_view name) { return name == "." || name == ".."; }

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using FolderStream = std::unique_ptr<DIR, CloseFolder>;

/// Calls visit(dirent) for every entry but "." and "..". False when there is no folder, or it
/// cannot be read to its end.
template <typename Visit>
bool VisitEntries(const FolderStream& folder, Visit visit) {
  if (!folder) return false;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());  // the stream is the caller's own
    if (entry == nullptr) return errno == 0;
    if (!IsDots(entry->d_name)) visit(*entry);
  }
}

}  // namespace Zef::Platform
