// Nearest: the command or option that a misspelt word may have meant.

#pragma once

#include <string>
#include <vector>

/// The name that `given` is one or two letters away from; nothing if there is none, and for words
/// that are longer than names are.
std::string Nearest(const std::string& given, const std::vector<std::string>& names);
