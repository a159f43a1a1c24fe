#include "apps/quarle/ArchiveFiles.h"

#include <unordered_map>

#include "apps/quarle/Output.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"

namespace {

using namespace Zef;

bool Refuse(const std::string& path, const std::string& why) {
  static_cast<void>(Fail(Quoted(path) + ": " + why));
  return false;
}

/// What a create leaves that was killed before its first file was whole.
bool HasNoFiles(const std::string& path) {
  FileSubArchive archive(path.c_str(), /*readOnly=*/true);
  return archive.IsAvailable() && archive.FileCount() == 0 && archive.IsReadWhole() &&
         !archive.DamagedAt();
}

bool CheckPlace(const std::string& path, MountedArchive::Access access) {
  const bool creates = access == MountedArchive::Access::Create;
  Platform::FileInfo info;
  if (!Platform::GetInfo(path, &info)) {
    if (!creates)
      return Refuse(path, "there is no such archive; make one with quarle archive create");
    return !Platform::GetInfoNoFollow(path, &info) ||
           Refuse(path, "it is a link to nothing; delete it or take another name");
  }
  if (info.folder) return Refuse(path, "it is a folder; name an archive");
  const bool isEmpty = info.regular && info.size == 0;  // a create that was killed as it began
  if (creates) {
    return isEmpty || (info.regular && HasNoFiles(path)) ||
           Refuse(path,
                  "it exists already; take another name or quarle archive add, or delete it if an "
                  "interrupted create left it");
  }
  return !isEmpty || Refuse(path, "it is empty; quarle archive create makes it an archive");
}

bool RefuseUnwritable(const std::string& path) {
  return Refuse(path,
                "it cannot be written; check that it and its folder may be written and have room");
}

/// As long as it is held no other command changes the archive. No handle, with the failure's line
/// printed, when one does.
Platform::OwnedFile LockForChange(const std::string& path, MountedArchive::Access access) {
  Platform::OpenOptions options{.write = true, .sharing = Platform::Sharing::DenyAll};
  if (access == MountedArchive::Access::Create) {
    options.creation = Platform::Creation::OpenOrCreate;
  }
  Platform::OwnedFile lock = Platform::OpenFile(path, options);
  if (lock) return lock;
  const Platform::OwnedFile unlocked = Platform::OpenFile(path, {.write = true});
  if (unlocked) {
    static_cast<void>(Refuse(path, "another program changes it; try again when it is done"));
  } else {
    static_cast<void>(RefuseUnwritable(path));
  }
  return {};
}

/// What cannot be read now would be lost by a change.
bool CheckContent(const std::string& path, FileSubArchive& source) {
  if (!source.IsReadWhole()) {
    return Refuse(path, "the disk cannot read all of it; nothing was changed, try again");
  }
  const auto damage = source.DamagedAt();
  return !damage || Refuse(path, "it is damaged at byte " + std::to_string(*damage) +
                                     "; extract what is whole and make a new archive of it");
}

/// Collects without recursion, so that no depth of folders exhausts the stack.
class Collector {
 public:
  Collector(std::string folder, ArchiveInputs& inputs)
      : folder_(std::move(folder)), inputs_(inputs) {}

  void LeaveOut(const std::string& archive) { hasArchive_ = Platform::GetInfo(archive, &archive_); }

  /// What the user names may be a link, what a folder holds may not.
  bool Add(const std::string& text) {
    FilePath name(text);
    name.Normalise();
    const std::string_view path = name.View();
    const bool climbs = path == ".." || path.starts_with("../");
    if (StartsAtRoot(text) || climbs || name.IsFull()) {
      return Refuse(text,
                    "no name for a file in an archive; give the folder with -C and a name "
                    "of less than 259 bytes below it");
    }
    Platform::FileInfo info;
    if (!Platform::GetInfo(PathOf(name.Text()), &info)) {
      return Refuse(PathOf(text), "there is no such file or folder; check its name");
    }
    if (!info.folder && !info.regular) return Refuse(PathOf(text), "it is no file and no folder");
    return Take(name.Text(), info) && AddFolders();
  }

 private:
  std::string PathOf(const std::string& name) const {
    if (name.empty()) return folder_.empty() ? "." : folder_;
    return folder_.empty() ? name : folder_ + "/" + name;
  }

  bool Take(const std::string& name, const Platform::FileInfo& info) {
    if (info.folder) {
      folders_.push_back(name);
      return true;
    }
    if (hasArchive_ && info.IsSameFile(archive_)) return true;
    if (FilePath(name).IsFull()) {
      return Refuse(name, "its name is too long for an archive, which takes 258 bytes");
    }
    if (StartsAtRoot(name)) return Refuse(name, "no archive takes a name like that of a drive");
    const std::string key = ArchiveTable::KeyOf(name);
    const auto [taken, isNew] = names_.try_emplace(key, name);
    if (!isNew && taken->second == name) return true;
    const std::string clash =
        isNew ? FindClash(key, name) : "it has the name of " + Quoted(taken->second);
    if (!clash.empty()) {
      return Refuse(PathOf(name), "in an archive " + clash +
                                      ", for letter case does not count; rename one of them");
    }
    inputs_.files.push_back({PathOf(name), name, info.size});
    inputs_.bytes += info.size;
    return true;
  }

