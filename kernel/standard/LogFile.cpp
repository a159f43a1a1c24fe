#include "kernel/standard/LogFile.h"

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/FileSub.h"

namespace Zef {

namespace {

constexpr std::uint32_t kAnsi = 1;

}  // namespace

bool LogFile::Open(const char* path, std::string_view firstText) {
  try {
    auto file = std::make_unique<File>();
    if (file->Open(path, FileMode::kCreateWrite, kAnsi) != RES_OK) return false;
    const FileSub* const source = file->Origin().source;
    if (source != nullptr && !source->IsKind(FileSubKind::Folder)) return false;
    file_ = std::move(file);
  } catch (...) {
    return false;
  }
  position_ = file_->Origin().dataStart;
  return WriteNow(firstText);
}

void LogFile::Write(std::string_view text) noexcept {
  if (sealed_) return;
  if (text.size() > kBufferSize - buffered_) Flush();
  if (text.size() > kBufferSize) {
    WriteNow(text);
    return;
  }
  buffered_ += text.copy(buffer_ + buffered_, text.size());
}

void LogFile::Flush() noexcept {
  if (buffered_ == 0) return;
  WriteNow({buffer_, buffered_});
  buffered_ = 0;
}

bool LogFile::WriteNow(std::string_view text) noexcept {
  const std::int64_t written =
      Platform::WriteAt(file_->Origin().handle, text.data(), text.size(), position_);
  if (written > 0) position_ += static_cast<std::uint64_t>(written);
  return written == static_cast<std::int64_t>(text.size());
}

void LogFile::Seal() noexcept {
  Flush();
  sealed_ = true;
}

}  // namespace Zef
