// TagShown: what a reader sees of one tag.

#pragma once

#include <string>

class HCSChunk;

/// The value of a tag as one line, at most some hundred characters of it: strings in quotes with
/// "\n" for line breaks, several numbers with commas between, binary as hexadecimal. Empty for a
/// null tag and a container.
std::string TagValueText(const HCSChunk& chunk);
