#include "apps/quarle/DiffOutput.h"

#include <algorithm>
#include <new>

#include "apps/quarle/FileCopy.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/SetFile.h"

namespace {

namespace Platform = Zef::Platform;

std::string FolderOf(const std::string& file) { return file.substr(0, file.find_last_of("/\\")); }

/// A folder and those above it that are not there, the deepest first.
std::vector<std::string> MissingFolders(std::string folder) {
  std::vector<std::string> missing;
  while (!folder.empty() && !Platform::Exists(folder)) {
    missing.push_back(folder);
    const std::size_t slash = folder.find_last_of("/\\");
    folder.erase(slash == std::string::npos ? 0 : slash);
  }
  return missing;
}

std::string FreeName(const std::string& folder) {
  const std::string first = folder + "/unfinished";
  std::string name = first;
  for (unsigned number = 2; !Platform::IsGone(name); ++number)
    name = first + std::to_string(number);
  return name;
}

/// Links are refused, as what they lead to may lie on another disk, where nothing is moved to.
std::string ObstacleToPart(const std::string& path) {
  Platform::FileInfo info;
  const bool isLink = Platform::GetInfoNoFollow(path, &info) && info.link;
  return isLink ? "it is a link; delete it" : Obstacle(path);
}

/// Gives what was made the permissions of the older file, and brings it to the device.
bool Complete(const std::string& made, const std::string& older) {
  const Platform::OwnedFile file = Platform::OpenFile(made, {.write = true});
  if (!file) return false;
  const Platform::OwnedFile model = Platform::OpenFile(older, {});
  if (model) Platform::CopyPermissions(model.Get(), file.Get());
  return Platform::FlushFile(file.Get());
}

bool Delete(const std::string& path) {
  return Platform::IsGone(path) || Platform::DeleteFile(path);
}

bool RefuseFolder(const std::string& folder) {
  static_cast<void>(Fail("cannot write in the folder " + Quoted(folder) +
                         "; check that it may be written and has room"));
  return false;
}

}  // namespace

DiffOutput::DiffOutput(const std::string& set, const std::string& indexName)
    : indexName_(indexName),
      stem_(SetStem(set, indexName)),
      folder_(FolderOf(stem_)),
      lockName_(folder_ + "/unfinished.lock") {}

DiffOutput::~DiffOutput() {
  try {
    if (!place_.empty()) static_cast<void>(Platform::DeleteTree(place_));
    if (lock_) static_cast<void>(Platform::DeleteFile(lockName_));
    if (kept_) return;
    for (const std::string& folder : missing_) {
      static_cast<void>(Platform::RemoveEmptyFolder(folder));
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): as if it had been killed
  }
}

bool DiffOutput::Make() {
  for (const SetPart& part : kSetParts) {
    const std::string path = stem_ + part.extension;
    const std::string obstacle = ObstacleToPart(path);
    if (obstacle.empty()) continue;
    static_cast<void>(Fail("cannot replace the patch file " + Quoted(path) + ": " + obstacle +
                           " or choose another place for the set"));
    return false;
  }
  missing_ = MissingFolders(folder_);
  if (!Platform::MakeFolders(folder_)) {
    static_cast<void>(
        Fail("cannot make the folder " + Quoted(folder_) + "; choose another place for the set"));
    return false;
  }
  if (!Lock()) return false;
  const std::string place = FreeName(folder_);
  if (Platform::MakeFolder(place)) {
    place_ = place;
    if (Platform::MakeFolders(FolderOf(SetStem(place_, indexName_)))) return true;
  }
  return RefuseFolder(folder_);
}

bool DiffOutput::Lock() {
  Platform::OpenError error{};
  lock_ = Platform::OpenFile(
      lockName_,
      {.creation = Platform::Creation::OpenOrCreate, .sharing = Platform::Sharing::DenyAll},
      &error);
  if (lock_) return true;
  if (error != Platform::OpenError::Refused || !Platform::MayChangeFolder(folder_)) {
    return RefuseFolder(folder_);
  }
  static_cast<void>(
      Fail("another program makes a set in " + Quoted(folder_) + "; try again when it is done"));
  return false;
}

bool DiffOutput::Keep() {
  const std::string made = SetStem(place_, indexName_);
  const auto all = [](auto&& done) {
    return std::all_of(kSetParts.begin(), kSetParts.end(), done);
  };
  const bool complete = all(
      [&](const SetPart& part) { return Complete(made + part.extension, stem_ + part.extension); });
  if (!complete) return false;
  // From here until the last file stands the set lacks that one.
  if (!Delete(stem_ + kSetParts.back().extension)) return false;
  Platform::FlushFolder(folder_);
  kept_ = all([&](const SetPart& part) {
    return Platform::Replace(made + part.extension, stem_ + part.extension);
  });
  Platform::FlushFolder(folder_);
  return kept_;
}
