// DeleteTree: removes a folder without following a link and without depth limits.
//
// Two descriptors are open at any time, however deep the tree: the way up is "..", and is taken
// only if it leads to the very folder that the walk came from. Whoever moves folders about
// during the walk thus stops it, but cannot lead it elsewhere.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

struct Level {
  std::string name;  // in the level above
  dev_t device = 0;
  ino_t serial = 0;
  std::vector<std::string> folders;  // below this one, still to be removed
};

// Opens a folder for reading, giving its owner the rights to empty it.
// Not that of another device: what is mounted there is somebody else's.
OwnedFile OpenToEmpty(int parent, const char* name, dev_t device, Level* level) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW;
  OwnedFile folder = OpenFolderAt(parent, name, kFlags);
  if (!folder && errno == EACCES &&
      fchmodat(parent, name, mode_t{0700}, AT_SYMLINK_NOFOLLOW) == 0) {
    folder = OpenFolderAt(parent, name, kFlags);
  }
  struct stat facts {};
  if (!folder || fstat(folder.Get(), &facts) != 0 || facts.st_dev != device) return {};
  constexpr mode_t kOwner = S_IRWXU;
  if ((facts.st_mode & kOwner) != kOwner) {
    // Without the right to do so the removals below fail, and that is reported.
    (void)fchmod(folder.Get(), (facts.st_mode & 07777) | kOwner);
  }
  level->name = name;
  level->device = facts.st_dev;
  level->serial = facts.st_ino;
  return folder;
}

bool IsFolderEntry(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat facts {};
  return fstatat(folder, entry.d_name, &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(facts.st_mode);
}

// Removes what is no folder and notes the folders.
bool RemoveEntries(int folder, std::vector<std::string>* folders) {
  OwnedFile copy(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const FolderStream list(copy ? fdopendir(copy.Get()) : nullptr);
  if (list) static_cast<void>(copy.Release());  // the stream's own from here on
  bool removed = true;
  const bool whole = VisitEntries(list, [&](const dirent& entry) {
    if (IsFolderEntry(folder, entry)) {
      folders->emplace_back(entry.d_name);
    } else if (unlinkat(folder, entry.d_name, 0) != 0 && errno != ENOENT) {
      removed = false;
    }
  });
  return whole && removed;
}

bool IsSameFolder(int folder, dev_t device, ino_t serial) {
  struct stat facts {};
  return fstat(folder, &facts) == 0 && facts.st_dev == device && facts.st_ino == serial;
}

bool RemoveFolder(const OwnedFile& top, const char* name) {
  struct stat above {};
  if (fstat(top.Get(), &above) != 0) return false;
  std::vector<Level> levels(1);
  OwnedFile current = OpenToEmpty(top.Get(), name, above.st_dev, &levels.back());
  if (!current) return false;
  bool removed = RemoveEntries(current.Get(), &levels.back().folders);
  while (!levels.empty()) {
    if (!levels.back().folders.empty()) {
      const std::string next = std::move(levels.back().folders.back());
      levels.back().folders.pop_back();
      Level level;
      OwnedFile below = OpenToEmpty(current.Get(), next.c_str(), above.st_dev, &level);
      if (!below) {
        removed = false;
        continue;
      }
      removed = RemoveEntries(below.Get(), &level.folders) && removed;
      levels.push_back(std::move(level));
      current = std::move(below);
      continue;
    }
    const std::string empty = std::move(levels.back().name);
    levels.pop_back();
    const dev_t device = levels.empty() ? above.st_dev : levels.back().device;
    const ino_t serial = levels.empty() ? above.st_ino : levels.back().serial;
    current = OpenFolderAt(current.Get(), "..", O_PATH);
    if (!current || !IsSameFolder(current.Get(), device, serial)) return false;
    removed = unlinkat(current.Get(), empty.c_str(), AT_REMOVEDIR) == 0 && removed;
  }
  return removed;
}

// Removes the folder or link `name`; a file of that name stays.
bool RemoveAt(const OwnedFile& parent, const char* name) {
  struct stat facts {};
  if (fstatat(parent.Get(), name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
  if (S_ISLNK(facts.st_mode)) return unlinkat(parent.Get(), name, 0) == 0;
  return S_ISDIR(facts.st_mode) && RemoveFolder(parent, name);
}

}  // namespace

bool DeleteTree(const std::string& path) {
  std::string native = NativePath(path);
  native.erase(native.find_last_not_of('/') + 1);
  const std::size_t slash = native.rfind('/');
  const std::string name = native.substr(slash == std::string::npos ? 0 : slash + 1);
  if (name.empty() || IsDots(name)) return false;
  const std::string parent = slash == std::string::npos ? "." : native.substr(0, slash + 1);
  const OwnedFile folder = OpenFolderAt(AT_FDCWD, parent.c_str(), O_PATH);
  if (!folder) return errno == ENOENT;
  return RemoveAt(folder, name.c_str());
}

bool DeleteTreeBelow(const std::string& root, const std::string& relative) {
  const std::string native = NativePath(relative);
  const std::string top = NativePath(root);
  if (top.empty() || native.empty() || native.front() == '/') return false;
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin < native.size();) {
    const std::size_t end = std::min(native.find('/', begin), native.size());
    if (end > begin) names.push_back(native.substr(begin, end - begin));
    if (end > begin && IsDots(names.back())) return false;
    begin = end + 1;
  }
  OwnedFile folder = OpenFolderAt(AT_FDCWD, top.c_str(), O_PATH);
  if (!folder) return errno == ENOENT;
  const std::string last = std::move(names.back());
  names.pop_back();
  for (const std::string& name : names) {
    folder = OpenFolderAt(folder.Get(), name.c_str(), O_PATH | O_NOFOLLOW);
    if (!folder) return errno == ENOENT;
  }
  return RemoveAt(folder, last.c_str());
}

}  // namespace Zef::Platform
