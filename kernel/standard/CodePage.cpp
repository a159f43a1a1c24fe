#include "kernel/standard/CodePage.h"

#include <cstdint>

namespace Zef {
namespace {

constexpr unsigned kSpecialFirst = 0x80;
constexpr unsigned kSpecialCount = 0x20;

// The bytes 0x80 to 0x9F; all others are the character of the same number.
constexpr char16_t kSpecial[kSpecialCount] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr char32_t kInvalid = 0xFFFFFFFF;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendUtf8(std::string& out, char16_t character) {
  if (character < 0x80) {
    out += static_cast<char>(character);
    return;
  }
  if (character < 0x800) {
    out += static_cast<char>(0xC0 | (character >> 6));
  } else {
    out += static_cast<char>(0xE0 | (character >> 12));
    out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
  }
  out += static_cast<char>(0x80 | (character & 0x3F));
}

struct Utf8Form {
  unsigned char mask, lead;
  std::size_t length;
  char32_t least;  // smaller values have a shorter form and are refused in this one
};
constexpr Utf8Form kUtf8Forms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

// The first character of `utf8`, or kInvalid for anything that is not the one form of one.
char32_t DecodeFirst(std::string_view utf8, std::size_t& length) {
  const auto lead = static_cast<unsigned char>(utf8[0]);
  length = 1;
  for (const Utf8Form& form : kUtf8Forms) {
    if ((lead & form.mask) != form.lead) continue;
    if (utf8.size() < form.length) return kInvalid;
    char32_t character = lead & static_cast<unsigned char>(~form.mask);
    for (std::size_t i = 1; i < form.length; ++i) {
      const auto next = static_cast<unsigned char>(utf8[i]);
      if ((next & 0xC0) != 0x80) return kInvalid;
      character = (character << 6) | (next & 0x3F);
    }
    const bool isSurrogate = character >= 0xD800 && character < 0xE000;
    if (character < form.least || character > 0x10FFFF || isSurrogate) return kInvalid;
    length = form.length;
    return character;
  }
  return kInvalid;
}

}  // namespace

std::string Folded(std::string_view text) {
  std::string folded(text);
  std::transform(folded.begin(), folded.end(), folded.begin(), FoldAscii);
  return folded;
}

char16_t WidenByte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  const unsigned special = value - kSpecialFirst;
  return special < kSpecialCount ? kSpecial[special] : value;
}

char NarrowCharacter(char32_t character) {
  if (character < kSpecialFirst) return static_cast<char>(character);
  if (character >= kSpecialFirst + kSpecialCount && character <= 0xFF) {
    return static_cast<char>(character);
  }
  for (unsigned i = 0; i < kSpecialCount; ++i) {
    if (kSpecial[i] == character) return static_cast<char>(kSpecialFirst + i);
  }
  return '?';
}

std::u16string Widen(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) text += WidenByte(byte);
  return text;
}

std::string Narrow(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes += NarrowCharacter(text[i]);
    const bool isPair =
        IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]);
    if (isPair) ++i;
  }
  return bytes;
}

std::string ToUtf8(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size());
  for (const char byte : bytes) AppendUtf8(utf8, WidenByte(byte));
  return utf8;
}

std::string FromUtf8(std::string_view utf8) {
  std::string bytes;
  bytes.reserve(utf8.size());
  while (!utf8.empty()) {
    std::size_t length = 1;
    bytes += NarrowCharacter(DecodeFirst(utf8, length));
    utf8.remove_prefix(length);
  }
  return bytes;
}

}  // namespace Zef
