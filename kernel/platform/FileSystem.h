// FileSystem: files and folders of the operating system, and nothing on top of them.
//
// Every function takes a path as the caller spells it ('\\' and '/' both separate), retries
// interrupted calls, and reports failure by its result; none throws but for want of memory. Names
// are matched exactly; ResolveCase finds the spelling on disk of a name that came from a
// case-insensitive world. All functions may be called from any thread. A path of 4096 bytes or
// more does not exist.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Zef::Platform {

using FileHandle = std::int32_t;
inline constexpr FileHandle kNoFile = -1;

enum class Creation {
  OpenExisting,
  Truncate,      ///< create, or empty what is there (after the sharing lock is held)
  OpenOrCreate,  ///< create if missing, keep what is there
  CreateNew,     ///< fail if it exists
};

/// What other openers of the same file are refused while this one is open. Advisory between
/// openers that ask for a mode, whole file, never waited for. An exclusive opener (writing,
/// truncating or denying all) has the file that the path names at the moment of the lock.
enum class Sharing { Anything, DenyWrite, DenyAll };

enum class OpenError { None, NotFound, AlreadyExists, Refused, Failed };

struct OpenOptions {
  bool write = false;  ///< read-write; otherwise read-only
  Creation creation = Creation::OpenExisting;
  Sharing sharing = Sharing::Anything;
};

/// Closes a handle; false when the system reports an error (data may not have been written).
bool CloseFile(FileHandle file);

/// Owns a handle, or none. Move-only.
class OwnedFile {
 public:
  OwnedFile() = default;
  explicit OwnedFile(FileHandle file) : file_(file) {}
  OwnedFile(OwnedFile&& other) noexcept : file_(other.Release()) {}
  OwnedFile& operator=(OwnedFile&& other) noexcept {
    if (this != &other) {
      Close();
      file_ = other.Release();
    }
    return *this;
  }
  ~OwnedFile() { Close(); }

  explicit operator bool() const { return file_ != kNoFile; }
  FileHandle Get() const { return file_; }
  /// Gives the handle away.
  FileHandle Release() { return std::exchange(file_, kNoFile); }
  /// As CloseFile; true without a handle.
  bool Close() { return file_ == kNoFile || CloseFile(Release()); }

 private:
  FileHandle file_ = kNoFile;
};

/// Opens a regular file or a character device; folders, pipes and sockets answer NotFound.
/// The handle is not inherited by child processes. `error` may be null.
[[nodiscard]] OwnedFile OpenFile(const std::string& path, const OpenOptions& options,
                                 OpenError* error = nullptr);

/// Positional transfer of the whole span, however many system calls it takes. Result: bytes
/// moved (fewer only at the end of the file or on a full disk), or -1 on error.
[[nodiscard]] std::int64_t ReadAt(FileHandle file, void* to, std::size_t size,
                                  std::uint64_t offset);
[[nodiscard]] std::int64_t WriteAt(FileHandle file, const void* from, std::size_t size,
                                   std::uint64_t offset);
/// Length of an open file, or -1.
[[nodiscard]] std::int64_t FileSize(FileHandle file);
/// False for a device.
[[nodiscard]] bool IsRegularFile(FileHandle file);
/// Gives an open file the permissions of another one, and its owner and group as far as the system
/// lets this process. Where the group stays another, nobody gets a right by it.
bool CopyPermissions(FileHandle from, FileHandle to);
/// Cuts or extends (with zeros) an open file.
[[nodiscard]] bool SetFileSize(FileHandle file, std::uint64_t size);
/// Waits until the content is on the device.
[[nodiscard]] bool FlushFile(FileHandle file);
/// Waits until the entries of a folder (creations, renames) are on the device.
bool FlushFolder(const std::string& folder);

struct FileInfo {
  bool folder = false;
  bool regular = false;
  bool link = false;         ///< only from the call that does not follow links
  bool readOnly = false;     ///< the owner's write permission is missing
  std::uint64_t size = 0;    ///< bytes; 0 for folders
  std::int64_t created = 0;  ///< seconds since 1970; the write time where the system has none
  std::int64_t accessed = 0;
  std::int64_t written = 0;
  std::uint64_t changed = 0;  ///< nanoseconds since 1970: content, or anything else about it
  std::uint64_t device = 0;   ///< with `serial`, the identity of the file
  std::uint64_t serial = 0;

