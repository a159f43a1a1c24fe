// LetterCase: the one rule for letter case, of texts and of names on disk.
//
// It is that of ASCII alone: a text that is UTF-8 in truth passes unharmed. Everything that ignores
// case, here and above, goes through FoldAscii. Stateless; any thread.

#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Zef {

constexpr char FoldAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
constexpr char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

/// -1, 0 or 1: the order of the folded bytes (unsigned); a text sorts before its extensions.
constexpr int CompareFolded(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const auto left = static_cast<unsigned char>(FoldAscii(a[i]));
    const auto right = static_cast<unsigned char>(FoldAscii(b[i]));
    if (left != right) return left < right ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}
constexpr bool EqualFolded(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareFolded(a, b) == 0;
}

}  // namespace Zef
