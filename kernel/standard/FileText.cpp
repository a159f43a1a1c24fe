// Lines and texts of a file, in bytes of the code page or in UTF-16LE.

#include <algorithm>
#include <cstring>
#include <string>

#include "kernel/standard/CodePage.h"
#include "kernel/standard/File.h"

namespace Zef {

namespace {

constexpr std::uint32_t kWideEncoding = 2;
constexpr std::uint32_t kNarrowEncoding = 1;
constexpr std::uint8_t kMark[] = {0xFF, 0xFE};

// Two units that are one character, which no byte stands for.
constexpr bool IsPair(std::int32_t unit, std::int32_t next) {
  return (unit & ~0x3FF) == 0xD800 && (next & ~0x3FF) == 0xDC00;
}

}  // namespace

// Next character without taking it, or -1 at the end; half a unit at the end is none.
std::int32_t File::PeekCharacter(std::uint32_t encoding) {
  const int low = PeekByte();
  if (low < 0 || encoding != kWideEncoding) return low;
  position_++;
  const int high = PeekByte();
  // The step back may leave a buffer that starts at the second half.
  MoveTo(position_ - 1);
  return high < 0 ? -1 : low | (high << 8);
}

void File::TakeCharacter(std::uint32_t encoding) {
  MoveTo(position_ + (encoding == kWideEncoding ? 2 : 1));
}

// Takes what the buffer has of the line, at most `room` bytes; returns how many.
std::uint32_t File::TakeLineBytes(char* line, std::uint32_t room) {
  const auto cursor = static_cast<std::uint32_t>(position_ - bufferStart_);
  const std::uint8_t* from = buffer_ + cursor;
  const std::uint8_t* end =
      std::find_if(from, from + std::min(room, bufferBytes_ - cursor),
                   [](std::uint8_t byte) { return byte == '\r' || byte == '\n'; });
  const auto taken = static_cast<std::uint32_t>(end - from);
  std::memcpy(line, from, taken);
  position_ += taken;
  return taken;
}

bool File::ReadLine(char* line, std::uint32_t limit, std::uint32_t encoding) {
  RequireReading();
  if (limit > 0) line[0] = 0;
  if (limit < 2) return false;
  std::int32_t next = PeekCharacter(encoding);
  if (next < 0) return false;
  std::uint32_t length = 0;
  while (next >= 0 && next != '\r' && next != '\n' && length + 1 < limit) {
    if (encoding != kWideEncoding) {
      length += TakeLineBytes(line + length, limit - 1 - length);
      next = PeekCharacter(encoding);
      continue;
    }
    const std::int32_t unit = next;
    line[length++] = NarrowCharacter(static_cast<char32_t>(unit));
    TakeCharacter(encoding);
    next = PeekCharacter(encoding);
    if (!IsPair(unit, next)) continue;
    TakeCharacter(encoding);
    next = PeekCharacter(encoding);
  }
  line[length] = 0;
  // A line that just fits takes its end with it, so that no empty line appears behind it.
  const bool carriageReturn = next == '\r';
  if (carriageReturn) {
    TakeCharacter(encoding);
    next = PeekCharacter(encoding);
  }
  if (next == '\n') TakeCharacter(encoding);
  return true;
}

void File::WriteText(const char* text, std::uint32_t encoding) {
  if (text == nullptr) return;
  const std::size_t length = std::strlen(text);
  if (encoding != kWideEncoding) {
    Write(text, 1, length);
    return;
  }
  std::string wide;
  wide.reserve(length * 2);
  for (const char16_t unit : Widen({text, length})) {
    wide.push_back(static_cast<char>(unit & 0xFF));
    wide.push_back(static_cast<char>(unit >> 8));
  }
  Write(wide.data(), 1, wide.size());
}

void File::DetectEncoding() {
  const std::int64_t start = position_;
  std::uint8_t mark[sizeof kMark];
  const bool found = Read(mark, 1, sizeof mark) == sizeof mark && std::equal(mark, mark + 2, kMark);
  encoding_ = found ? kWideEncoding : kNarrowEncoding;
  if (!found) MoveTo(start);
}

}  // namespace Zef
