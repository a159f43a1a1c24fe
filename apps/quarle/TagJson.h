// TagJson: a tag tree as JSON, and the names of its types.

#pragma once

#include <cstdint>
#include <string_view>

class JsonWriter;
class TagContainer;

/// "unknown" for what is no type of ours.
const char* TagTypeName(std::int32_t type);

/// Writes an array under `key` with one object a tag, in order: its key, its type by name and
/// its value, or the array of its own tags. Binary is hexadecimal, identifiers are in tag form,
/// several numbers of one tag are an array.
///
/// Of several tags with one key every one stands for the first; those after it say "repeated"
/// instead of its value or tags, so that no small file makes an endless document.
void WriteTags(JsonWriter& json, std::string_view key, const TagContainer& tags);
