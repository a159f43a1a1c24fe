// ConfinedMove: moves of folders that stay below the product root.
//
// What moves may be a folder, a link as such, or a file. A read-only mark on a folder, which would
// hold it to its parent, is lifted for the move and is gone behind it. Paths are of the system. Any
// thread may call; nothing throws but std::bad_alloc.

#pragma once

#include <string>
#include <string_view>

#include "kernel/platform/FolderCopy.h"

/// The path below the root of a path of the system; empty for one outside.
[[nodiscard]] std::string PathBelow(const std::string& root, std::string_view path);

/// The path without repeated and closing separators; empty for one that is not below the root or
/// has less than two parts behind it, as no asset lies directly there, for one with "." or "..",
/// and where a link is on the way. Its last part may be a link, or not be there.
[[nodiscard]] std::string ConfinedPath(const std::string& root, const std::string& path);

/// Nothing stands there, no link either. False also when that cannot be told.
[[nodiscard]] bool IsFree(const std::string& path);
/// Moves to a path where nothing stands. False, with all as it was, when it cannot.
[[nodiscard]] bool MoveEntry(const std::string& from, const std::string& to);
/// The same, or in the place of an empty folder.
[[nodiscard]] bool MoveOnto(const std::string& from, const std::string& to);
[[nodiscard]] Zef::Platform::ExchangeResult ExchangeEntries(const std::string& a,
                                                            const std::string& b);
