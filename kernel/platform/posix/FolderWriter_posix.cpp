// Making entries in open folders.

#include "kernel/platform/FolderWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr mode_t kFolderMode = 0777;  // less what the process's mask takes away
constexpr mode_t kFileMode = 0666;

OwnedFile CreateNew(int folder, const char* name) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  return OwnedFile(Uninterrupted([&] { return openat(folder, name, kFlags, kFileMode); }));
}

bool RemoveFile(int folder, const char* name) {
  struct stat facts {};
  return fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(facts.st_mode) &&
         unlinkat(folder, name, 0) == 0;
}

}  // namespace

FolderWriter::FolderWriter(const std::string& path) {
  if (!MakeFolders(path)) return;
  handle_ = OpenFolderAt(AT_FDCWD, NativePath(path).c_str(), O_RDONLY);
}

FolderWriter FolderWriter::MakeFolder(const char* name) const {
  // One that stands is opened; whatever else has the name is not a folder.
  static_cast<void>(mkdirat(handle_.Get(), name, kFolderMode));
  return FolderWriter(OpenFolderAt(handle_.Get(), name, O_RDONLY | O_NOFOLLOW));
}

OwnedFile FolderWriter::CreateFile(const char* name) const {
  OwnedFile file = CreateNew(handle_.Get(), name);
  if (file || errno != EEXIST || !RemoveFile(handle_.Get(), name)) return file;
  return CreateNew(handle_.Get(), name);
}

bool MakeFoldersAsAbove(const std::string& path) {
  if (!MakeFolder(path)) return MakeFolders(path);
  const OwnedFile above = OpenFolderAt(AT_FDCWD, NativePath(path + "/..").c_str(), O_RDONLY);
  const OwnedFile made = OpenFolderAt(AT_FDCWD, NativePath(path).c_str(), O_RDONLY | O_NOFOLLOW);
  if (above && made) CopyPermissions(above.Get(), made.Get());
  return true;
}

}  // namespace Zef::Platform
