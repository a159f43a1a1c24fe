#include "kernel/standard/LogFile.h"

#include <cstring>

#include "kernel/platform/FileSystem.h"

namespace Zef {

namespace {

constexpr std::uint32_t kAnsi = 1;

}  // namespace

bool LogFile::Open(const char* path) {
  Close();
  try {
    auto file = std::make_unique<File>();
    if (file->Open(path, FileMode::kCreateWrite, kAnsi) != RES_OK) return false;
    file_ = std::move(file);
  } catch (...) {
    return false;
  }
  position_ = file_->Origin().dataStart;
  return true;
}

void LogFile::Write(std::string_view text) noexcept {
  if (!IsOpen()) return;
  if (text.size() > kBufferSize - buffered_) Flush();
  if (text.size() > kBufferSize) {
    WriteNow(text.data(), text.size());
    return;
  }
  std::memcpy(buffer_ + buffered_, text.data(), text.size());
  buffered_ += text.size();
}

void LogFile::Flush() noexcept {
  if (!IsOpen() || buffered_ == 0) return;
  WriteNow(buffer_, buffered_);
  buffered_ = 0;
}

void LogFile::WriteNow(const char* bytes, std::size_t size) noexcept {
  const std::int64_t written = Platform::WriteAt(file_->Origin().handle, bytes, size, position_);
  if (written > 0) position_ += static_cast<std::uint64_t>(written);
}

void LogFile::Close() noexcept {
  Flush();
  file_.reset();
  sealed_ = false;
}

void LogFile::Seal() noexcept {
  Flush();
  sealed_ = true;
}

}  // namespace Zef