  /// How a new file and another one would need one name for a file and a folder; empty if not.
  std::string FindClash(const std::string& key, const std::string& name) {
    const auto folder = above_.find(key);
    if (folder != above_.end()) return "it has the name of the folder " + Quoted(folder->second);
    for (std::size_t at = key.rfind('/'); at != key.npos && at > 0; at = key.rfind('/', at - 1)) {
      const std::string above = key.substr(0, at);
      const auto file = names_.find(above);
      if (file != names_.end()) return "its folder has the name of " + Quoted(file->second);
      // Those further up are known with it.
      if (!above_.try_emplace(above, name.substr(0, at)).second) break;
    }
    return {};
  }

  /// What a folder holds.
  bool TakeFound(const std::string& folder, const std::string& name) {
    const std::string whole = folder.empty() ? name : folder + "/" + name;
    if (name.find('\\') != std::string::npos) {
      return Refuse(PathOf(whole), "its name holds '\\', which separates folders; rename it");
    }
    Platform::FileInfo info;
    if (!Platform::GetInfoNoFollow(PathOf(whole), &info)) {
      return Refuse(PathOf(whole), "it cannot be looked at; check the permissions of its folder");
    }
    if (info.folder || info.regular) return Take(whole, info);
    ++(info.link ? inputs_.links : inputs_.specials);
    return true;
  }

  bool AddFolders() {
    while (!folders_.empty()) {
      const std::string folder = std::move(folders_.back());
      folders_.pop_back();
      std::vector<std::string> names;
      if (!Platform::ListFolder(PathOf(folder), &names)) {
        return Refuse(PathOf(folder), "this folder cannot be read; check its permissions");
      }
      for (const std::string& each : names) {
        if (!TakeFound(folder, each)) return false;
      }
    }
    return true;
  }

  const std::string folder_;
  ArchiveInputs& inputs_;
  std::vector<std::string> folders_;
  std::unordered_map<std::string, std::string> names_;  // of the files, by their keys
  std::unordered_map<std::string, std::string> above_;  // of the folders that they lie in
  Platform::FileInfo archive_;
  bool hasArchive_ = false;
};

}  // namespace

MountedArchive::~MountedArchive() {
  if (source_ != nullptr) Subst(name_, nullptr, false);
}

bool MountedArchive::Open(const std::string& path, Access access) {
  if (!CheckPlace(path, access)) return false;
  path_ = path;
  if (access != Access::Read) {
    lock_ = LockForChange(path, access);
    // Another command may have ended since the place was looked at.
    if (!lock_ || !CheckPlace(path, access)) return false;
    const bool creates = access == Access::Create;
    if (creates && !Platform::SetFileSize(lock_.Get(), 0)) return RefuseUnwritable(path);
  }
  std::unique_ptr<FileSubArchive> source;
  try {
    source = std::make_unique<FileSubArchive>(path.c_str(), access == Access::Read);
  } catch (const FileEx&) {
    return RefuseUnwritable(path);
  }
  if (!source->IsAvailable()) {
    return Refuse(path,
                  "it cannot be read, or is no archive of version 257 or 258; check its name and "
                  "that you may read it");
  }
  if (access != Access::Read && !CheckContent(path, *source)) return false;
  source_ = source.get();
  SubstList::Get().Add(name_, std::move(source));
  return true;
}

bool MountedArchive::Finish() {
  return source_->WriteIndex() ||
         Refuse(path_, "its index cannot be written; make room on the disk and add to it again");
}

void MountedArchive::Discard() {
  Subst(name_, nullptr, false);
  source_ = nullptr;
  Platform::FileInfo info;
  if (Platform::GetInfoNoFollow(path_, &info) && info.link) {
    static_cast<void>(Platform::SetFileSize(lock_.Get(), 0));  // as what it leads to was
  } else {
    static_cast<void>(Platform::DeleteFile(path_));
  }
}

bool MountedArchive::HasFolder(const std::string& name) const {
  FilePath folder(name);
  folder.Normalise();
  return !folder.IsEmpty() && source_->OpenSearch(folder, "*") != nullptr;
}

bool MountedArchive::Has(const std::string& name) const {
  return File::Exists(name_, name.c_str()) == RES_OK || HasFolder(name);
}

std::string MountedArchive::Obstacle(const std::string& name) const {
  const auto isFile = [&](const std::string& text) {
    return File::Exists(name_, text.c_str()) == RES_OK;
  };
  if (isFile(name)) return {};
  if (HasFolder(name)) return Quoted(name) + " is a folder there";
  FilePath path(name);
  path.Normalise();
  const std::string_view text = path.View();
  for (std::size_t at = text.find('/'); at != text.npos; at = text.find('/', at + 1)) {
    const std::string folder(text.substr(0, at));
    if (isFile(folder)) return Quoted(folder) + " is a file there";
  }
  return {};
}

bool CollectInputs(const std::string& folder, const std::vector<std::string>& names,
                   const std::string& archive, ArchiveInputs* inputs) {
  Collector collector(folder, *inputs);
  collector.LeaveOut(archive);
  for (const std::string& name : names) {
    if (!collector.Add(name)) return false;
  }
  return true;
}
