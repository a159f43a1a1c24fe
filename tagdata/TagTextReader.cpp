#include "tagdata/TagTextReader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kernel/standard/CodePage.h"
#include "tagdata/Convert.h"
#include "tagdata/NOLContainerTag.h"

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

// What is kept of a run; the rest of it is passed over.
constexpr std::size_t kMaxKey = 511;
constexpr std::size_t kMaxNumber = 31;
constexpr std::size_t kMaxNumberList = 255;

/// What a byte means to the reader; sets of them stop its scans.
enum ByteSet : std::uint16_t {
  kBlank = 1,  ///< space, tab
  kLineEnd = 2,
  kClose = 4,
  kQuote = 8,
  kDigit = 16,
  kDot = 32,
  kListSign = 64,  ///< what a list of numbers has besides digits, dots and blanks
  kHigh = 128,     ///< no ASCII
  kEscape = 256,   ///< may change an unquoted value: backslash
  kZero = 512,
};

constexpr std::uint16_t kSpace = kBlank | kLineEnd;
constexpr std::uint16_t kNumber = kDigit | kDot;

constexpr std::array<std::uint16_t, 256> MakeByteSets() {
  std::array<std::uint16_t, 256> sets{};
  for (std::size_t byte = 128; byte < sets.size(); ++byte) sets[byte] = kHigh;
  for (std::size_t digit = '0'; digit <= '9'; ++digit) sets[digit] = kDigit;
  sets[' '] = sets['\t'] = kBlank;
  sets['\r'] = sets['\n'] = kLineEnd;
  sets['}'] = kClose;
  sets['"'] = kQuote;
  sets['.'] = kDot;
  sets['-'] = sets[','] = kListSign;
  sets['\\'] = kEscape;
  sets[0] = kZero;
  return sets;
}

constexpr std::array<std::uint16_t, 256> kByteSets = MakeByteSets();

constexpr std::uint16_t SetOf(char byte) { return kByteSets[static_cast<unsigned char>(byte)]; }

std::string_view UpToZero(std::string_view text) { return text.substr(0, text.find('\0')); }

bool SpellsIdentifier(std::string_view text) {
  return text[0] == '<' && (Zef::EqualFolded(text.substr(0, 6), "<plid:") ||
                            Zef::EqualFolded(text.substr(0, 7), "<plid2:") ||
                            Zef::EqualFolded(text.substr(0, 6), "<null>"));
}

/// The keys that a thread met last: files say the same few again and again, and the pool has a lock
/// for which all threads of a scan would queue.
class KeyCache {
 public:
  static KeyCache& OfThread() {
    static thread_local KeyCache cache;
    return cache;
  }

  const Zef::PString& Find(std::string_view key) {
    Zef::PString& entry = entries_[Slot(key)];
    if (entry.View() != key) entry = Zef::PString(key);
    return entry;
  }

 private:
  static constexpr std::size_t kSize = 512;

  static std::size_t Slot(std::string_view key) {
    const auto byte = [&](std::size_t at) -> std::size_t {
      return static_cast<unsigned char>(key[at]);
    };
    return (key.size() * 67 + byte(0) * 37 + byte(key.size() / 2) * 11 + byte(key.size() - 1)) %
           kSize;
  }

  std::array<Zef::PString, kSize> entries_;
};

using Block = Zef::Ref<NOLContainerTag>;

class Reader {
 public:
  Reader(std::string_view text, TagBlockFilter isWanted)
      : isUtf8_(text.starts_with(kUtf8Mark)), isWanted_(isWanted) {
    if (isUtf8_) text.remove_prefix(kUtf8Mark.size());
    at_ = text.data();
    end_ = at_ + text.size();
  }

  TagContainer Read() {
    open_.push_back({Zef::PString(), Block(new NOLContainerTag)});
    while (true) {
      const std::string_view key = ReadKey();
      if (!key.empty()) {
        ReadTag(passed_ != 0 ? noKey_ : keys_.Find(key));
      } else if (!CloseBlock()) {
        return open_.front().tags->GetCount() == 0 ? TagContainer()
                                                   : TagContainer(open_.front().tags);
      }
    }
  }

 private:
  /// A container that is being read, and the key under which it will be attached.
  struct OpenBlock {
    Zef::PString key;
    Block tags;
  };

