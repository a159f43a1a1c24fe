// BinaryTagWriter: writes a tag tree as a binary tag file.
//
// The file is assembled in memory and goes out in one write, so it costs its size in memory.
// Tags are written as a lookup of their keys gives them: of several tags with one key, every
// record carries the first one's value. docs/format-tagfile.md has the byte tables.

#pragma once

#include "tagdata/TagContainer.h"

namespace Zef {
class TStream;
}

/// Keys of more characters than this do not fit a record; such tags are left out.
inline constexpr std::uint32_t kMaxTagKeyLength = 254;

/// Writes header and records at the stream's position. A null handle, or one on something that
/// is no container, gives a file without records. False, with nothing written, for a tree that
/// nests deeper than kMaxTagDepth (or contains itself) or takes more than 2^31-1 bytes; false
/// when the stream did not take the bytes or raised a file failure.
[[nodiscard]] bool WriteBinaryTags(Zef::TStream& stream, const TagContainer& root);
