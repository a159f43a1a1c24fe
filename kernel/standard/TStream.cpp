#include "kernel/standard/TStream.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "kernel/standard/FormatBuffer.h"
#include "kernel/standard/PString.h"
#include "kernel/standard/SharedText.h"

namespace Zef {

namespace {

/// Stored text lengths up to this are read without a heap block.
constexpr std::uint32_t kLocalTextLength = 510;

std::string_view UpToZero(const char* bytes, std::uint32_t count) {
  return {bytes, strnlen(bytes, count)};
}

}  // namespace

bool TStream::ReadBool(bool& value) {
  std::uint8_t byte = 0;
  if (!Read8(byte)) return false;
  value = byte != 0;
  return true;
}

bool TStream::ReadFixedSlow(void* to, std::uint32_t size) {
  unsigned char received[16];
  if (ReadRaw(received, size) != size) return false;
  std::memcpy(to, received, size);
  return true;
}

// Keeps the last bytes in front of the read position, so that a byte can be handed back after
// the buffer has turned over. Only called with nothing unread.
std::uint32_t TStream::Refill() {
  const std::uint32_t history = std::min(position_, kHistorySize);
  std::memmove(buffer_, buffer_ + position_ - history, history);
  position_ = history;
  unread_ = Read(buffer_ + history, kBufferSize - history);
  return unread_;
}

std::uint32_t TStream::ReadRaw(void* to, std::uint32_t size) {
  auto* out = static_cast<unsigned char*>(to);
  const std::uint32_t buffered = std::min(size, unread_);
  if (buffered > 0) std::memcpy(out, buffer_ + position_, buffered);
  position_ += buffered;
  unread_ -= buffered;
  const std::uint32_t rest = size - buffered;
  if (rest == 0) return size;

  std::uint32_t received = 0;
  if (rest >= kBufferSize - kHistorySize) {
    received = Read(out + buffered, rest);
    ForgetReadAhead();
  } else {
    received = std::min(rest, Refill());
    std::memcpy(out + buffered, buffer_ + position_, received);
    position_ += received;
    unread_ -= received;
  }
  if (received < rest) shortRead_ = true;
  return buffered + received;
}

void TStream::ForgetReadAhead() {
  position_ = 0;
  unread_ = 0;
}

bool TStream::MoveWithinReadAhead(std::int64_t delta) {
  const std::int64_t back = position_;
  if (delta > static_cast<std::int64_t>(unread_) || delta < -back) return false;
  position_ = static_cast<std::uint32_t>(position_ + delta);
  unread_ = static_cast<std::uint32_t>(unread_ - delta);
  return true;
}

// Gives the read-ahead back, but seeks only when there is any: a seek would flush the File's own
// buffer, and a record is written in dozens of small pieces.
std::uint32_t TStream::WriteRaw(const void* from, std::uint32_t size) {
  const std::int64_t unread = unread_;
  ForgetReadAhead();
  if (unread > 0) Seek(-unread, 1);
  return Write(from, size);
}

void TStream::Write8(std::uint8_t value) { WriteRaw(&value, sizeof value); }
void TStream::Write16(std::uint16_t value) { WriteRaw(&value, sizeof value); }
void TStream::Write32(std::uint32_t value) { WriteRaw(&value, sizeof value); }
void TStream::Write64(std::uint64_t value) { WriteRaw(&value, sizeof value); }
void TStream::WriteFloat(float value) { WriteRaw(&value, sizeof value); }
void TStream::WriteBool(bool value) { Write8(value ? 1 : 0); }

// A null text has no storage. One that does not fit is written as if it were null: readers skip
// longer lengths, so the content would be lost there.
void TStream::WriteTextForm(const char* text, std::uint32_t length, bool withLength) {
  if (!withLength) {
    if (length > 0) WriteRaw(text, length);
    return;
  }
  const bool stored = text != nullptr && length < kMaxTextLength;
  Write32(stored ? length + 1 : 0);
  if (stored) WriteRaw(text, length + 1);
}

void TStream::WriteText(const SharedText& text, bool withLength) {
  WriteTextForm(text.Text(), text.Length(), withLength);
}

void TStream::WritePString(const PString& text, bool withLength) {
  WriteTextForm(text.IsNull() ? nullptr : text.Text(), text.Length(), withLength);
}

// Hands the text to `take`; false when there is none, that is, for no storage and for lengths
// past the limit, whose bytes are skipped.
template <class Taker>
bool TStream::ReadTextForm(const Taker& take) {
  std::uint32_t length = 0;
  Read32(length);
  if (length == 0) return false;
  if (length > kMaxTextLength) {
    SkipForward(length);
    return false;
  }
  if (length <= unread_) {
    take(UpToZero(reinterpret_cast<const char*>(buffer_) + position_, length));
    position_ += length;
    unread_ -= length;
  } else if (length <= kLocalTextLength) {
    char local[kLocalTextLength];
    take(UpToZero(local, ReadRaw(local, length)));
  } else {
    const auto block = std::make_unique<char[]>(length);
    take(UpToZero(block.get(), ReadRaw(block.get(), length)));
  }
  return true;
}

void TStream::ReadText(SharedText& text) {
  if (!ReadTextForm([&](std::string_view bytes) { text.Assign(bytes); })) text = SharedText();
}

void TStream::ReadPString(PString& text) {
  if (!ReadTextForm([&](std::string_view bytes) { text = PString(bytes); })) text = PString();
}

bool TStream::ReadLine(SharedText& line) {
  std::string bytes;
  bool any = false;
  std::uint8_t byte = 0;
  while (Read8(byte)) {
    any = true;
    if (byte != '\r' && byte != '\n') {
      if (bytes.size() < kMaxLineLength) bytes.push_back(static_cast<char>(byte));
      continue;
    }
    std::uint8_t next = 0;
    if (!Read8(next)) break;
    const bool pair = next != byte && (next == '\r' || next == '\n');
    if (!pair) Seek(-1, 1);
    break;
  }
  if (any) {
    line.Assign(bytes);
  } else {
    line = SharedText();
  }
  return any;
}

void TStream::Printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const FormatBuffer text(format, arguments);
  va_end(arguments);
  text.RaiseIfNoMemory();
  if (text.Length() > 0) WriteRaw(text.Text(), text.Length());
}

std::uint64_t TStream::ReserveLength() {
  const std::uint64_t position = Tell();
  Write32(kLengthPlaceholder);
  return position;
}

void TStream::PatchLength(std::uint64_t position, std::uint32_t value) {
  const std::uint64_t here = Tell();
  Seek(static_cast<std::int64_t>(position), 0);
  Write32(value);
  Seek(static_cast<std::int64_t>(here), 0);
}

void TStream::SkipForward(std::uint64_t count) {
  const std::uint64_t buffered = std::min<std::uint64_t>(count, unread_);
  position_ += static_cast<std::uint32_t>(buffered);
  unread_ -= static_cast<std::uint32_t>(buffered);
  count -= buffered;
  if (count == 0) return;
  const std::uint64_t here = Tell();
  const std::uint64_t size = Size();
  const std::uint64_t left = size > here ? size - here : 0;
  if (count > left) shortRead_ = true;
  if (left > 0) Seek(static_cast<std::int64_t>(here + std::min(count, left)), 0);
}

}  // namespace Zef
