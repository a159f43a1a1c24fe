#include "tagdata/PLID.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>

#include "kernel/platform/LetterCase.h"
#include "kernel/standard/NumberText.h"
#include "kernel/standard/TStream.h"

namespace {

constinit std::atomic<std::int32_t> baseUserId = PLID::kUnassignedUser;

/// The byte at `at`, folded to lower case; zero behind the end.
char LowerAt(std::string_view text, std::size_t at) {
  return at < text.size() ? Zef::FoldAscii(text[at]) : '\0';
}

/// Scans up to three numbers with ':' between. Fields that are not reached keep their values.
void ScanFields(std::string_view text, std::initializer_list<std::int32_t*> fields) {
  const char* at = text.data();
  const char* end = at + text.size();
  bool first = true;
  for (std::int32_t* field : fields) {
    if (!first && (at == end || *at++ != ':')) return;
    first = false;
    if (!Zef::ScanDecimal(at, end, *field)) return;
  }
}

bool TakeChar(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

bool TakeDigits(std::string_view& text) {
  const std::size_t before = text.size();
  while (!text.empty() && Zef::IsDigit(text.front())) text.remove_prefix(1);
  return text.size() < before;
}

/// `rest` is what follows "<plid:".
bool IsStrictOldForm(std::string_view rest) {
  TakeChar(rest, '-');
  return TakeDigits(rest) && TakeChar(rest, ':') && TakeDigits(rest) && TakeChar(rest, '>') &&
         rest.empty();
}

/// `rest` is what follows "<plid2". A third number is refused: strict readers have always taken
/// the two-number spelling only.
bool IsStrictNewForm(std::string_view rest) {
  if (!TakeChar(rest, ':') || !TakeDigits(rest)) return false;
  if (TakeChar(rest, ':') && !TakeDigits(rest)) return false;
  return TakeChar(rest, '>') && rest.empty();
}

/// True for digits, '-' and exactly `colons` colons, and nothing else.
bool IsNumbers(std::string_view text, std::ptrdiff_t colons) {
  return std::count(text.begin(), text.end(), ':') == colons &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return Zef::IsDigit(c) || c == '-' || c == ':'; });
}

void ScanPair(std::string_view text, PLID& id) {
  ScanFields(text, {&id.user, &id.content});
  id.version = id.user < 0 ? PLID::kNullVersion : 0;
}

/// Fills `id` with what the text spells, valid or not; false when it is no identifier.
bool ScanText(std::string_view text, bool strict, PLID& id) {
  const bool bracket = LowerAt(text, 0) == '<';
  if (bracket && LowerAt(text, 1) == 'n' && LowerAt(text, 2) == 'u') return false;
  if (LowerAt(text, 3) == 'l' && LowerAt(text, 4) == 'l' && LowerAt(text, 5) == '>') return false;

  const bool named = bracket && LowerAt(text, 1) == 'p' && LowerAt(text, 2) == 'l' &&
                     LowerAt(text, 3) == 'i' && LowerAt(text, 4) == 'd';
  if (named && LowerAt(text, 5) == ':') {
    if (strict && !IsStrictOldForm(text.substr(6))) return false;
    ScanPair(text.substr(6), id);
    return true;
  }
  if (named && LowerAt(text, 5) == '2' && LowerAt(text, 6) == ':') {
    if (strict && !IsStrictNewForm(text.substr(6))) return false;
    ScanFields(text.substr(7), {&id.user, &id.content, &id.version});
    return id.user >= 0;  // what is above 25 bits falls to the final check
  }
  if (strict) return false;

  if (IsNumbers(text, 1)) {
    ScanPair(text, id);
    return true;
  }
  if (bracket) {
    std::string_view inner = text.substr(1);
    const std::size_t close = inner.find('>');
    if (close != std::string_view::npos) {
      if (close + 1 != inner.size()) return false;
      inner.remove_suffix(1);
    }
    if (!IsNumbers(inner, 1)) return false;
    ScanPair(inner, id);
    return true;
  }
  if (!IsNumbers(text, 0)) return false;
  ScanFields(text, {&id.content});
  return true;
}

