// Posix: what the sources of this folder share: opening folders and the spelling of paths.

#pragma once

#include <cerrno>
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

/// Below, at or above 0 as the ASCII-folded bytes of `a` come before, are, or come after those of
/// `b`: the order of names in listings.
int CompareFolded(std::string_view a, std::string_view b);
inline bool EqualFolded(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareFolded(a, b) == 0;
}

/// A folder opened as a starting point for calls relative to it. `flags` are further open flags.
OwnedFile OpenFolderAt(int parent, const char* name, int flags);

}  // namespace Zef::Platform
