#include "tagdata/TagRecord.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kSizeBytes = 4;

/// What each type is written as.
constexpr std::array kCodes = [] {
  std::array<TagCode, TagPLID + 1> codes{};
  codes[TagNull] = TagCode::Null;
  codes[TagSoup] = TagCode::Container;
  codes[TagBinary] = TagCode::Binary;
  codes[TagFloat] = TagCode::Float;
  codes[TagString] = codes[TagStringAlt] = TagCode::String;
  codes[TagInt] = TagCode::Int;
  codes[TagPLID] = TagCode::PLID;
  return codes;
}();

/// What each code is read as: TagStringAlt is not, and an aligned one is plain in memory.
constexpr std::array kTypes = [] {
  std::array<TagType, static_cast<std::size_t>(TagCode::PLID) + 1> types{};
  for (const TagType type : {TagSoup, TagBinary, TagFloat, TagString, TagInt, TagPLID}) {
    types[static_cast<std::size_t>(kCodes[type])] = type;
  }
  types[static_cast<std::size_t>(TagCode::AlignedBinary)] = TagBinary;
  return types;
}();

/// Header of the record at the front of `run`, or false when the record is damaged. `run` has
/// the bytes of a header at least.
bool ParseHeader(std::span<const std::byte> run, std::uint32_t& recordSize,
                 std::size_t& keyLength) {
  std::memcpy(&recordSize, run.data(), kSizeBytes);
  keyLength = std::to_integer<std::size_t>(run[kSizeBytes]);
  return recordSize <= run.size() - kSizeBytes && recordSize >= keyLength + 2;
}

bool IsRecordInWriterForm(const TagRecord& record) {
  if (record.key.data() != nullptr) {
    const auto* keyEnd = reinterpret_cast<const std::byte*>(record.key.data() + record.key.size());
    if (record.payload - keyEnd != 2) return false;  // its zero and the type code
  }
  const TagType type = TypeOfCode(record.code);
  const bool isOwn = CodeOfTag(type) == static_cast<TagCode>(record.code);
  return isOwn && (type != TagNull || record.payloadSize == 0);
}

bool AllDifferent(std::vector<std::string_view>& keys) {
  constexpr std::size_t kFewKeys = 16;
  if (keys.size() > kFewKeys) {
    std::sort(keys.begin(), keys.end());
    return std::adjacent_find(keys.begin(), keys.end()) == keys.end();
  }
  for (auto key = keys.begin(); key != keys.end(); ++key) {
    if (std::find(keys.begin(), key, *key) != key) return false;
  }
  return true;
}

/// One container without those within it. `keys` is scratch.
bool IsLevelInWriterForm(std::span<const std::byte> run, std::vector<std::string_view>& keys) {
  keys.clear();
  TagRecord record{};
  while (TakeTagRecord(run, record)) {
    if (!IsRecordInWriterForm(record)) return false;
    keys.push_back(record.key);
  }
  return run.empty() && AllDifferent(keys);
}

}  // namespace

TagCode CodeOfTag(std::int32_t type) {
  const auto index = static_cast<std::uint32_t>(type);
  return index < kCodes.size() ? kCodes[index] : TagCode::Null;
}

TagType TypeOfCode(std::uint8_t code) { return code < kTypes.size() ? kTypes[code] : TagNull; }

bool TakeTagRecord(std::span<const std::byte>& run, TagRecord& record) {
  std::uint32_t recordSize = 0;
  std::size_t keyLength = 0;
  if (run.size() < TagRecord::kSmallestSize) return false;
  if (!ParseHeader(run, recordSize, keyLength)) return false;
  const std::byte* key = run.data() + kSizeBytes + 1;
  record.key = {};
  if (keyLength > 0) {
    const char* text = reinterpret_cast<const char*>(key);
    record.key = {text, strnlen(text, keyLength)};
  }
  record.code = std::to_integer<std::uint8_t>(key[keyLength]);
  record.payload = key + keyLength + 1;
  record.payloadSize = recordSize - static_cast<std::uint32_t>(keyLength) - 2;
  run = run.subspan(kSizeBytes + recordSize);
  return true;
}

bool ValidateTagRun(std::span<const std::byte> run) {
  std::array<std::size_t, kMaxTagDepth> outerEnds;
  std::size_t depth = 0;
  std::size_t at = 0;
  std::size_t end = run.size();
  for (;;) {
    if (end - at < TagRecord::kSmallestSize) {
      if (depth == 0) return true;
      at = end;
      end = outerEnds[--depth];
      continue;
    }
    std::uint32_t recordSize = 0;
    std::size_t keyLength = 0;
    if (!ParseHeader(run.subspan(at, end - at), recordSize, keyLength)) return false;
    const std::size_t code = at + kSizeBytes + 1 + keyLength;
    const std::size_t next = at + kSizeBytes + recordSize;
    if (std::to_integer<std::uint8_t>(run[code]) != 0) {
      at = next;
      continue;
    }
    if (depth == outerEnds.size()) return false;
    outerEnds[depth++] = end;
    at = code + 1;
    end = next;
  }
}

bool IsWriterForm(std::span<const std::byte> run) {
  std::vector<std::string_view> keys;
  if (!IsLevelInWriterForm(run, keys)) return false;
  std::vector<std::span<const std::byte>> open = {run};
  TagRecord record{};
  while (!open.empty()) {
    if (!TakeTagRecord(open.back(), record)) {
      open.pop_back();
    } else if (static_cast<TagCode>(record.code) == TagCode::Container) {
      const std::span<const std::byte> inner(record.payload, record.payloadSize);
      if (!IsLevelInWriterForm(inner, keys)) return false;
      open.push_back(inner);
    }
  }
  return true;
}
