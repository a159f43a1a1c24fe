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

// What a character ends or is; a zero byte is in no token.
enum : std::uint8_t { kBlank = 1, kEndsRun = 2, kEndsRaw = 4, kEndsQuote = 8 };

constexpr auto kClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  const auto add = [&](std::uint8_t which, std::string_view characters) {
    for (const char c : characters) classes[static_cast<unsigned char>(c)] |= which;
  };
  add(kBlank | kEndsRun, " \t\n\r\v\f"sv);
  add(kEndsRun, "{}();,=:#\"`\0"sv);
  add(kEndsRaw, ";=(){#\\\n\r\0"sv);
  add(kEndsQuote, "\"\\\n\r\0"sv);
  return classes;
}();

constexpr bool IsOf(std::uint8_t which, char c) {
  return (kClasses[static_cast<unsigned char>(c)] & which) != 0;
}

/// Offset of the first character of a class, or of the end.
std::size_t FindClass(std::uint8_t which, std::string_view text, std::size_t from) {
  while (from < text.size() && !IsOf(which, text[from])) ++from;
  return from;
}

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

/// The low 32 bits of a number; false when `digits` is empty or holds anything but digits.
bool ParseWrapping(std::string_view digits, std::uint32_t base, std::uint32_t& value) {
  value = 0;
  for (const char c : digits) {
    const std::uint32_t digit = HexDigit(c);
    if (digit >= base) return false;
    value = value * base + digit;
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
  token = Take(Kind::String, FindClass(kEndsRun, text_, position_) - position_);
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
    if (length < rest.size() && !IsOf(kEndsRun, rest[length])) return false;
    token = Take(Kind::Float, sign + length);
    token.number = std::bit_cast<float>(special.bits | (negative ? kSignBit : 0));
    return true;
  }
  return false;
}

/// False for a raw text of no characters, which is no token.
bool ConfigScanner::TakeRaw(ConfigToken& token) {
  token.kind = Kind::String;
  TakeText(kEndsRaw, token.text);
  return !token.text.empty();
}

ConfigToken ConfigScanner::TakeQuoted() {
  ++position_;
  ConfigToken token;
  const bool isClosed = TakeText(kEndsQuote, token.text) && Peek() == '"';
  if (!isClosed) return AtEnd() ? ConfigToken{Kind::Unterminated, {}} : Take(Kind::Invalid, 1);
  ++position_;
  token.kind = Kind::String;
  return token;
}

/// Characters up to one of the class `stops`, which stays, or the end (false). Escapes are
/// resolved, line ends dropped.
bool ConfigScanner::TakeText(std::uint8_t stops, std::string_view& text) {
  buffer_.clear();
  for (;;) {
    const std::size_t start = position_;
    position_ = FindClass(stops, text_, start);
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
  std::size_t second = position_ + 1;
  while (second < text_.size() && IsOf(kBlank, text_[second])) ++second;
  if (second == text_.size() || text_[second] != '`') return false;
  SkipTo(second + 1);
  return true;
}

/// Pairs of digits up to a semicolon, which stays; everything between them is ignored.
ConfigToken ConfigScanner::TakeHex() {
  buffer_.clear();
  while (!AtEnd() && Peek() != ';') {
    if (AtComment()) {
      if (!SkipComment()) break;
      continue;
    }
    line_ += Peek() == '\n' ? 1 : 0;
    const std::uint32_t high = HexDigit(Peek());
    ++position_;
    const std::uint32_t low = high > 15 || AtEnd() ? 16 : HexDigit(Peek());
    if (low > 15) continue;
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

bool ConfigScanner::AtComment() const {
  if (AtEnd()) return false;
  return Peek() == '#' || (Peek() == '/' && text_.compare(position_, 2, "/*") == 0);
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
    for (; !AtEnd() && IsOf(kBlank, Peek()); ++position_) line_ += Peek() == '\n' ? 1 : 0;
    if (!AtComment()) return true;
    if (!SkipComment()) return false;
  }
}

}  // namespace Zef
