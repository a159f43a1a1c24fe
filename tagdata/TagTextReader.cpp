#include "tagdata/TagTextReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kernel/KeyedHash.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/NumberText.h"
#include "tagdata/Convert.h"
#include "tagdata/NOLContainerTag.h"

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

// What is kept of a run; the rest of it is passed over.
constexpr std::size_t kMaxKey = 511;
constexpr std::size_t kMaxNumber = 31;
constexpr std::size_t kMaxNumberList = 255;

constexpr std::size_t kFilteredDepth = 2;  // the root, and a block in it

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

/// False for an identifier that is malformed or does not reach to the end of its text.
bool IsWhole(const PLID& id, std::string_view text) {
  const std::size_t end = text.find('>');
  if (id.IsNull() && !Zef::EqualFolded(text.substr(0, end), "<null")) return false;
  return text.find_first_not_of("> \t", end) == std::string_view::npos;
}

/// Whether a number that was read modulo 2^32 is the one in the text.
bool IsWhole(std::int32_t value, std::string_view token) {
  constexpr std::size_t kAlwaysFit = 9;
  if (token.size() <= kAlwaysFit) return true;
  std::int64_t wide = 0;
  const auto end = std::from_chars(token.data(), token.data() + token.size(), wide);
  return end.ec == std::errc() && wide == value;
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
    // A thread may outlive the pool, and the texts in here go with it.
    if (!Zef::PString::PoolExists()) return noKey_;
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
  Zef::PString noKey_;
};

using Block = Zef::Ref<NOLContainerTag>;

class Reader {
 public:
  Reader(std::string_view text, TagFilter filter)
      : isUtf8_(text.starts_with(kUtf8Mark)), filter_(filter) {
    if (isUtf8_) text.remove_prefix(kUtf8Mark.size());
    at_ = text.data();
    end_ = at_ + text.size();
  }

  TagContainer Read() {
    open_.push_back({Zef::PString(), Block(new NOLContainerTag)});
    while (true) {
      const std::string_view key = ReadKey();
      if (!key.empty()) {
        ReadTagOf(key);
      } else if (!CloseBlock()) {
        const char* const left = Skip(keyBegin_, kSpace | kClose | kZero);
        losses_.bytesLeft = static_cast<std::uint64_t>(end_ - left);
        const bool isEmpty = open_.front().tags->GetCount() == 0 && !dropped_;
        return isEmpty ? TagContainer() : TagContainer(open_.front().tags);
      }
    }
  }
  const TagTextLosses& Losses() const { return losses_; }

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
  void ReadTagOf(std::string_view key);
  bool NumberKey(std::string_view key, Zef::PString& number);
  void ReadTag(const Zef::PString& key);
  void ReadNumberOrText(const Zef::PString& key);
  void ReadQuoted(const Zef::PString& key);
  void ReadUnquoted(const Zef::PString& key);
  void StoreNumber(const Zef::PString& key, std::string_view token);
  void StoreList(const Zef::PString& key, std::string_view token);
  void StoreText(const Zef::PString& key, std::string_view text, std::uint16_t met);
  void Put(const Zef::PString& key, std::int32_t type, CoreRef core);
  void Attach(const Zef::PString& key, ChunkRef chunk);
  void OpenBlockOf(const Zef::PString& key);
  /// Notes a key or a value that is kept as far as it was read.
  void NoteCut(bool isCut) { losses_.cut += static_cast<std::uint64_t>(isCut && passed_ == 0); }
  bool CloseBlock();

  const char* at_;
  const char* end_;
  const char* keyBegin_ = nullptr;  ///< of the key that was read last
  bool isUtf8_;
  std::vector<OpenBlock> open_;
  std::uint64_t passed_ = 0;  ///< open blocks of which nothing is kept
  TagTextLosses losses_;
  bool dropped_ = false;  ///< the filter refused a tag
  const TagFilter filter_;
  std::unordered_map<std::uint64_t, std::uint32_t> numbered_;
  const Zef::PString noKey_;
  KeyCache& keys_ = KeyCache::OfThread();
  std::array<char, kMaxKey> key_;
  std::string value_;
  std::vector<float> numbers_;
};

/// The next key, folded; empty at the end of the block.
std::string_view Reader::ReadKey() {
  keyBegin_ = at_ = Skip(at_, kSpace);
  const std::uint16_t met = FindAny(at_, kSpace | kClose);
  const auto length = static_cast<std::size_t>(at_ - keyBegin_);
  const std::size_t size = std::min(length, key_.size());
  std::transform(keyBegin_, keyBegin_ + size, key_.begin(), Zef::FoldAscii);
  const std::string_view key(key_.data(), size);
  NoteCut(size < length || (met & kZero) != 0);
  return (met & kZero) == 0 ? key : UpToZero(key);
}

void Reader::ReadTagOf(std::string_view key) {
  if (passed_ != 0) return ReadTag(noKey_);
  const TagUse use = filter_ == nullptr ? TagUse::Keep : filter_(open_.back().key.View(), key);
  if (use == TagUse::Keep) return ReadTag(keys_.Find(key));
  Zef::PString number;
  if (use == TagUse::Number && NumberKey(key, number)) return ReadTag(number);
  // Nothing is kept of it, and if it is a block, of what it holds.
  dropped_ = true;
  ++passed_;
  ReadTag(noKey_);
  --passed_;
}

