// RootFiles: file operations below a root, and names for temporary files.
//
// `root` is the name of a substitution. Without one a path must be rooted: it begins at a file
// system root or with a registered prefix; every other path is refused, so that no operation
// depends on the current folder; so is one with a zero byte. Both separators work.
//
// Nothing here throws but for want of memory. Any thread may call.

#pragma once

#include <string>
#include <string_view>

#include "kernel/standard/PString.h"

namespace Zef {

/// True for a file or a folder.
[[nodiscard]] bool FileExists(const PString& root, std::string_view path);
/// Deletes a folder with all below it, links as such; true also if nothing was there. Refuses an
/// empty path and one with ".." in it; without a root also a path that is not longer than
/// `productRoot`, the product's absolute path, which so cannot fall to it. "." and repeated
/// separators do not count.
[[nodiscard]] bool DeleteTree(const PString& root, std::string_view path,
                              std::string_view productRoot);
/// Makes a folder with all above it; true if it stands in the end.
[[nodiscard]] bool MakeDirectory(const PString& root, std::string_view path);
/// Renames; false when `to` exists.
[[nodiscard]] bool MoveFileTo(const PString& root, std::string_view from, std::string_view to);
/// Copies to a file that must not exist yet, out of a compressed one its content. Paths as File
/// opens them. False when one of them does not open or the copy fails; a failed copy is removed.
[[nodiscard]] bool CopyFileContents(std::string_view source, std::string_view destination);

/// "_" for every character but ASCII letters, digits, "_" and space; spaces at the end are cut.
[[nodiscard]] std::string MakeFileNameSafe(std::string_view text);

/// Finds a free name in a folder, which is made where it is missing, and reserves it for nobody:
/// create the file anew. `result` is `wantedName` made safe if that is free, else `prefix` and
/// random characters; "." and `extension` follow if one is given. False after 100 names that exist,
/// with a trace line.
[[nodiscard]] bool CreateTemporaryFilePath(const PString& root, std::string_view folder,
                                           std::string_view prefix, std::string_view extension,
                                           std::string& result, std::string_view wantedName = {});

}  // namespace Zef
