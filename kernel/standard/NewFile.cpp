#include "kernel/standard/NewFile.h"

#include <atomic>
#include <cstdio>
#include <new>
#include <utility>

#include "kernel/platform/System.h"

namespace Zef {

NewFile::NewFile(std::string place, Platform::FileHandle model)
    : place_(std::move(place)), file_(CreateTemporaryBeside(place_, &name_)) {
  if (!file_) {
    name_.clear();
    return;
  }
  const Platform::OwnedFile old = Platform::OpenFile(place_, {});
  if (old) model = old.Get();
  if (model != Platform::kNoFile) Platform::CopyPermissions(model, file_.Get());
}

NewFile::~NewFile() {
  try {
    Drop();
  } catch (const std::bad_alloc&) {
    // The file stays under its temporary name.
  }
}

bool NewFile::Append(const void* bytes, std::size_t size) {
  const std::int64_t done = Platform::WriteAt(file_.Get(), bytes, size, size_);
  if (done > 0) size_ += static_cast<std::uint64_t>(done);
  return done == static_cast<std::int64_t>(size);
}

bool NewFile::Keep() {
  if (Close() && Platform::Replace(name_, place_)) {
    name_.clear();
    return true;
  }
  Drop();
  return false;
}

void NewFile::Drop() {
  static_cast<void>(Close());
  if (IsPending()) static_cast<void>(Platform::DeleteFile(name_));
  name_.clear();
}

Platform::OwnedFile CreateTemporaryBeside(const std::string& path, std::string* name) {
  static std::atomic<std::uint32_t> counter{0};
  constexpr std::uint32_t kAttempts = 1000;
  const std::size_t separator = path.find_last_of("/\\");
  const std::string folder = separator == std::string::npos ? "" : path.substr(0, separator + 1);
  const Platform::OpenOptions options{true, Platform::Creation::CreateNew,
                                      Platform::Sharing::DenyAll};
  for (std::uint32_t attempt = 0; attempt < kAttempts; attempt++) {
    char file[32];
    std::snprintf(file, sizeof file, "%08X.T%08X", Platform::CurrentProcessId(), counter++);
    *name = folder + file;
    Platform::OpenError error = Platform::OpenError::None;
    Platform::OwnedFile created = Platform::OpenFile(*name, options, &error);
    if (created) return created;
    if (error != Platform::OpenError::AlreadyExists) break;
  }
  return {};
}

}  // namespace Zef
