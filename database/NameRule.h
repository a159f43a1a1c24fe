// NameRule: the name under which an asset is listed.
//
// Cost: linear in the text. Any thread.

#pragma once

#include <string>
#include <string_view>

class MUKAsset;
class TagContainer;

/// From the config's "username" or "name", else the last part of the record's folder; cleaned.
std::string ConfigName(const MUKAsset& record, const TagContainer& config);

/// Without blanks and underscores at the ends, then without one quote at each end, in either of
/// the encodings that configs come in. "Untitled" when nothing is left.
std::string_view CleanName(std::string_view name);
