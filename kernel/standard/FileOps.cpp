// The path operations of File: below a substitution when the path begins with the prefix of one,
// else on the operating system's files.

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/Subst.h"

namespace Zef {

namespace {

// A name taken apart: `subst` is null for a path of the operating system.
struct Target {
  explicit Target(const char* text) : path(text == nullptr ? std::string_view() : text) {
    inside = FindSubst(path, &subst, &path);
  }
  std::string Native() const { return std::string(path); }

  PString subst;
  std::string_view path;
  bool inside;
};

SubstList& List() { return SubstList::Get(); }

}  // namespace

FileStatus File::Exists(const char* path) {
  const Target target(path);
  const bool exists =
      target.inside ? List().Exists(target.subst, target.path) : Platform::Exists(target.Native());
  return exists ? RES_OK : RES_FILENOTFOUND;
}

FileStatus File::IsReadOnly(const char* path) {
  const Target target(path);
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

bool File::GetTime(const char* path, std::uint32_t* time) {
  const Target target(path);
  if (target.inside) return List().GetTime(target.subst, target.path, time);
  Platform::FileInfo info;
  if (!Platform::GetInfo(target.Native(), &info)) return false;
  *time = ClampToWord(info.written);
  return true;
}

bool File::Delete(const char* path) {
  const Target target(path);
  return target.inside ? List().Delete(target.subst, target.path)
                       : Platform::DeleteFile(target.Native());
}

bool File::Rename(const char* from, const char* to) {
  const Target source(from);
  const Target target(to);
  // Nothing is moved between substitutions.
  if (source.inside != target.inside || !(source.subst == target.subst)) return false;
  return source.inside ? List().Rename(source.subst, source.path, target.path)
                       : Platform::Rename(source.Native(), target.Native());
}

bool File::MakeFolder(const char* path) {
  const Target target(path);
  return target.inside ? List().MakeFolder(target.subst, target.path)
                       : Platform::MakeFolders(target.Native());
}

bool File::DeleteFolder(const char* path) {
  const Target target(path);
  return target.inside ? List().DeleteFolder(target.subst, target.path)
                       : Platform::DeleteTree(target.Native());
}

bool File::SetReadOnly(const char* path, bool readOnly) {
  const Target target(path);
  return target.inside ? List().SetReadOnly(target.subst, target.path, readOnly)
                       : Platform::SetReadOnly(target.Native(), readOnly);
}

}  // namespace Zef
