#include "kernel/standard/FileSubPath.h"

#include <algorithm>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"

namespace Zef {

namespace {

constexpr std::string_view kSeparators = FilePath::kSeparators;

std::string WithoutTrailingSeparators(const std::string& folder) {
  const std::size_t last = folder.find_last_not_of(kSeparators);
  return last == std::string::npos ? folder.substr(0, 1) : folder.substr(0, last + 1);
}

/// Takes "." and ".." out of a path by its text alone: on disk ".." behind a link leads out of the
/// source. False for a path that leaves the folder it starts in at any point.
bool FoldDots(std::string_view path, std::string* folded) {
  while (!path.empty()) {
    const std::size_t end = path.find_first_of(kSeparators);
    const std::string_view component = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (folded->empty()) return false;
      folded->pop_back();
      folded->resize(folded->rfind('/') + 1);  // to nothing without another separator
      continue;
    }
    folded->append(component);
    // What stands before a separator or "." has to be a folder.
    if (end != std::string_view::npos) folded->push_back('/');
  }
  return true;
}

std::string ParentOf(const std::string& path) {
  const std::size_t separator = path.rfind('/');
  if (separator == std::string::npos) return {};
  return path.substr(0, std::max<std::size_t>(separator, 1));  // the parent of "/x" is "/"
}

}  // namespace

FileSubPath::FileSubPath(const char* target, bool readOnly)
    : target_(target),
      folder_(WithoutTrailingSeparators(target_)),
      readOnly_(readOnly),
      available_(Platform::IsFolder(folder_)) {}

/// Path on disk; empty, which exists nowhere, for a path that is cut or climbs out.
std::string FileSubPath::Locate(const FilePath& path) const {
  std::string inside;
  if (path.IsFull() || !FoldDots(path.View(), &inside)) return {};
  return Platform::ResolveCase(folder_, inside);
}

bool FileSubPath::Open(File& file, const FilePath& path, std::uint32_t mode) {
  File::Opened opened;
  opened.name = Locate(path);
  const bool creates = (mode & FileMode::kCreateMask) != 0;
  if (readOnly_ && (creates || (mode & FileMode::kWriteMask) != 0)) return false;
  if (creates && !Platform::MakeFolders(ParentOf(opened.name))) return false;
  opened.handle = Platform::OpenFile(opened.name, File::SystemOptions(mode)).Release();
  if (opened.handle == Platform::kNoFile) return false;
  available_ = true;
  opened.source = this;
  file.Adopt(std::move(opened));
  return true;
}

bool FileSubPath::OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) {
  return Open(file, path, mode);
}

bool FileSubPath::OpenForRead(File& file, const FilePath& path, std::uint32_t mode) {
  return Open(file, path, mode);
}

void FileSubPath::CloseFile(File& file) { file.FinishOnDisk(); }

bool FileSubPath::Exists(const FilePath& path) { return Platform::Exists(Locate(path)); }

bool FileSubPath::Delete(const FilePath& path) { return Platform::DeleteFile(Locate(path)); }

bool FileSubPath::DeleteFolder(const FilePath& path) {
  const std::string full = Locate(path);
  const std::size_t inside = full.find_first_not_of('/', std::min(folder_.size(), full.size()));
  return inside != std::string::npos && Platform::DeleteTreeBelow(folder_, full.substr(inside));
}

bool FileSubPath::Rename(const FilePath& from, const FilePath& to) {
  FilePath target = to;
  target.StripTrailingPart();
  const std::string oldName = Locate(from);
  std::string newName = Locate(target);
  if (from.IsEmpty() || target.IsEmpty() || oldName.empty() || newName.empty()) return false;
  if (newName == oldName) {
    // The only entry the new name can be found as is the old one: a change of letter case.
    const std::string_view text = target.View();
    const std::size_t last = text.find_last_of(kSeparators);
    newName = ParentOf(newName) + "/";
    newName += text.substr(last == std::string_view::npos ? 0 : last + 1);
  }
  return Platform::Rename(oldName, newName);
}

bool FileSubPath::MakeFolder(const FilePath& path) {
  const std::string full = WithoutTrailingSeparators(Locate(path));
  if (!Platform::MakeFolders(full)) return false;
  available_ = true;
  return true;
}

bool FileSubPath::Qualify(FilePath& path) {
  const std::string full = Locate(path);
  const FilePath result(full);
  if (result.IsFull() || !Platform::Exists(full)) return false;
  path = result;
  return true;
}

bool FileSubPath::GetTime(std::uint32_t* time, const FilePath& path) {
  Platform::FileInfo info;
  if (!Platform::GetInfo(Locate(path), &info)) return false;
  *time = ClampToWord(info.written);
  return true;
}

bool FileSubPath::SetReadOnly(const FilePath& path, bool readOnly) {
  return Platform::SetReadOnly(Locate(path), readOnly);
}

bool FileSubPath::GetReadOnly(const FilePath& path, bool* readOnly) {
  Platform::FileInfo info;
  if (!Platform::GetInfo(Locate(path), &info)) return false;
  *readOnly = readOnly_ || info.readOnly;
  return true;
}

std::unique_ptr<FileSubSearch> FileSubPath::OpenSearch(const FilePath& folder,
                                                       const char* wildcard) {
  const std::string full = Locate(folder);
  return full.empty() ? nullptr : SearchFolder(full, wildcard);
}

}  // namespace Zef
