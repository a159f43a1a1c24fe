// FileCopy: a copy of a file that is whole or not there.

#pragma once

#include <string>

/// Copies to a name beside `to`, waits until the copy is on the device and renames it over `to`.
/// False when that fails; what `to` was before then still stands.
[[nodiscard]] bool CopyFileWhole(const std::string& from, const std::string& to);
