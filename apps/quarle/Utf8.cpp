#include "apps/quarle/Utf8.h"

#include <algorithm>
#include <cstdint>

namespace {

std::uint8_t ByteAt(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

bool IsContinuation(char c) { return (static_cast<std::uint8_t>(c) & 0xC0) == 0x80; }

/// Lead bytes with the range of the byte behind them: it excludes overlong forms, surrogates and
/// what lies past the last plane.
struct Lead {
  std::uint8_t first, last, size, secondLow, secondHigh;
};
constexpr Lead kLeads[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

}  // namespace

std::size_t PlainPrefixSize(std::string_view text) {
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; };
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) -
                                  text.begin());
}

std::size_t Utf8CharacterSize(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t byte = ByteAt(text, 0);
  if (byte < 0x80) return 1;
  for (const Lead& lead : kLeads) {
    if (byte < lead.first || byte > lead.last) continue;
    if (text.size() < lead.size) return 0;
    if (ByteAt(text, 1) < lead.secondLow || ByteAt(text, 1) > lead.secondHigh) return 0;
    const std::string_view rest = text.substr(2, lead.size - 2u);
    return std::all_of(rest.begin(), rest.end(), IsContinuation) ? lead.size : 0;
  }
  return 0;
}

bool IsControlCharacter(std::string_view character) {
  const std::uint8_t first = ByteAt(character, 0);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return character.size() == 2 && first == 0xC2 && ByteAt(character, 1) < 0xA0;
}

std::string Printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (true) {
    const std::size_t plain = PlainPrefixSize(text);
    result += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return result;
    const std::size_t size = Utf8CharacterSize(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(size, 1));
    result += size == 0 || IsControlCharacter(character) ? kReplacementCharacter : character;
    text.remove_prefix(character.size());
  }
}

std::size_t Utf8Length(std::string_view text) {
  return text.size() -
         static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}
