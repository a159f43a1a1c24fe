// The path operations of File: below a substitution when the path begins with the prefix of one,
// else on the operating system's files.

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/Subst.h"

namespace Zef {

namespace {

// A name taken apart: `inside` is false for a path of the operating system.
struct Target {
  explicit Target(const char* text) : path(text == nullptr ? std::string_view() : text) {
    inside = FindSubst(path, &subst, &path);
  }
  Target(const PString& name, const char* text)
      : subst(name), path(text == nullptr ? std::string_view() : text), inside(!name.IsEmpty()) {}
  std::string Native() const { return std::string(path); }

  PString subst;
  std::string_view path;
  bool inside;
};

SubstList& List() { return SubstList::Get(); }

FileStatus ExistsAt(const Target& target) {
  const bool exists =
      target.inside ? List().Exists(target.subst, target.path) : Platform::Exists(target.Native());
  return exists ? RES_OK : RES_FILENOTFOUND;
}

FileStatus IsReadOnlyAt(const Target& target) {
  bool readOnly = false;
  if (target.inside) {
    if (!List().GetReadOnly(target.subst, target.path, &readOnly)) return RES_FILENOTFOUND;
  } else {
    Platform::FileInfo info;
    if (!Platform::GetInfo(target.Native(), &info)) return RES_FILENOTFOUND;
    readOnly = info.readOnly;
  }
  return readOnly ? RES_FILEREADONLY : RES_OK;
}

bool GetTimeAt(const Target& target, std::uint32_t* time) {
  if (time == nullptr) return false;
  if (target.inside) return List().GetTime(target.subst, target.path, time);
  Platform::FileInfo info;
  if (!Platform::GetInfo(target.Native(), &info)) return false;
  *time = ClampToWord(info.written);
  return true;
}

bool DeleteAt(const Target& target) {
  return target.inside ? List().Delete(target.subst, target.path)
                       : Platform::DeleteFile(target.Native());
}

bool RenameAt(const Target& source, const Target& target) {
  // Nothing is moved between substitutions.
  if (source.inside != target.inside || !(source.subst == target.subst)) return false;
  return source.inside ? List().Rename(source.subst, source.path, target.path)
                       : Platform::Rename(source.Native(), target.Native());
}

bool MakeFolderAt(const Target& target) {
  return target.inside ? List().MakeFolder(target.subst, target.path)
                       : Platform::MakeFolders(target.Native());
}

bool DeleteFolderAt(const Target& target) {
  return target.inside ? List().DeleteFolder(target.subst, target.path)
                       : Platform::DeleteTree(target.Native());
}

bool SetReadOnlyAt(const Target& target, bool readOnly) {
  return target.inside ? List().SetReadOnly(target.subst, target.path, readOnly)
                       : Platform::SetReadOnly(target.Native(), readOnly);
}

}  // namespace

FileStatus File::Exists(const char* path, PString* substName) {
  const Target target(path);
  if (substName != nullptr) *substName = target.subst;
  return ExistsAt(target);
}

FileStatus File::IsReadOnly(const char* path) { return IsReadOnlyAt(Target(path)); }

bool File::GetTime(const char* path, std::uint32_t* time) { return GetTimeAt(Target(path), time); }

bool File::Delete(const char* path) { return DeleteAt(Target(path)); }

bool File::Rename(const char* from, const char* to) { return RenameAt(Target(from), Target(to)); }

bool File::MakeFolder(const char* path) { return MakeFolderAt(Target(path)); }

bool File::DeleteFolder(const char* path) { return DeleteFolderAt(Target(path)); }

bool File::SetReadOnly(const char* path, bool readOnly) {
  return SetReadOnlyAt(Target(path), readOnly);
}

FileStatus File::Exists(const PString& subst, const char* path) {
  return ExistsAt(Target(subst, path));
}

FileStatus File::IsReadOnly(const PString& subst, const char* path) {
  return IsReadOnlyAt(Target(subst, path));
}

bool File::GetTime(const PString& subst, const char* path, std::uint32_t* time) {
  return GetTimeAt(Target(subst, path), time);
}

bool File::Delete(const PString& subst, const char* path) { return DeleteAt(Target(subst, path)); }

bool File::Rename(const PString& subst, const char* from, const char* to) {
  return RenameAt(Target(subst, from), Target(subst, to));
}

bool File::MakeFolder(const PString& subst, const char* path) {
  return MakeFolderAt(Target(subst, path));
}

bool File::DeleteFolder(const PString& subst, const char* path) {
  return DeleteFolderAt(Target(subst, path));
}

bool File::SetReadOnly(const PString& subst, const char* path, bool readOnly) {
  return SetReadOnlyAt(Target(subst, path), readOnly);
}

}  // namespace Zef
