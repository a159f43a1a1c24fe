#include "kernel/standard/File.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Exception.h"

namespace Zef {

namespace {

constexpr std::int64_t kLargestPosition = std::numeric_limits<std::int64_t>::max();

constexpr const char* kWriteFailed = "WriteBuffer() Write failed";
constexpr const char* kSizeFailed = "Size() failed to get file length";
constexpr const char* kFlushFailed = "WriteBuffer(void) Writing failed";

[[noreturn]] void RaiseSeekFailure(std::int32_t handle, std::int64_t position) {
  char reason[Exception::kReasonSize];
  std::snprintf(reason, sizeof reason, "Seek failure handle=%d to %lld", handle,
                static_cast<long long>(position));
  RaiseFileEx(reason);
}

}  // namespace

bool File::IsOpen() const { return open_; }
std::uint32_t File::Encoding() const { return encoding_; }
std::uint32_t File::Mode() const { return mode_; }
const std::string& File::Name() const { return origin_.name; }
std::int64_t File::Tell() const { return position_; }

std::size_t File::Read(void* to, std::size_t size, std::size_t count) {
  RequireReading();
  if (size == 0) return 0;
  const std::size_t items = std::min(count, std::numeric_limits<std::size_t>::max() / size);
  return ReadBytes(static_cast<std::uint8_t*>(to), size * items) / size;
}

void File::RequireReading() {
  if (!IsOpen()) RaiseFileEx("Read() File is not open");
  if ((mode_ & FileMode::kReadMask) == 0) RaiseFileEx("Read() File not open for reading");
  Flush();
}

std::size_t File::ReadBytes(std::uint8_t* to, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const std::uint32_t cursor = static_cast<std::uint32_t>(position_ - bufferStart_);
    const std::size_t wanted = size - done;
    if (cursor < bufferBytes_) {
      const std::size_t piece = std::min<std::size_t>(wanted, bufferBytes_ - cursor);
      std::memcpy(to + done, buffer_ + cursor, piece);
      done += piece;
      position_ += static_cast<std::int64_t>(piece);
    } else if (wanted >= kBufferSize) {
      const std::size_t moved = ReadNext(to + done, wanted - wanted % kBufferSize);
      if (moved == 0) break;
      done += moved;
      position_ += static_cast<std::int64_t>(moved);
      DropBuffer();
    } else if (!FillBuffer()) {
      break;
    }
  }
  return done;
}

bool File::FillBuffer() {
  DropBuffer();
  bufferBytes_ = static_cast<std::uint32_t>(ReadNext(buffer_, kBufferSize));
  return bufferBytes_ > 0;
}

// Bytes at the position, past the buffer: one block of a CFIL file, else up to `size` bytes.
std::size_t File::ReadNext(std::uint8_t* to, std::size_t size) {
  if (position_ < 0) RaiseSeekFailure(origin_.handle, position_);
  // A position that no seek could bring to a block is at or past the end.
  if (blocks_ != nullptr) return blocks_->NextStart() == position_ ? blocks_->ReadNext(to) : 0;
  if (size_ >= 0) {
    if (position_ >= size_) return 0;
    size = std::min(size, static_cast<std::size_t>(size_ - position_));
  }
  const std::uint64_t offset = origin_.dataStart + static_cast<std::uint64_t>(position_);
  if (offset > static_cast<std::uint64_t>(kLargestPosition) - size) return 0;
  const std::int64_t got = Platform::ReadAt(origin_.handle, to, size, offset);
  if (got < 0) RaiseFileEx("ReadNext() Read failed");
  return static_cast<std::size_t>(got);
}

// Next byte without taking it, or -1 at the end.
int File::PeekByte() {
  const std::int64_t cursor = position_ - bufferStart_;
  if (cursor < bufferBytes_) return buffer_[cursor];
  return FillBuffer() ? buffer_[0] : -1;
}

std::size_t File::Write(const void* from, std::size_t size, std::size_t count) {
  if (!IsOpen()) RaiseFileEx("Write() File not open");
  if ((mode_ & FileMode::kWriteMask) == 0) RaiseFileEx("Write() File not open for writing");
  if (size == 0) return 0;
  if (count > std::numeric_limits<std::size_t>::max() / size) RaiseFileEx(kWriteFailed);
  WriteBytes(static_cast<const std::uint8_t*>(from), size * count);
  return count;
}

