#include "apps/quarle/TagShown.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "apps/quarle/Utf8.h"
#include "tagdata/HCSChunk.h"
#include "tagdata/PLID.h"

namespace {

constexpr std::size_t kMostShown = 100;
constexpr std::size_t kMostShownOfPath = 200;
constexpr std::string_view kMore = "...";

bool IsInsideCharacter(std::string_view text, std::size_t at) {
  return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

/// At most `size` bytes, no character cut.
std::string_view Head(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && IsInsideCharacter(text, size)) --size;
  return text.substr(0, size);
}

std::string_view Tail(std::string_view text, std::size_t size) {
  std::size_t at = text.size() - std::min(size, text.size());
  while (at < text.size() && IsInsideCharacter(text, at)) ++at;
  return text.substr(at);
}

/// Looks at no more of a payload than is shown.
std::string StringText(const HCSChunk& chunk) {
  const char* const bytes = reinterpret_cast<const char*>(chunk.GetData());
  const std::size_t seen = std::min<std::size_t>(chunk.GetDataSize(), kMostShown + 1);
  const std::string_view text(bytes, seen == 0 ? 0 : strnlen(bytes, seen));
  const std::string_view head = Head(text, kMostShown);
  std::string line;
  for (const char c : head) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\t') {
      line += "\\t";
    } else if (c != '\r') {
      line += c;
    }
  }
  return '"' + Printable(line) + '"' + std::string(head.size() < text.size() ? kMore : "");
}

template <class T>
std::string NumbersText(const HCSChunk& chunk) {
  std::string text;
  for (std::uint32_t at = 0; chunk.GetDataSize() - at >= sizeof(T); at += sizeof(T)) {
    if (text.size() >= kMostShown) return text.append(",").append(kMore);
    T value{};
    std::memcpy(&value, chunk.GetData() + at, sizeof value);
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    if (!text.empty()) text += ',';
    text.append(digits.data(), end.ptr);
  }
  return text;
}

std::string HexText(const HCSChunk& chunk) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::uint32_t at = 0; at < chunk.GetDataSize(); ++at) {
    if (text.size() >= kMostShown) return text.append(kMore);
    const auto byte = std::to_integer<unsigned>(chunk.GetData()[at]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace

std::string TagValueText(const HCSChunk& chunk) {
  switch (chunk.GetType()) {
    case TagNull:
    case TagSoup:
      return {};
    case TagString:
    case TagStringAlt:
      return StringText(chunk);
    case TagFloat:
      return NumbersText<float>(chunk);
    case TagInt:
      return NumbersText<std::int32_t>(chunk);
    case TagPLID:
      return chunk.GetDataSize() == PLID::kStoredSize ? PLID::FromStored(chunk.GetData()).TagText()
                                                      : HexText(chunk);
    default:
      return HexText(chunk);
  }
}

std::string TagPathText(std::string_view path) {
  if (path.size() <= kMostShownOfPath) return std::string(path);
  constexpr std::size_t kHalf = kMostShownOfPath / 2;
  return std::string(Head(path, kHalf)).append(kMore).append(Tail(path, kHalf));
}
