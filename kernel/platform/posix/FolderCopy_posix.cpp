// Copies of files inside the system, and folders that change places.

#include "kernel/platform/FolderCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr std::uint64_t kLargestPiece = std::uint64_t{1} << 30;
constexpr std::size_t kBuffer = std::size_t{1} << 20;

// Copies from `done` on through memory, to the end of the source.
bool CopyThroughMemory(FileHandle from, FileHandle to, std::uint64_t* done) {
  std::vector<char> buffer(kBuffer);
  for (;;) {
    const std::int64_t got = ReadAt(from, buffer.data(), buffer.size(), *done);
    if (got <= 0) return got == 0;
    if (WriteAt(to, buffer.data(), static_cast<std::size_t>(got), *done) != got) return false;
    *done += static_cast<std::uint64_t>(got);
  }
}

bool IsFolderItself(const std::string& native) {
  struct stat facts {};
  return lstat(native.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

}  // namespace

bool CopyContents(FileHandle from, FileHandle to) {
  struct stat facts {};
  if (fstat(from, &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
  const auto size = static_cast<std::uint64_t>(facts.st_size);
  std::uint64_t done = 0;
  while (done < size) {
    auto read = static_cast<off_t>(done);
    off_t write = read;
    const std::uint64_t piece = std::min(size - done, kLargestPiece);
    const ssize_t moved =
        Uninterrupted([&] { return copy_file_range(from, &read, to, &write, piece, 0); });
    // Not between all file systems, and not on all kinds; what is wrong otherwise, the copy through
    // memory meets too.
    if (moved <= 0) return CopyThroughMemory(from, to, &done) && done >= size;
    done += static_cast<std::uint64_t>(moved);
  }
  return true;
}

bool CopyWriteTime(FileHandle from, FileHandle to) {
  struct stat facts {};
  if (fstat(from, &facts) != 0) return false;
  const timespec times[] = {{0, UTIME_OMIT}, facts.st_mtim};
  return futimens(to, times) == 0;
}

bool SetWriteTime(FileHandle file, std::int64_t seconds) {
  const timespec times[] = {{0, UTIME_OMIT}, {seconds, 0}};
  return futimens(file, times) == 0;
}

ExchangeResult ExchangeFolders(const std::string& a, const std::string& b) {
  const std::string first = NativePath(a);
  const std::string second = NativePath(b);
  if (!IsFolderItself(first) || !IsFolderItself(second)) return ExchangeResult::Failed;
  if (renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0) {
    return ExchangeResult::Done;
  }
  const bool isUnknown = errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
  return isUnknown ? ExchangeResult::Unsupported : ExchangeResult::Failed;
}

}  // namespace Zef::Platform
