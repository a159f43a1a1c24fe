// Files: opening with a sharing mode, positional transfer, facts, renames.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/LetterCase.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

// The system moves no more than this in one call.
constexpr std::size_t kLargestTransfer = 0x7FFFF000;
constexpr std::uint64_t kLargestOffset = std::numeric_limits<std::int64_t>::max();
constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
constexpr gid_t kSameGroup = static_cast<gid_t>(-1);

OpenError ErrorOf(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
    case EISDIR:
    case ENXIO:
    case ENODEV:
      return OpenError::NotFound;
    case EEXIST:
      return OpenError::AlreadyExists;
    case EACCES:
    case EPERM:
    case EROFS:
    case ETXTBSY:
    case EWOULDBLOCK:
      return OpenError::Refused;
    default:
      return OpenError::Failed;
  }
}

// Truncation is not among the flags: nothing may be lost before the sharing lock is held.
// O_NONBLOCK keeps a pipe without a writer from blocking the call.
int OpenFlags(const OpenOptions& options) {
  const bool write = options.write || options.creation == Creation::Truncate;
  int flags = (write ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if (options.creation != Creation::OpenExisting) flags |= O_CREAT;
  if (options.creation == Creation::CreateNew) flags |= O_EXCL;
  return flags;
}

// Who changes the file must be alone with it; emptying it is a change without the right to write.
bool IsExclusive(const OpenOptions& options) {
  return options.sharing != Sharing::Anything &&
         (options.write || options.sharing == Sharing::DenyAll ||
          options.creation == Creation::Truncate);
}

// A writer that denies anything excludes every other party that denies anything. A file system
// without locks lets everybody pass, as the modes are advisory.
bool TakeSharingLock(int file, const OpenOptions& options) {
  if (options.sharing == Sharing::Anything) return true;
  const int operation = (IsExclusive(options) ? LOCK_EX : LOCK_SH) | LOCK_NB;
  return Uninterrupted([&] { return flock(file, operation); }) == 0 || errno != EWOULDBLOCK;
}

bool IsStillAt(const char* path, const struct stat& facts) {
  struct stat now {};
  return stat(path, &now) == 0 && now.st_dev == facts.st_dev && now.st_ino == facts.st_ino;
}

// `moved` receives whether the path came to name another file before the lock was held: what is
// written to the file in hand would be lost.
OpenError FinishOpen(int file, const char* path, const OpenOptions& options, bool* moved) {
  *moved = false;
  struct stat facts {};
  if (fstat(file, &facts) != 0) return OpenError::Failed;
  if (S_ISCHR(facts.st_mode)) {
    const int flags = fcntl(file, F_GETFL);
    return flags >= 0 && fcntl(file, F_SETFL, flags & ~O_NONBLOCK) == 0 ? OpenError::None
                                                                        : OpenError::Failed;
  }
  if (!S_ISREG(facts.st_mode)) return OpenError::NotFound;
  if (!TakeSharingLock(file, options)) return OpenError::Refused;
  *moved = IsExclusive(options) && !IsStillAt(path, facts);
  if (*moved) return OpenError::Refused;
  if (options.creation == Creation::Truncate && !SetFileSize(file, 0)) return OpenError::Failed;
  return OpenError::None;
}

bool IsFull(int code) { return code == ENOSPC || code == EDQUOT || code == EFBIG; }

// Transfers until `size` bytes are moved or a call moves none; `call` takes the bytes done and
// the size of the next piece.
template <typename Call>
std::int64_t Transfer(std::size_t size, std::uint64_t offset, Call call) {
  if (offset > kLargestOffset || size > kLargestOffset - offset) return -1;
  std::size_t done = 0;
  while (done < size) {
    const std::size_t piece = std::min(size - done, kLargestTransfer);
    const ssize_t moved = Uninterrupted([&] { return call(done, piece); });
    if (moved < 0 && !IsFull(errno)) return -1;
    if (moved <= 0) break;
    done += static_cast<std::size_t>(moved);
  }
  return static_cast<std::int64_t>(done);
}

bool ReadInfo(int folder, const std::string& path, int flags, FileInfo* info) {
  *info = FileInfo();
  struct statx facts {};
  const unsigned wanted = STATX_BASIC_STATS | STATX_BTIME;
  const std::string native = NativePath(path);
  if (statx(folder, native.c_str(), flags, wanted, &facts) != 0) return false;
  info->folder = S_ISDIR(facts.stx_mode);
  info->regular = S_ISREG(facts.stx_mode);
  info->link = S_ISLNK(facts.stx_mode);
  info->readOnly = (facts.stx_mode & S_IWUSR) == 0;
  info->size = info->folder ? 0 : facts.stx_size;
  const bool hasBirth = (facts.stx_mask & STATX_BTIME) != 0;
  info->created = hasBirth ? facts.stx_btime.tv_sec : facts.stx_mtime.tv_sec;
  info->accessed = facts.stx_atime.tv_sec;
  info->written = facts.stx_mtime.tv_sec;
  info->changed =
      static_cast<std::uint64_t>(facts.stx_ctime.tv_sec) * 1'000'000'000 + facts.stx_ctime.tv_nsec;
  info->device = makedev(facts.stx_dev_major, facts.stx_dev_minor);
  info->serial = facts.stx_ino;
  return true;
}

// On a volume that ignores case both spellings name one entry; on any other volume two spellings
// of one file are hard links, and a second name must not be lost.
bool IsOneEntry(const std::string& from, const std::string& to) {
  struct stat a {};
  struct stat b {};
  return EqualFolded(from, to) && lstat(from.c_str(), &a) == 0 && lstat(to.c_str(), &b) == 0 &&
         a.st_dev == b.st_dev && a.st_ino == b.st_ino && (S_ISDIR(a.st_mode) || a.st_nlink == 1);
}

bool IsMissing(const std::string& native) {
  struct stat facts {};
  return lstat(native.c_str(), &facts) != 0 && errno == ENOENT;
}

// Rights of a file in another group: its own group has become one of the others, and the other way
// round, so both get what both had.
mode_t WithoutGroup(mode_t rights) {
  const mode_t common = rights >> 3 & rights & S_IRWXO;
  return (rights & ~mode_t{077}) | common << 3 | common;
}

}  // namespace

