#include "database/DatabaseFiles.h"

#include <vector>

#include "database/MUKAssetIndex.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"

namespace {

bool Exists(const std::string& path) { return Zef::File::Exists(path.c_str()) == Zef::RES_OK; }

bool Delete(const std::string& path) { return Zef::File::Delete(path.c_str()); }

bool Rename(const std::string& from, const std::string& to) {
  return Zef::File::Rename(from.c_str(), to.c_str());
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
  if (root.empty() || Zef::IsRootedPath(root)) return root;
  const std::string current = Zef::Platform::CurrentFolder();
  return current.empty() ? std::string() : current + "/" + root;
}

std::string DatabaseFiles::Path(std::string_view relative) const {
  return plain_ ? Zef::Platform::ResolveCase(root_, relative) : root_ + std::string(relative);
}

DatabaseFiles::Stamp DatabaseFiles::MainStamp() const {
  Zef::Platform::FileInfo info;
  if (!enabled_ || !plain_ || !Zef::Platform::GetInfo(Main(), &info)) return {};
  return {info.device, info.serial, info.size, info.written};
}

bool DatabaseFiles::LoadMain(MUKAssetIndex& index) const { return enabled_ && index.Load(Main()); }

bool DatabaseFiles::LoadLeftover(MUKAssetIndex& index) const {
  if (!enabled_) return false;
  const bool unfinished = index.Load(Temporary());
  Step("recovery: unfinished write tried");
  if (!unfinished) return index.Load(Backup());
  Delete(Backup());
  Step("recovery: backup deleted");
  Rename(Temporary(), Backup());
  FlushFolders();
  Step("recovery: unfinished write renamed");
  return true;
}

void DatabaseFiles::BackUp() const {
  if (!enabled_ || !Exists(Main())) return;
  Zef::File::MakeFolder(Path("cache").c_str());
  Step("backup: folder made");
  Delete(Temporary());
  Step("backup: unfinished write deleted");
  Delete(Backup());
  Step("backup: old backup deleted");
  Rename(Main(), Backup());
  Step("backup: renamed");
  FlushFolders();
}

bool DatabaseFiles::Write(MUKAssetIndex& index) const {
  if (!enabled_) return true;
  Zef::File::MakeFolder(Path("cache").c_str());
  Step("write: folder made");
  // Without a backup the file of an earlier attempt may be all there is: the save replaces it.
  if (Exists(Backup())) Delete(Temporary());
  Step("write: unfinished write deleted");
  if (!index.Save(Temporary(), {.toDevice = true})) return false;
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

void DatabaseFiles::FlushFolders() const {
  if (!plain_) return;
  Zef::Platform::FlushFolder(root_);
  Zef::Platform::FlushFolder(Path("cache"));
}
