#include "kernel/standard/TFile.h"

#include <memory>
#include <utility>

#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

namespace Zef {

TFile::TFile(File* file, bool owned) : file_(file), owned_(owned) {}

TFile::~TFile() {
  try {
    Close();
  } catch (...) {  // NOLINT(bugprone-empty-catch): destructors never throw
  }
}

void TFile::Close() {
  const std::int64_t unread = Unread();
  ForgetReadAhead();
  File* file = std::exchange(file_, nullptr);
  if (file == nullptr) return;
  const std::unique_ptr<File> mine(owned_ ? file : nullptr);
  if (!file->IsOpen()) return;
  if (owned_) {
    file->Close();
  } else if (unread > 0) {
    file->Seek(-unread, 1);
  }
}

void TFile::Clear() {
  if (!IsOpen()) return;
  ForgetReadAhead();
  // A refusal leaves the File closed, which every operation here takes as "at the end".
  (void)file_->Reopen(FileMode::kCreateWrite);
}

bool TFile::IsOpen() { return file_ != nullptr && file_->IsOpen(); }

std::uint64_t TFile::Tell() {
  return IsOpen() ? static_cast<std::uint64_t>(file_->Tell()) - Unread() : 0;
}

std::uint64_t TFile::Size() { return IsOpen() ? static_cast<std::uint64_t>(file_->Size()) : 0; }

std::uint32_t TFile::Write(const void* from, std::uint32_t size) {
  return IsOpen() ? static_cast<std::uint32_t>(file_->Write(from, 1, size)) : 0;
}

std::uint32_t TFile::Read(void* to, std::uint32_t size) {
  return IsOpen() ? static_cast<std::uint32_t>(file_->Read(to, 1, size)) : 0;
}

void TFile::Seek(std::int64_t offset, std::int32_t whence) {
  if (!IsOpen() || whence < 0 || whence > 2) return;
  if (whence == 1) {
    if (MoveWithinReadAhead(offset)) return;
    offset -= Unread();
  }
  file_->Seek(offset, whence);
  ForgetReadAhead();
}

bool TFile::Eof() {
  if (!IsOpen()) return true;
  if (Unread() > 0) return false;
  return file_->Tell() >= file_->Size();
}

}  // namespace Zef