OwnedFile OpenFile(const std::string& path, const OpenOptions& options, OpenError* error) {
  constexpr int kAttempts = 4;
  const std::string native = NativePath(path);
  OwnedFile file;
  OpenError result = OpenError::None;
  bool moved = true;
  for (int attempt = 0; moved && attempt < kAttempts; ++attempt) {
    file = OwnedFile(
        Uninterrupted([&] { return open(native.c_str(), OpenFlags(options), mode_t{0666}); }));
    moved = false;
    result = file ? FinishOpen(file.Get(), native.c_str(), options, &moved) : ErrorOf(errno);
  }
  if (error != nullptr) *error = result;
  if (result != OpenError::None) file.Close();
  return file;
}

// A close that was interrupted has closed: a second one could hit another thread's descriptor.
bool CloseFile(FileHandle file) { return close(file) == 0 || errno == EINTR; }

std::int64_t ReadAt(FileHandle file, void* to, std::size_t size, std::uint64_t offset) {
  return Transfer(size, offset, [&](std::size_t done, std::size_t piece) {
    return pread(file, static_cast<char*>(to) + done, piece, static_cast<off_t>(offset + done));
  });
}

std::int64_t WriteAt(FileHandle file, const void* from, std::size_t size, std::uint64_t offset) {
  return Transfer(size, offset, [&](std::size_t done, std::size_t piece) {
    return pwrite(file, static_cast<const char*>(from) + done, piece,
                  static_cast<off_t>(offset + done));
  });
}

std::int64_t FileSize(FileHandle file) {
  struct stat facts {};
  return fstat(file, &facts) == 0 ? facts.st_size : -1;
}

