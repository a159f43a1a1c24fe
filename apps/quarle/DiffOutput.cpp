#include "apps/quarle/DiffOutput.h"

#include <algorithm>

#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/SetFile.h"
#include "kernel/platform/FileSystem.h"

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

bool BringToDevice(const std::string& path) {
  const Platform::OwnedFile file = Platform::OpenFile(path, {.write = true});
  return file && Platform::FlushFile(file.Get());
}

bool Delete(const std::string& path) {
  return Platform::IsGone(path) || Platform::DeleteFile(path);
}

}  // namespace

DiffOutput::DiffOutput(const std::string& set, const std::string& indexName)
    : indexName_(indexName), stem_(SetStem(set, indexName)), folder_(FolderOf(stem_)) {}

DiffOutput::~DiffOutput() {
  if (!place_.empty()) static_cast<void>(Platform::DeleteTree(place_));
  if (kept_) return;
  for (const std::string& folder : missing_) {
    static_cast<void>(Platform::RemoveEmptyFolder(folder));
  }
}

bool DiffOutput::Make() {
  for (const SetPart& part : kSetParts) {
    const std::string path = stem_ + part.extension;
    Platform::FileInfo info;
    const bool isFile = Platform::GetInfo(path, &info) && info.regular;
    if ((isFile && !info.readOnly) || Platform::IsGone(path)) continue;
    static_cast<void>(Fail("cannot replace the patch file " + Quoted(path) + ": it is " +
                           (isFile ? "read-only; make it writable" : "no file; move it away") +
                           " or choose another place for the set"));
    return false;
  }
  missing_ = MissingFolders(folder_);
  if (!Platform::MakeFolders(folder_)) {
    static_cast<void>(
        Fail("cannot make the folder " + Quoted(folder_) + "; choose another place for the set"));
    return false;
  }
  const std::string place = FreeName(folder_);
  if (Platform::MakeFolder(place)) {
    place_ = place;
    if (Platform::MakeFolders(FolderOf(SetStem(place_, indexName_)))) return true;
  }
  static_cast<void>(Fail("cannot write in the folder " + Quoted(folder_) +
                         "; check that it may be written and has room"));
  return false;
}

bool DiffOutput::Keep() {
  const std::string made = SetStem(place_, indexName_);
  const auto all = [](auto&& done) {
    return std::all_of(kSetParts.begin(), kSetParts.end(), done);
  };
  if (!all([&](const SetPart& part) { return BringToDevice(made + part.extension); })) return false;
  // From here until the last file stands the set lacks that one.
  if (!Delete(stem_ + kSetParts.back().extension)) return false;
  Platform::FlushFolder(folder_);
  kept_ = all([&](const SetPart& part) {
    return Platform::Replace(made + part.extension, stem_ + part.extension);
  });
  Platform::FlushFolder(folder_);
  return kept_;
}
