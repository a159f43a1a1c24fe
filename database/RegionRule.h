// RegionRule: the region codes of an asset from the tags of its config.
//
// Cost: linear in the texts; a result holds each code once, so it is bounded. Any thread.

#pragma once

#include <string>
#include <string_view>

class TagContainer;

/// Codes in order of arrival, semicolon-separated. `build` is the config's own or the record's.
std::string ConfigRegion(const TagContainer& config, float build);

/// Adds the code that `text`, a code or a region's name in any case, stands for; nothing for
/// other texts.
void AddRegion(std::string& codes, std::string_view text);