  const char* Skip(const char* at, std::uint16_t set) const {
    while (at != end_ && (SetOf(*at) & set) != 0) ++at;
    return at;
  }
  /// Moves to the first byte of the set `stop`; gives all sets that were met before it.
  std::uint16_t FindAny(const char*& at, std::uint16_t stop) const {
    std::uint16_t met = 0;
    for (; at != end_; ++at) {
      const std::uint16_t set = SetOf(*at);
      if ((set & stop) != 0) break;
      met |= set;
    }
    return met;
  }
  bool IsLineOver(const char* at) const { return at == end_ || (SetOf(*at) & kLineEnd) != 0; }

  std::string_view ReadKey();
  void ReadTag(const Zef::PString& key);
  void ReadNumberOrText(const Zef::PString& key);
  void ReadQuoted(const Zef::PString& key);
  void ReadUnquoted(const Zef::PString& key);
  void StoreNumber(const Zef::PString& key, std::string_view token);
  void StoreList(const Zef::PString& key, std::string_view token);
  void StoreText(const Zef::PString& key, std::string_view text, std::uint16_t met);
  void Put(const Zef::PString& key, std::int32_t type, CoreRef core);
  void OpenBlockOf(const Zef::PString& key);
  bool IsKept(const Zef::PString& key) const;
  bool CloseBlock();

  const char* at_;
  const char* end_;
  bool isUtf8_;
  std::vector<OpenBlock> open_;
  std::uint64_t passed_ = 0;  ///< open blocks of which nothing is kept
  const TagBlockFilter isWanted_;
  const Zef::PString noKey_;
  KeyCache& keys_ = KeyCache::OfThread();
  std::array<char, kMaxKey> key_;
  std::string value_;
  std::vector<float> numbers_;
};

/// The next key, folded; empty at the end of the block.
std::string_view Reader::ReadKey() {
  const char* const begin = at_ = Skip(at_, kSpace);
  const std::uint16_t met = FindAny(at_, kSpace | kClose);
  const std::size_t size = std::min(static_cast<std::size_t>(at_ - begin), key_.size());
  std::transform(begin, begin + size, key_.begin(), Zef::FoldAscii);
  const std::string_view key(key_.data(), size);
  return (met & kZero) == 0 ? key : UpToZero(key);
}

void Reader::ReadTag(const Zef::PString& key) {
  at_ = Skip(at_, kBlank);
  // Nothing but an opening brace is looked for beyond the key's line.
  const bool isAlone = IsLineOver(at_);
  if (isAlone) at_ = Skip(at_, kSpace);
  if (at_ != end_ && *at_ == '{') {
    ++at_;
    OpenBlockOf(key);
  } else if (isAlone || *at_ == '}') {
    Put(key, TagNull, nullptr);
  } else if (*at_ == '"') {
    ReadQuoted(key);
  } else {
    ReadNumberOrText(key);
  }
}

void Reader::ReadNumberOrText(const Zef::PString& key) {
  const char* const begin = at_;
  if ((SetOf(*begin) & (kNumber | kListSign)) == 0) return ReadUnquoted(key);
  const char* const digits = *begin == '-' ? begin + 1 : begin;
  const char* const behind = Skip(digits, kNumber);
  const char* const blanks = Skip(behind, kBlank);
  if (IsLineOver(blanks)) {
    at_ = blanks;
    return StoreNumber(key, {begin, static_cast<std::size_t>(behind - begin)});
  }
  const char* const list = Skip(blanks, kNumber | kListSign | kBlank);
  if (!IsLineOver(list)) return ReadUnquoted(key);
  at_ = list;
  StoreList(key, {begin, static_cast<std::size_t>(list - begin)});
}

void Reader::ReadQuoted(const Zef::PString& key) {
  const char* from = ++at_;
  std::uint16_t met = FindAny(at_, kQuote | kLineEnd);
  if (at_ == end_ || *at_ == '"') {
    const std::string_view text(from, static_cast<std::size_t>(at_ - from));
    at_ += at_ != end_;
    return StoreText(key, text, met);
  }
  value_.clear();
  while (at_ != end_ && *at_ != '"') {
    value_.append(from, at_).append("\r\n");
    const char first = *at_++;
    // Two different ones are one line break.
    if (at_ != end_ && (SetOf(*at_) & kLineEnd) != 0 && *at_ != first) ++at_;
    from = at_;
    met |= FindAny(at_, kQuote | kLineEnd);
  }
  value_.append(from, at_);
  at_ += at_ != end_;
  StoreText(key, value_, met);
}

