// FileCopy: a copy of a file that is whole or not there, and what keeps a file from its place.

#pragma once

#include <string>

/// Copies to a name beside `to`, waits until the copy is on the device and renames it over `to`.
/// False when that fails; what `to` was before then still stands.
[[nodiscard]] bool CopyFileWhole(const std::string& from, const std::string& to);

/// Why what stands at `path` is not replaced by a file, and what to do; empty if it may be, or if
/// nothing stands there. A link to a file may be.
std::string Obstacle(const std::string& path);
