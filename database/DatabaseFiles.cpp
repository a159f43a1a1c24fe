#include "database/DatabaseFiles.h"

#include <algorithm>
#include <vector>

#include "database/MUKAssetIndex.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderWriter.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"

namespace {

bool Exists(const std::string& path) { return Zef::File::Exists(path.c_str()) == Zef::RES_OK; }

bool Delete(const std::string& path) { return Zef::File::Delete(path.c_str()); }

bool Rename(const std::string& from, const std::string& to) {
  return Zef::File::Rename(from.c_str(), to.c_str());
}

/// True when the file opens as plain bytes, whatever they are.
bool OpensRaw(const std::string& path) {
  Zef::File file;
  return file.Open(path.c_str(), Zef::FileMode::kReadRaw) == Zef::RES_OK;
}

/// Renames a file to the first free of a few names. False, with the file in place, without one.
bool SetAside(const std::string& path) {
  for (char digit = '1'; digit <= '9'; ++digit) {
    const std::string aside = path + ".unread" + digit;
    if (!Exists(aside)) return Rename(path, aside);
  }
  return false;
}

bool EndsInSeparator(std::string_view path) {
  return !path.empty() && (path.back() == '/' || path.back() == '\\' || path.back() == ':');
}

}  // namespace

DatabaseFiles::DatabaseFiles(std::string_view root, StepObserver observer)
    : root_(root),
      enabled_(Zef::IsRootedPath(root)),
      plain_(Zef::Platform::IsRooted(root)),
      observer_(observer) {
  if (!EndsInSeparator(root_)) root_ += '/';
}

std::string DatabaseFiles::AbsoluteRoot(const std::string& root) {
  if (root.empty()) return root;
  std::string plain = root;
  Zef::PString name;
  std::string_view rest;
  if (Zef::FindSubst(root, &name, &rest)) {
    Zef::SubstList& list = Zef::SubstList::Get();
    Zef::FilePath folder(rest);
    if (!list.Qualify(name, folder)) {
      if (!list.MakeFolder(name, rest) || !list.Qualify(name, folder)) return root;
    }
    plain = folder.View();
  }
  std::replace(plain.begin(), plain.end(), '\\', '/');
  if (Zef::Platform::IsRooted(plain)) return plain;
  const std::string current = Zef::Platform::CurrentFolder();
  return current.empty() ? std::string() : current + "/" + plain;
}

std::string DatabaseFiles::Path(std::string_view relative) const {
  return plain_ ? Zef::Platform::ResolveCase(root_, relative) : root_ + std::string(relative);
}

DatabaseFiles::Stamp DatabaseFiles::MainStamp() const {
  Zef::Platform::FileInfo info;
  if (!enabled_ || !plain_ || !Zef::Platform::GetInfo(Main(), &info)) return {};
  return {info.device, info.serial, info.size, info.written};
}

bool DatabaseFiles::MainExists() const { return enabled_ && Exists(Main()); }

DatabaseFiles::Outcome DatabaseFiles::Load(MUKAssetIndex& index, const std::string& path) const {
  IndexLoadReport report;
  if (index.Load(path, &report)) return Outcome::Loaded;
  if (report.damage == IndexDamage::CannotOpen) {
    if (!Exists(path)) return Outcome::NotWhole;
    if (!OpensRaw(path)) return Outcome::Unreadable;
    // Damaged in its compressed form, unless what kept it shut has just ended.
    if (index.Load(path, &report)) return Outcome::Loaded;
  }
  const bool mayBeWhole =
      report.damage == IndexDamage::CannotOpen || report.damage == IndexDamage::ReadError;
  if (!mayBeWhole) return Outcome::NotWhole;
  // It would fail again: the database goes on without the file, but keeps it.
  return SetAside(path) ? Outcome::NotWhole : Outcome::Unreadable;
}

DatabaseFiles::Outcome DatabaseFiles::LoadMain(MUKAssetIndex& index) {
  isSavedUnnamed_ = false;
  return enabled_ ? Load(index, Main()) : Outcome::NotWhole;
}

DatabaseFiles::Outcome DatabaseFiles::LoadLeftover(MUKAssetIndex& index) const {
  if (!enabled_) return Outcome::NotWhole;
  const Outcome unfinished = Load(index, Temporary());
  Step("recovery: unfinished write tried");
  if (unfinished == Outcome::Unreadable) return unfinished;
  if (unfinished == Outcome::NotWhole) return Load(index, Backup());
  Delete(Backup());
  Step("recovery: backup deleted");
  Rename(Temporary(), Backup());
  FlushFolders();
  Step("recovery: unfinished write renamed");
  return Outcome::Loaded;
}

bool DatabaseFiles::BackUp() const {
  if (!MainExists()) return true;
  MakeCache();
  Step("backup: folder made");
  if (!isSavedUnnamed_) Delete(Temporary());
  Step("backup: unfinished write deleted");
  Delete(Backup());
  Step("backup: old backup deleted");
  const bool isMoved = Rename(Main(), Backup());
  if (!isMoved) Zef::Trace("BackUp> cannot move \"%s\" away\n", Main().c_str());
  Step("backup: renamed");
  if (isMoved) FlushFolders();
  return isMoved;
}

bool DatabaseFiles::Write(MUKAssetIndex& index) {
  if (!enabled_) return true;
  MakeCache();
  Step("write: folder made");
  // The file of an earlier attempt may be all there is: the save replaces it when it is whole.
  const std::string model = MainExists() ? Main() : Backup();
  if (!index.Save(Temporary(), {.toDevice = true, .rightsOf = model})) return false;
  isSavedUnnamed_ = true;
  FlushFolders();
  Step("write: saved");
  if (Exists(Main()) && !Delete(Main())) {
    Zef::Trace("MUKThread_WriteDatabaseLocal> Unlink(\"%s\") failed\n", Main().c_str());
  }
  Step("write: old file deleted");
  if (!Rename(Temporary(), Main())) {
    Zef::Trace("MUKThread_WriteDatabaseLocal> Rename(\"%s\", \"%s\") failed\n", Temporary().c_str(),
               Main().c_str());
    return false;
  }
  isSavedUnnamed_ = false;
  FlushFolders();
  Step("write: renamed");
  return true;
}

void DatabaseFiles::RemoveEmptyEditFolders() const {
  if (!enabled_ || !plain_) return;
  const std::string folder = Path("editing") + "/";
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(folder, &names)) return;
  for (const std::string& name : names) {
    // Fails for whatever has entries or is no folder.
    static_cast<void>(Zef::Platform::RemoveEmptyFolder(folder + name));
  }
}

void DatabaseFiles::MakeCache() const {
  const std::string cache = Path("cache");
  static_cast<void>(plain_ ? Zef::Platform::MakeFoldersAsAbove(cache)
                           : Zef::File::MakeFolder(cache.c_str()));
}

void DatabaseFiles::FlushFolders() const {
  if (!plain_) return;
  Zef::Platform::FlushFolder(root_);
  Zef::Platform::FlushFolder(Path("cache"));
}