void Reader::ReadUnquoted(const Zef::PString& key) {
  const char* const begin = at_;
  const std::uint16_t met = FindAny(at_, kLineEnd | kClose);
  const std::string_view text(begin, static_cast<std::size_t>(at_ - begin));
  if ((met & kEscape) == 0) return StoreText(key, text, met);
  value_.clear();
  for (const char c : text) {
    if (c == 'n' && value_.ends_with('\\')) {
      value_.back() = '\r';
      value_.push_back('\n');
    } else {
      value_.push_back(c);
    }
  }
  StoreText(key, value_, met);
}

void Reader::StoreNumber(const Zef::PString& key, std::string_view token) {
  if (passed_ != 0) return;
  const bool isFloat = token.find('.') != std::string_view::npos;
  token = token.substr(0, kMaxNumber);
  const char* at = token.data();
  if (isFloat) {
    float value = 0;
    ScanFloat(at, at + token.size(), value);
    Put(key, TagFloat, HCSRawDataCore::Copy(&value, sizeof value));
  } else {
    std::int32_t value = 0;
    ScanDecimal(at, at + token.size(), value);
    Put(key, TagInt, HCSRawDataCore::Copy(&value, sizeof value));
  }
}

void Reader::StoreList(const Zef::PString& key, std::string_view token) {
  if (passed_ != 0) return;
  token = token.substr(0, kMaxNumberList);
  numbers_.clear();
  while (true) {
    token.remove_prefix(std::min(token.find_first_not_of(" ,"), token.size()));
    if (token.empty()) break;
    const std::size_t size = std::min(token.find_first_of(" ,"), token.size());
    const char* at = token.data();
    float value = 0;
    ScanFloat(at, at + size, value);
    numbers_.push_back(value);
    token.remove_prefix(size);
  }
  Put(key, TagFloat, HCSRawDataCore::Copy(numbers_.data(), numbers_.size() * sizeof(float)));
}

void Reader::StoreText(const Zef::PString& key, std::string_view text, std::uint16_t met) {
  if (passed_ != 0) return;
  if ((met & kZero) != 0) text = UpToZero(text);
  if (!text.empty() && SpellsIdentifier(text)) {
    std::uint32_t words[2];
    PLID(text, /*strict=*/false).Pack(&words[1], &words[0]);
    Put(key, TagPLID, HCSRawDataCore::Copy(words, sizeof words));
  } else if ((met & kHigh) != 0 && !isUtf8_) {
    Put(key, TagString, HCSRawDataCore::CopyText(Zef::ToUtf8(text)));
  } else {
    Put(key, TagString, HCSRawDataCore::CopyText(text));
  }
}

void Reader::Put(const Zef::PString& key, std::int32_t type, CoreRef core) {
  if (passed_ == 0) open_.back().tags->Put(key, ChunkRef(new NOLDataTag(type, std::move(core))));
}

void Reader::OpenBlockOf(const Zef::PString& key) {
  if (passed_ != 0) {
    ++passed_;
  } else if (IsKept(key)) {
    open_.push_back({key, Block(new NOLContainerTag)});
  } else {
    open_.back().tags->Put(key, ChunkRef(new NOLContainerTag));
    ++passed_;
  }
}

/// False for a block that stays empty: a refused one, and the deepest container that writers take.
bool Reader::IsKept(const Zef::PString& key) const {
  if (open_.size() > 1 || isWanted_ == nullptr) return open_.size() < kMaxTagDepth;
  return isWanted_(key.View());
}

/// Attaches the block that ends here to the one around it; false at the top.
bool Reader::CloseBlock() {
  if (passed_ != 0) {
    --passed_;
  } else if (open_.size() > 1) {
    OpenBlock block = std::move(open_.back());
    open_.pop_back();
    open_.back().tags->Put(block.key, std::move(block.tags));
  } else {
    return false;
  }
  at_ = Skip(at_, kSpace);
  if (at_ != end_ && *at_ == '}') ++at_;
  return true;
}

}  // namespace

void ReadTagText(TagContainer& out, std::string_view bytes, TagBlockFilter isWanted) {
  out = Reader(bytes, isWanted).Read();
}
