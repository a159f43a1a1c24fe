#include "tagdata/TagRecord.h"

#include <array>
#include <cstring>

#include "tagdata/HCSChunk.h"

namespace {

constexpr std::size_t kSizeBytes = 4;

/// Header of the record at the front of `run`, or false when the record is damaged. `run` has
/// the bytes of a header at least.
bool ParseHeader(std::span<const std::byte> run, std::uint32_t& recordSize,
                 std::size_t& keyLength) {
  std::memcpy(&recordSize, run.data(), kSizeBytes);
  keyLength = std::to_integer<std::size_t>(run[kSizeBytes]);
  return recordSize <= run.size() - kSizeBytes && recordSize >= keyLength + 2;
}

}  // namespace

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