/// The number of a key in its block, by the hash of the key: memory for the text would be the
/// writer's to fill. False when there are too many.
bool Reader::NumberKey(std::string_view key, Zef::PString& number) {
  const std::uint64_t hash = Zef::KeyedHash(key);
  if (numbered_.size() == kMostNumbered && !numbered_.contains(hash)) return false;
  const auto next = static_cast<std::uint32_t>(numbered_.size());
  const auto entry = numbered_.try_emplace(hash, next).first;
  std::array<char, 16> digits;
  const char* const end = std::to_chars(digits.data(), digits.end(), entry->second).ptr;
  number = keys_.Find({digits.data(), static_cast<std::size_t>(end - digits.data())});
  return true;
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
  const char* const end = token.data() + token.size();
  token = token.substr(0, kMaxNumber);
  const char* at = token.data();
  if (isFloat) {
    float value = 0;
    Zef::ScanFloat(at, at + token.size(), value);
    NoteCut(at != end);
    Put(key, TagFloat, HCSRawDataCore::Copy(&value, sizeof value));
  } else {
    std::int32_t value = 0;
    Zef::ScanDecimal(at, at + token.size(), value);
    NoteCut(at != end || !IsWhole(value, token));
    Put(key, TagInt, HCSRawDataCore::Copy(&value, sizeof value));
  }
}

void Reader::StoreList(const Zef::PString& key, std::string_view token) {
  if (passed_ != 0) return;
  bool isCut = token.size() > kMaxNumberList;
  token = token.substr(0, kMaxNumberList);
  numbers_.clear();
  while (true) {
    token.remove_prefix(std::min(token.find_first_not_of(" ,"), token.size()));
    if (token.empty()) break;
    const std::size_t size = std::min(token.find_first_of(" ,"), token.size());
    const char* at = token.data();
    float value = 0;
    Zef::ScanFloat(at, at + size, value);
    isCut = isCut || std::any_of(at, token.data() + size, [](char c) { return c != '\t'; });
    numbers_.push_back(value);
    token.remove_prefix(size);
  }
  NoteCut(isCut);
  Put(key, TagFloat, HCSRawDataCore::Copy(numbers_.data(), numbers_.size() * sizeof(float)));
}

void Reader::StoreText(const Zef::PString& key, std::string_view text, std::uint16_t met) {
  if (passed_ != 0) return;
  if ((met & kZero) != 0) {
    text = UpToZero(text);
    NoteCut(true);
  }
  if (!text.empty() && SpellsIdentifier(text)) {
    const PLID id(text, /*strict=*/false);
    NoteCut(!IsWhole(id, text));
    Put(key, TagPLID, HCSRawDataCore::Copy(id.Stored().data(), PLID::kStoredSize));
  } else if ((met & kHigh) != 0 && !isUtf8_) {
    Put(key, TagString, HCSRawDataCore::CopyText(Zef::ToUtf8(text)));
  } else {
    Put(key, TagString, HCSRawDataCore::CopyText(text));
  }
}

void Reader::Put(const Zef::PString& key, std::int32_t type, CoreRef core) {
  if (passed_ == 0) Attach(key, ChunkRef(new NOLDataTag(type, std::move(core))));
}

void Reader::Attach(const Zef::PString& key, ChunkRef chunk) {
  NOLContainerTag& tags = *open_.back().tags;
  const std::uint32_t before = tags.GetCount();
  tags.Put(key, std::move(chunk));
  losses_.replaced += static_cast<std::uint64_t>(tags.GetCount() == before);
}

void Reader::OpenBlockOf(const Zef::PString& key) {
  if (passed_ != 0) {
    ++passed_;
  } else if (open_.size() > kMaxTagDepth) {
    // A container here, empty as it may be, is one that no writer takes.
    Put(key, TagNull, nullptr);
    ++losses_.tooDeep;
    ++passed_;
  } else if (open_.size() == kFilteredDepth && filter_ != nullptr) {
    Attach(key, ChunkRef(new NOLContainerTag));
    ++passed_;
  } else {
    numbered_.clear();
    open_.push_back({key, Block(new NOLContainerTag)});
  }
}

/// Attaches the block that ends here to the one around it; false at the top.
bool Reader::CloseBlock() {
  if (passed_ != 0) {
    --passed_;
  } else if (open_.size() > 1) {
    OpenBlock block = std::move(open_.back());
    open_.pop_back();
    Attach(block.key, std::move(block.tags));
  } else {
    return false;
  }
  at_ = Skip(at_, kSpace);
  if (at_ != end_ && *at_ == '}') ++at_;
  return true;
}

}  // namespace

void ReadTagText(TagContainer& out, std::string_view bytes, TagFilter filter,
                 TagTextLosses* losses) {
  Reader reader(bytes, filter);
  out = reader.Read();
  if (losses != nullptr) *losses = reader.Losses();
}
