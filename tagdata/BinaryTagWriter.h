// BinaryTagWriter: writes a tag tree as a binary tag file.
//
// The file is assembled in memory and goes out in one write, so it costs its size in memory.
// Tags are written as a lookup of their keys gives them: of several tags with one key, every
// record carries the first one's value. A loaded file that nobody has edited, and that is just
// what the writer would make of it, is copied whole. docs/format-tagfile.md has the byte tables.

#pragma once

#include "tagdata/TagContainer.h"

namespace Zef {
class ByteWriter;
class TStream;
}  // namespace Zef

/// Keys of more characters than this do not fit a record; such tags are left out.
inline constexpr std::uint32_t kMaxTagKeyLength = 254;

/// Appends header and records. A null handle, or one on something that is no container, gives a
/// file without records. False for a tree that nests deeper than kMaxTagDepth (or contains
/// itself), takes more than 2^31-1 bytes, or by repeated keys grows past 2 MiB and four times
/// the bytes of its own values; a part of it may have been appended by then.
[[nodiscard]] bool AppendBinaryTags(Zef::ByteWriter& out, const TagContainer& root);

/// Writes the same at the stream's position, or nothing of a tree that is refused. False also
/// when the stream did not take the bytes or raised a file failure.
[[nodiscard]] bool WriteBinaryTags(Zef::TStream& stream, const TagContainer& root);