void File::WriteBytes(const std::uint8_t* from, std::size_t size) {
  if (!dirty_) DropBuffer();
  const std::int64_t limit =
      FileMode::IsCompressing(mode_) ? CompressedFormat::kLargestFile : kLargestPosition;
  if (position_ < 0) RaiseFileEx("WriteBuffer(void) Seek failed");
  if (position_ > limit || size > static_cast<std::uint64_t>(limit - position_)) {
    writeFailed_ = true;
    RaiseFileEx(kWriteFailed);
  }
  while (size > 0) {
    if (size >= kBufferSize) {
      Flush();
      WritePhysical(from, size, kWriteFailed);
      MoveOn(size);
      DropBuffer();
      return;
    }
    const std::size_t piece = std::min<std::size_t>(size, kBufferSize - bufferBytes_);
    std::memcpy(buffer_ + bufferBytes_, from, piece);
    dirty_ = true;
    bufferBytes_ += static_cast<std::uint32_t>(piece);
    MoveOn(piece);
    from += piece;
    size -= piece;
    if (bufferBytes_ == kBufferSize) Flush();
  }
}

void File::MoveOn(std::size_t bytes) {
  position_ += static_cast<std::int64_t>(bytes);
  if (size_ >= 0) size_ = std::max(size_, position_);
}

// The whole span in one call. A short write leaves the position behind what is in the file.
void File::WritePhysical(const std::uint8_t* from, std::size_t size, const char* failure) {
  const std::int64_t start = bufferStart_;
  const std::uint64_t offset = origin_.dataStart + static_cast<std::uint64_t>(start);
  const std::int64_t written = Platform::WriteAt(origin_.handle, from, size, offset);
  if (written == static_cast<std::int64_t>(size)) return;
  writeFailed_ = true;
  position_ = start + std::max<std::int64_t>(written, 0);
  DropBuffer();
  RaiseFileEx(failure);
}

void File::Flush() {
  if (!dirty_) return;
  WritePhysical(buffer_, bufferBytes_, kFlushFailed);
  DropBuffer();
}

void File::DropBuffer() {
  bufferStart_ = position_;
  bufferBytes_ = 0;
  dirty_ = false;
}

void File::FlushToDevice() {
  if (!IsOpen()) return;
  Flush();
  if (!Platform::FlushFile(origin_.handle)) RaiseFileEx(kFlushFailed);
}

std::int64_t File::Size() {
  if (!IsOpen()) RaiseFileEx(kSizeFailed);
  if (blocks_ != nullptr) return blocks_->Size();
  if (size_ >= 0) return size_;
  const std::int64_t length = Platform::FileSize(origin_.handle);
  if (length < 0) RaiseFileEx(kSizeFailed);
  return dirty_ ? std::max(length, position_) : length;
}

int File::Seek(std::int64_t offset, int origin) {
  if (!IsOpen()) return -1;
  if (FileMode::IsCompressing(mode_)) RaiseFileEx("Seek() Can't seek writing compressed file");
  Flush();
  std::int64_t target = offset;
  switch (origin) {
    case 0:
      break;
    case 1:
      if (__builtin_add_overflow(position_, offset, &target)) return -1;
      break;
    case 2:
      if (__builtin_sub_overflow(Size(), offset, &target)) return -1;
      break;
    default:
      return -1;
  }
  MoveTo(target);
  return 0;
}

void File::MoveTo(std::int64_t target) {
  // Wraps for a target before the buffer, which then is far behind it.
  const std::uint64_t cursor =
      static_cast<std::uint64_t>(target) - static_cast<std::uint64_t>(bufferStart_);
  if (cursor <= bufferBytes_) {
    position_ = target;
    return;
  }
  if (blocks_ == nullptr || target < 0 || target >= Size()) {
    position_ = target;
    DropBuffer();
    return;
  }
  blocks_->MoveTo(target);
  position_ = blocks_->NextStart();
  if (!FillBuffer() || target - position_ >= bufferBytes_) {
    RaiseFileEx("ReadNext() Failed to read block");
  }
  position_ = target;
}

}  // namespace Zef