bool IsRegularFile(FileHandle file) {
  struct stat facts {};
  return fstat(file, &facts) == 0 && S_ISREG(facts.st_mode);
}

// The owner comes last: whoever gave a file away may have no more say in it. Only an administrator
// can do so, and only a member can give a file to a group.
bool CopyPermissions(FileHandle from, FileHandle to) {
  struct stat source {};
  struct stat target {};
  if (fstat(from, &source) != 0 || fstat(to, &target) != 0) return false;
  const bool hasGroup =
      target.st_gid == source.st_gid || fchown(to, kSameOwner, source.st_gid) == 0;
  // A folder also says whose group new entries get, and whether others may delete them.
  const mode_t rights = source.st_mode & (S_ISDIR(source.st_mode) ? 03777 : 0777);
  if (fchmod(to, hasGroup ? rights : WithoutGroup(rights)) != 0) return false;
  if (target.st_uid != source.st_uid) static_cast<void>(fchown(to, source.st_uid, kSameGroup));
  return true;
}

bool SetFileSize(FileHandle file, std::uint64_t size) {
  if (size > kLargestOffset) return false;
  return Uninterrupted([&] { return ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

// Devices and some file systems have nothing to wait for and say so with EINVAL.
bool FlushFile(FileHandle file) {
  return Uninterrupted([&] { return fdatasync(file); }) == 0 || errno == EINVAL;
}

bool FlushFolder(const std::string& folder) {
  const OwnedFile opened = OpenFolderAt(AT_FDCWD, NativePath(folder).c_str(), O_RDONLY);
  if (!opened) return false;
  return Uninterrupted([&] { return fsync(opened.Get()); }) == 0 || errno == EINVAL;
}

bool GetInfo(const std::string& path, FileInfo* info) { return ReadInfo(AT_FDCWD, path, 0, info); }

bool GetInfoNoFollow(const std::string& path, FileInfo* info) {
  return ReadInfo(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, info);
}

bool GetOpenInfo(FileHandle file, FileInfo* info) {
  return ReadInfo(file, {}, AT_EMPTY_PATH, info);
}

bool Exists(const std::string& path) {
  struct stat facts {};
  return stat(NativePath(path).c_str(), &facts) == 0;
}

bool IsFolder(const std::string& path) {
  struct stat facts {};
  return stat(NativePath(path).c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool IsSameFile(const std::string& a, const std::string& b) {
  FileInfo first;
  FileInfo second;
  return GetInfo(a, &first) && GetInfo(b, &second) && first.IsSameFile(second);
}

bool IsGone(const std::string& path) {
  struct stat facts {};
  if (lstat(NativePath(path).c_str(), &facts) == 0) return false;
  return errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
}

bool DeleteFile(const std::string& path) { return unlink(NativePath(path).c_str()) == 0; }

bool Rename(const std::string& from, const std::string& to) {
  const std::string source = NativePath(from);
  const std::string target = NativePath(to);
  if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  bool allowed = false;
  if (errno == EEXIST) {
    allowed = IsOneEntry(source, target);
  } else if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP) {
    // A file system without the exclusive form: ask first, and live with the gap.
    allowed = IsMissing(target) || IsOneEntry(source, target);
  }
  return allowed && rename(source.c_str(), target.c_str()) == 0;
}

bool Replace(const std::string& from, const std::string& to) {
  FileInfo info;
  if (!GetInfoNoFollow(from, &info) || info.folder) return false;
  // A device or pipe, or a link to one, is not a file that another could stand for.
  FileInfo old;
  if (GetInfoNoFollow(to, &old) && !(GetInfo(to, &old) && old.regular)) return false;
  return rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0;
}

bool SetReadOnly(const std::string& path, bool readOnly) {
  const std::string native = NativePath(path);
  struct stat facts {};
  if (stat(native.c_str(), &facts) != 0) return false;
  const mode_t others = facts.st_mode & 07777 & ~mode_t{S_IWUSR};
  return chmod(native.c_str(), readOnly ? others : others | S_IWUSR) == 0;
}

}  // namespace Zef::Platform