  bool IsSameFile(const FileInfo& other) const {
    return device == other.device && serial == other.serial;
  }
};

[[nodiscard]] bool GetInfo(const std::string& path, FileInfo* info);
[[nodiscard]] bool GetOpenInfo(FileHandle file, FileInfo* info);
[[nodiscard]] bool GetInfoNoFollow(const std::string& path, FileInfo* info);
[[nodiscard]] bool Exists(const std::string& path);
[[nodiscard]] bool IsFolder(const std::string& path);
/// True when both paths lead to one file or one folder. False when one of them leads nowhere.
[[nodiscard]] bool IsSameFile(const std::string& a, const std::string& b);
/// True when nothing stands at the path, not even a link to nothing, whose target may be on a disk
/// that is not there now. False also when the system will not say, for want of a permission or by
/// an error of the device.
[[nodiscard]] bool IsGone(const std::string& path);

/// Removes a file (never a folder). A link is removed, not what it points to.
[[nodiscard]] bool DeleteFile(const std::string& path);
/// Renames a file or folder; fails when `to` exists, unless it is the same file in another
/// letter case.
[[nodiscard]] bool Rename(const std::string& from, const std::string& to);
/// Renames a file over whatever file `to` names, atomically; refuses a `to` that is no regular
/// file and no link to one. A link is replaced, not what it points to.
[[nodiscard]] bool Replace(const std::string& from, const std::string& to);
[[nodiscard]] bool SetReadOnly(const std::string& path, bool readOnly);

/// Makes a folder and all missing folders above it. True when it stands in the end.
[[nodiscard]] bool MakeFolders(const std::string& path);
/// Makes one folder; false also when anything has the name.
[[nodiscard]] bool MakeFolder(const std::string& path);
/// Whether this process may list a folder and open what is in it, or may also change its entries.
/// False for what is no folder.
[[nodiscard]] bool MayReadFolder(const std::string& path);
[[nodiscard]] bool MayChangeFolder(const std::string& path);
/// Removes one folder that has no entries.
[[nodiscard]] bool RemoveEmptyFolder(const std::string& path);
/// Removes a folder and everything below it, clearing read-only marks on the way. Links are
/// removed and never followed, neither below `path` nor as its last component. Bounded stack.
/// False if anything is left, or if `path` is empty, "/", "." or "..", or ends in such a part.
[[nodiscard]] bool DeleteTree(const std::string& path);
/// DeleteTree of `root` + "/" + `relative`, for a relative path that came from a file: refuses
/// (false, nothing touched) an empty root, an absolute or empty path, "." and ".." components, and
/// a link anywhere between root and folder. True for a root that is not there.
[[nodiscard]] bool DeleteTreeBelow(const std::string& root, const std::string& relative);

/// Names in a folder without "." and "..", sorted by their ASCII-folded bytes (ties by bytes),
/// so that walks repeat. False when the folder cannot be read.
[[nodiscard]] bool ListFolder(const std::string& folder, std::vector<std::string>* names);

/// `root` + "/" + `relative`, where each component of `relative` that does not exist in its exact
/// spelling is replaced by the entry that equals it ignoring ASCII case (first in byte order).
/// Components that exist in no spelling keep the caller's. `root` is taken as it stands.
[[nodiscard]] std::string ResolveCase(const std::string& root, std::string_view relative);

/// True for a path that starts at a file system root: a leading '/' or '\\' (and drive and share
/// forms on Windows). Substitution prefixes are the caller's to test.
[[nodiscard]] bool IsRooted(std::string_view path);

/// Absolute form of a path without links, "." and ".."; empty when it does not exist.
[[nodiscard]] std::string CanonicalPath(const std::string& path);
[[nodiscard]] std::string CurrentFolder();

}  // namespace Zef::Platform