/// A small text assembled on the stack; the longest identifier takes 60 bytes.
class IdText {
 public:
  IdText& operator<<(std::string_view text) {
    std::memcpy(end_, text.data(), text.size());
    end_ += text.size();
    return *this;
  }
  IdText& operator<<(char c) {
    *end_++ = c;
    return *this;
  }
  IdText& operator<<(std::int32_t number) {
    end_ = std::to_chars(end_, text_ + sizeof text_, number).ptr;
    return *this;
  }
  std::string_view View() const { return {text_, static_cast<std::size_t>(end_ - text_)}; }

 private:
  char text_[128];
  char* end_ = text_;
};

/// The version shows only where it says more than the user does.
bool IsShortForm(const PLID& id) {
  return (id.version == 0 && id.user >= 0) || (id.version == PLID::kNullVersion && id.user < 0);
}

struct Style {
  std::string_view null, shortHead, longHead, tail;
  char delimiter;
};

constexpr Style kTagStyle{"<NULL>", "<plid:", "<plid2:", ">", ':'};
constexpr Style kHtmlStyle{"&#60;NULL PLID&#62;", "&#60;plid:", "&#60;plid2:", "&#62;", ':'};
constexpr Style kWordsStyle{"NULLPLID", "plid ", "plid2 ", "", ' '};

void AppendText(const PLID& id, const Style& style, IdText& out) {
  if (id.IsNull()) {
    out << style.null;
    return;
  }
  const bool isShort = IsShortForm(id);
  out << (isShort ? style.shortHead : style.longHead) << id.user << style.delimiter << id.content;
  if (!isShort) out << style.delimiter << id.version;
  out << style.tail;
}

}  // namespace

std::int32_t BaseUserId() { return baseUserId.load(std::memory_order_relaxed); }
void SetBaseUserId(std::int32_t user) { baseUserId.store(user, std::memory_order_relaxed); }

PLID::PLID(const char* text, bool strict)
    : PLID(text != nullptr ? std::string_view(text) : std::string_view(), strict) {}

PLID::PLID(std::string_view text, bool strict) {
  text = text.substr(0, text.find('\0'));
  PLID scanned;
  if (!ScanText(text, strict, scanned)) return;
  if (IsValidUser(scanned.user) && IsValidVersion(scanned.version)) *this = scanned;
}

bool PLID::IsLocal() const {
  if (user == kUnassignedUser) return true;
  const std::int32_t base = BaseUserId();
  return base != -1 && user == base;
}

std::string PLID::TagText() const {
  IdText text;
  AppendText(*this, kTagStyle, text);
  return std::string(text.View());
}

Zef::PString PLID::ToTag() const {
  IdText text;
  AppendText(*this, kTagStyle, text);
  return Zef::PString(text.View());
}

Zef::PString PLID::ToHtml() const {
  IdText text;
  AppendText(*this, kHtmlStyle, text);
  return Zef::PString(text.View());
}

std::string PLID::ToWords() const {
  IdText text;
  AppendText(*this, kWordsStyle, text);
  return std::string(text.View());
}

std::string PLID::ToDelimited(char delimiter) const {
  const Style style{kWordsStyle.null, "", "", "", delimiter};
  IdText text;
  AppendText(*this, style, text);
  return std::string(text.View());
}

void PLID::Write(Zef::TStream& stream) const { stream.WriteRaw(Stored().data(), kStoredSize); }

void PLID::Read(Zef::TStream& stream) {
  std::uint32_t words[2] = {0xFFFFFFFFu, 0xFFFFFFFFu};
  stream.Read2x32(words);
  *this = stream.AtEnd() ? PLID() : Unpack(words[1], words[0]);
}
