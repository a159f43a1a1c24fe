// TagTextWriter: writes a tag tree as text that people can edit.
//
// The text is made in memory, without recursion. Tags are written as a lookup of their keys gives
// them: of several tags with one key, every line carries the first one's value. Not every tree
// reads back as it was; docs/format-tagtext.md lists what changes.

#pragma once

#include <string>
#include <string_view>

#include "tagdata/TagContainer.h"

/// Appends the whole file, UTF-8 mark included; a null handle gives one without tags. False for a
/// tree that nests deeper than kMaxTagDepth (or contains itself), gives more than 2^31-1 bytes, or
/// by repeated keys grows past 2 MiB and four times the bytes of its own values; a part of it may
/// have been appended by then.
[[nodiscard]] bool AppendTagText(std::string& out, const TagContainer& root);

/// The key as it is written: lower case, with "_" for blanks, controls and bytes above 127, and at
/// most 1024 bytes of it.
[[nodiscard]] std::string CleanTagKey(std::string_view key);
