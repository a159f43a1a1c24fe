// TagShown: what a reader sees of one tag, cut to a line of some hundred characters.

#pragma once

#include <string>
#include <string_view>

class HCSChunk;

/// The value of a tag as one line, at most some hundred characters of it: strings in quotes with
/// "\n" for line breaks, several numbers with commas between, binary as hexadecimal. Empty for a
/// null tag and a container.
std::string TagValueText(const HCSChunk& chunk);

/// A path of keys, well-formed UTF-8, without the middle of a long one.
std::string TagPathText(std::string_view path);
