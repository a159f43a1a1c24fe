#include "database/NameRule.h"

#include <algorithm>
#include <cstddef>

#include "database/MUKAsset.h"
#include "kernel/standard/FilePath.h"
#include "tagdata/TagContainer.h"

namespace {

constexpr std::string_view kStripped = " \t\r\n_";
constexpr std::string_view kNothingLeft = "Untitled";
constexpr std::string_view kOneByteQuotes = "'\"\x93\x94";
constexpr std::string_view kUtf8Quotes[] = {"\xE2\x80\x9C", "\xE2\x80\x9D"};

std::string_view StripEnds(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kStripped);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kStripped) + 1 - first);
}

bool Continues(char character) { return (static_cast<unsigned char>(character) & 0xC0) == 0x80; }

/// Bytes of the UTF-8 sequence that a byte leads; 1 for all that lead none.
std::size_t SequenceLength(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < 0xC2 || byte > 0xF4) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

/// True when the last byte ends a character of several bytes: the second one of an O with acute
/// accent is that of a quote.
bool EndsInUtf8(std::string_view text) {
  std::size_t length = 1;
  const std::size_t longest = std::min<std::size_t>(text.size(), 4);
  while (length < longest && Continues(text[text.size() - length])) ++length;
  return length > 1 && SequenceLength(text[text.size() - length]) == length;
}

/// Bytes of the quote at the start of a text, or 0.
std::size_t LeadingQuote(std::string_view text) {
  for (const std::string_view quote : kUtf8Quotes) {
    if (text.starts_with(quote)) return quote.size();
  }
  return !text.empty() && kOneByteQuotes.find(text.front()) != std::string_view::npos ? 1 : 0;
}

std::size_t TrailingQuote(std::string_view text) {
  for (const std::string_view quote : kUtf8Quotes) {
    if (text.ends_with(quote)) return quote.size();
  }
  if (text.empty() || kOneByteQuotes.find(text.back()) == std::string_view::npos) return 0;
  return EndsInUtf8(text) ? 0 : 1;
}

const AssetText& Folder(const MUKAsset& record) {
  if (!record.legacyPath.IsEmpty()) return record.legacyPath;
  return record.installPath.IsEmpty() ? record.editPath : record.installPath;
}

std::string_view LastPart(std::string_view path) {
  while (!path.empty() && Zef::IsSeparator(path.back())) path.remove_suffix(1);
  const std::size_t before = path.find_last_of("/\\:");
  return before == std::string_view::npos ? path : path.substr(before + 1);
}

}  // namespace

std::string_view CleanName(std::string_view name) {
  name = StripEnds(name);
  name.remove_prefix(LeadingQuote(name));
  name.remove_suffix(TrailingQuote(name));
  return name.empty() ? kNothingLeft : name;
}

std::string ConfigName(const MUKAsset& record, const TagContainer& config) {
  static const Zef::PString kKeys[] = {"username", "name"};
  for (const Zef::PString& key : kKeys) {
    const Zef::SharedText text = config.GetText(key);
    if (!text.IsEmpty()) return std::string(CleanName(text.View()));
  }
  return std::string(CleanName(LastPart(Folder(record).View())));
}
