#include "kernel/standard/ConfigScanner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "kernel/standard/NumberText.h"

namespace Zef {

namespace {

using namespace std::string_view_literals;
using Kind = ConfigToken::Kind;

constexpr std::string_view kBlanks = " \t\n\r\v\f";
// What ends a run of characters; a zero byte is in no token.
constexpr std::string_view kRunEnds = " \t\n\r\v\f{}();,=:#\"`\0"sv;
constexpr std::string_view kRawStops = ";=(){#\\\n\r\0"sv;
constexpr std::string_view kQuotedStops = "\"\\\n\r\0"sv;

constexpr auto kEndsRun = [] {
  std::array<bool, 256> ends{};
  for (const char c : kRunEnds) ends[static_cast<unsigned char>(c)] = true;
  return ends;
}();

constexpr struct {
  char character;
  Kind kind;
} kMarks[] = {
    {'{', Kind::Start},  {'}', Kind::EndBrace},  {'(', Kind::Open},  {')', Kind::Close},
    {'=', Kind::Assign}, {';', Kind::Semicolon}, {',', Kind::Comma}, {':', Kind::Assign},
};

constexpr struct {
  std::string_view text;
  std::uint32_t bits;
} kSpecialNumbers[] = {{"1.#QNAN", 0x7FC00000}, {"1.#INF", 0x7F800000}, {"1.#IND", 0x7FC00000}};
constexpr std::uint32_t kSignBit = 0x80000000;

constexpr std::string_view kEscaped = "nrtb\"/\\# `;=(){},:";
constexpr std::string_view kEscapeMeans = "\n\r\t\b\"/\\# `;=(){},:";
static_assert(kEscaped.size() == kEscapeMeans.size());

int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// The low 32 bits of a number; false when `digits` is empty or holds anything but digits.
bool ParseWrapping(std::string_view digits, int base, std::uint32_t& value) {
  value = 0;
  for (const char c : digits) {
    const int digit = HexDigit(c);
    if (digit < 0 || digit >= base) return false;
    value = value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit);
  }
  return !digits.empty();
}

bool ParseInteger(std::string_view run, std::int32_t& value) {
  std::string_view digits = run;
  const bool negative = digits.starts_with('-');
  if (negative || digits.starts_with('+')) digits.remove_prefix(1);
  std::uint32_t bits = 0;
  const bool isHex = digits.starts_with("0x") || digits.starts_with("0X");
  if (isHex || (digits.size() > 1 && digits[0] == '0')) {
    if (!ParseWrapping(digits.substr(isHex ? 2 : 1), isHex ? 16 : 8, bits)) return false;
    value = static_cast<std::int32_t>(negative ? 0U - bits : bits);
    return true;
  }
  if (!std::all_of(digits.begin(), digits.end(), IsDigit)) return false;
  const char* at = run.data();
  return ScanInteger(at, at + run.size(), value);
}

/// A number with a point or an exponent, and nothing behind it.
bool ParseFloat(std::string_view run, float& value) {
  const char* at = run.data();
  const char* const end = at + run.size();
  if (!ScanFloat(at, end, value) || at != end) return false;
  return run.find_first_of(".eE") != std::string_view::npos;
}

bool IsNumberStart(char c) { return IsDigit(c) || c == '-' || c == '+' || c == '.'; }

}  // namespace

ConfigToken ConfigScanner::Next() {
  if (!SkipBlanks()) return {Kind::Unterminated, {}};
  if (state_ == State::Initial) return NextVersion();
  if (state_ == State::Raw) {
    state_ = State::Node;
    ConfigToken token;
    if (TakeRaw(token)) return token;
    // What ends a raw text may be the comment behind it.
    if (!SkipBlanks()) return {Kind::Unterminated, {}};
  }
  return NextNode();
}

ConfigToken ConfigScanner::NextVersion() {
  if (AtEnd()) return {};
  const std::string_view rest = text_.substr(position_);
  const std::string_view words[] = {"version", "ver"};
  for (const std::string_view word : words) {
    if (!rest.starts_with(word)) continue;
    state_ = State::Node;
    return Take(Kind::Version, word.size());
  }
  return Take(Kind::Invalid, 1);
}

ConfigToken ConfigScanner::NextNode() {
  if (AtEnd()) return {};
  const char c = Peek();
  for (const auto& mark : kMarks) {
    if (c != mark.character) continue;
    if (c == ':') state_ = State::Raw;
    return Take(mark.kind, 1);
  }
  if (c == '\0') return Take(Kind::Invalid, 1);
  if (c == '"') return TakeQuoted();
  if (c == '`') return SkipHexMark() ? TakeHex() : Take(Kind::String, 1);
  return NextRun();
}

ConfigToken ConfigScanner::NextRun() {
  ConfigToken token;
  if (TakeSpecialNumber(token)) return token;
  const std::string_view rest = text_.substr(position_);
  const auto end = std::find_if(rest.begin(), rest.end(),
                                [](char c) { return kEndsRun[static_cast<unsigned char>(c)]; });
  token = Take(Kind::String, static_cast<std::size_t>(end - rest.begin()));
  if (!IsNumberStart(token.text[0])) return token;
  if (ParseInteger(token.text, token.integer)) {
    token.kind = Kind::Integer;
  } else if (ParseFloat(token.text, token.number)) {
    token.kind = Kind::Float;
  }
  return token;
}

