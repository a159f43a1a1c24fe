// TextFile: a whole text file in memory, as bytes of the code page.
//
// Texts on disk are bytes of the code page or UTF-16LE behind a mark; here the latter become the
// former. Needs up to twice the file's size while it works.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Zef {

class File;

/// The rest of a file that is open for reading. False for more than `limit` bytes, of which not
/// more are read. Raises FileEx when reading fails.
[[nodiscard]] bool ReadTextFile(File& file, std::uint64_t limit, std::string& text);

/// True for bytes that begin with the mark of UTF-16LE.
bool IsMarkedWide(std::string_view bytes);
/// The code page's form of UTF-16LE behind its mark; '?' for what has no byte. Half a unit at the
/// end is dropped.
std::string NarrowMarked(std::string_view bytes);

}  // namespace Zef
