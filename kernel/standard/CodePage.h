// CodePage: the meaning of the bytes in the system's texts, and the one rule for letter case.
//
// Texts are bytes of Windows-1252. The table is fixed: an undefined byte stands for the control
// code of the same number, so widening never fails; narrowing gives '?' for what has no byte.
// The locale of the process, which is the host's, is neither read nor set.
//
// Letter case is that of ASCII alone: a text that is UTF-8 in truth passes unharmed. Everything
// that ignores case, here and above, goes through FoldAscii. Stateless; any thread.

#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace Zef {

constexpr char FoldAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
constexpr char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

/// The text in lower case.
std::string Folded(std::string_view text);
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

/// The character of a byte.
char16_t WidenByte(char byte);
/// The byte of a character, '?' if it has none.
char NarrowCharacter(char32_t character);

std::u16string Widen(std::string_view bytes);
/// One '?' for each unit that has no byte; a surrogate pair is one character.
std::string Narrow(std::u16string_view text);

std::string ToUtf8(std::string_view bytes);
/// One '?' for each character without a byte, and for each byte that is not part of one.
std::string FromUtf8(std::string_view utf8);

}  // namespace Zef