bool ConfigScanner::TakeSpecialNumber(ConfigToken& token) {
  std::string_view rest = text_.substr(position_);
  const bool negative = rest.starts_with('-');
  const std::size_t sign = negative || rest.starts_with('+') ? 1 : 0;
  rest.remove_prefix(sign);
  if (!rest.starts_with("1.#")) return false;
  for (const auto& special : kSpecialNumbers) {
    if (!rest.starts_with(special.text)) continue;
    const std::size_t length = special.text.size();
    if (length < rest.size() && !kEndsRun[static_cast<unsigned char>(rest[length])]) return false;
    token = Take(Kind::Float, sign + length);
    token.number = std::bit_cast<float>(special.bits | (negative ? kSignBit : 0));
    return true;
  }
  return false;
}

/// False for a raw text of no characters, which is no token.
bool ConfigScanner::TakeRaw(ConfigToken& token) {
  token.kind = Kind::String;
  TakeText(kRawStops, token.text);
  return !token.text.empty();
}

ConfigToken ConfigScanner::TakeQuoted() {
  ++position_;
  ConfigToken token;
  const bool isClosed = TakeText(kQuotedStops, token.text) && Peek() == '"';
  if (!isClosed) return AtEnd() ? ConfigToken{Kind::Unterminated, {}} : Take(Kind::Invalid, 1);
  ++position_;
  token.kind = Kind::String;
  return token;
}

/// Characters up to one of `stops`, which stays, or the end (false). Escapes are resolved, line
/// ends dropped.
bool ConfigScanner::TakeText(std::string_view stops, std::string_view& text) {
  buffer_.clear();
  for (;;) {
    const std::size_t start = position_;
    position_ = std::min(text_.find_first_of(stops, start), text_.size());
    const std::string_view piece = text_.substr(start, position_ - start);
    const bool isWhole = AtEnd() || (Peek() != '\\' && Peek() != '\n' && Peek() != '\r');
    if (isWhole && buffer_.empty()) {
      text = piece;
      return !AtEnd();
    }
    buffer_.append(piece);
    if (isWhole) {
      text = buffer_;
      return !AtEnd();
    }
    if (Peek() == '\\') {
      TakeEscape();
    } else {
      SkipTo(position_ + 1);
    }
  }
}

/// A backslash before anything that needs none stands for itself.
void ConfigScanner::TakeEscape() {
  ++position_;
  const std::size_t which = AtEnd() ? std::string_view::npos : kEscaped.find(Peek());
  buffer_.push_back(which == std::string_view::npos ? '\\' : kEscapeMeans[which]);
  if (which != std::string_view::npos) ++position_;
}

/// Two back-quotes with nothing but white space between them.
bool ConfigScanner::SkipHexMark() {
  const std::size_t second = text_.find_first_not_of(kBlanks, position_ + 1);
  if (second == std::string_view::npos || text_[second] != '`') return false;
  SkipTo(second + 1);
  return true;
}

/// Pairs of digits up to a semicolon, which stays; everything between them is ignored.
ConfigToken ConfigScanner::TakeHex() {
  buffer_.clear();
  while (!AtEnd() && Peek() != ';') {
    if (text_.compare(position_, 2, "/*") == 0 || Peek() == '#') {
      if (!SkipComment()) break;
      continue;
    }
    const int high = HexDigit(Peek());
    SkipTo(position_ + 1);
    const int low = high < 0 || AtEnd() ? -1 : HexDigit(Peek());
    if (low < 0) continue;
    buffer_.push_back(static_cast<char>(high << 4 | low));
    ++position_;
  }
  if (AtEnd()) return {Kind::Unterminated, {}};
  return {Kind::Hex, buffer_};
}

ConfigToken ConfigScanner::Take(Kind kind, std::size_t length) {
  const std::string_view text = text_.substr(position_, length);
  position_ += length;
  return {kind, text};
}

void ConfigScanner::SkipTo(std::size_t position) {
  const std::string_view skipped = text_.substr(position_, position - position_);
  line_ += static_cast<std::uint32_t>(std::count(skipped.begin(), skipped.end(), '\n'));
  position_ = position;
}

/// At a "#" or a "/*"; false when the latter has no end.
bool ConfigScanner::SkipComment() {
  if (Peek() == '#') {
    position_ = std::min(text_.find('\n', position_), text_.size());
    return true;
  }
  const std::size_t end = text_.find("*/", position_ + 2);
  const bool isClosed = end != std::string_view::npos;
  SkipTo(isClosed ? end + 2 : text_.size());
  return isClosed;
}

/// White space and comments; false when a comment has no end.
bool ConfigScanner::SkipBlanks() {
  for (;;) {
    SkipTo(std::min(text_.find_first_not_of(kBlanks, position_), text_.size()));
    const bool isComment = !AtEnd() && (Peek() == '#' || text_.compare(position_, 2, "/*") == 0);
    if (!isComment) return true;
    if (!SkipComment()) return false;
  }
}

}  // namespace Zef
