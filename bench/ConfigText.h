// ConfigText: the config file of a generated asset as its author would have typed it: tabs for a
// value column, blocks on lines of their own, CR LF, some 1.5 KiB.

#pragma once

#include <cstdint>
#include <string>

class ContentGenerator;

std::string ConfigText(const ContentGenerator& content, std::uint32_t number);
