#include "database/AssetFolder.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <vector>

#include "database/MUKAsset.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/PopWord.h"
#include "kernel/standard/Subst.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;

AssetPlace Below(const std::string& root, std::string_view relative) {
  if (root.empty()) return {};
  return {{}, Zef::Platform::ResolveCase(root, relative)};
}

/// Whether the text of the record's install path and archive name may lead somewhere.
bool HasInstallPath(const MUKAsset& record) {
  const std::string_view path = record.installPath.View();
  const std::string_view archive = record.archiveName.View();
  return IsSafePath(path) && !Zef::IsRootedPath(path) && IsSafePath(archive) &&
         archive.find_first_of("/\\:") == std::string_view::npos;
}

/// Adds without running over.
void Count(FolderSize& size, std::uint64_t bytes) {
  size.bytes += std::min(bytes, std::numeric_limits<std::uint64_t>::max() - size.bytes);
}

void Measure(const FolderReader& folder, const FolderListing& listing, std::size_t depth,
             FolderSize& size) {
  FolderListing below;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    const char* const name = listing.Name(at);
    if (listing.Kind(at) == EntryKind::File) Count(size, folder.SizeOf(name));
    if (listing.Kind(at) != EntryKind::Folder) continue;
    const FolderReader child = depth < kDeepestAssetFolder ? folder.OpenFolder(name)  //
                                                           : FolderReader();
    if (child.IsOpen() && child.List(&below)) {
      Measure(child, below, depth + 1, size);
    } else {
      size.whole = false;
    }
  }
}

/// The same below a substitution.
void Measure(const Zef::PString& subst, const std::string& folder, std::size_t depth,
             FolderSize& size) {
  Zef::File::Find find;
  if (!find.Open(subst, (folder + "/*").c_str())) {
    size.whole = false;
    return;
  }
  while (find.Next()) {
    const Zef::FileEntry& entry = find.Entry();
    const std::string_view name = entry.name;
    if (name == "." || name == ".." || find.IsLink()) continue;
    if (!entry.IsFolder()) {
      Count(size, entry.size);
    } else if (depth < kDeepestAssetFolder) {
      Measure(subst, folder + "/" + entry.name, depth + 1, size);
    } else {
      size.whole = false;
    }
  }
}

enum class Found { Yes, No, NoSource };

/// Looks for a folder below a substitution.
Found Look(const AssetPlace& place) {
  std::vector<Zef::FileSub*> sources;
  static_cast<void>(Zef::SubstList::Get().Hold(place.subst, &sources));
  Found found = sources.empty() ? Found::NoSource : Found::No;
  for (Zef::FileSub* const source : sources) {
    if (found == Found::No && HasFolder(*source, place.path)) found = Found::Yes;
    source->ReleaseFile();
  }
  return found;
}

}  // namespace

bool IsSafePath(std::string_view path) {
  if (path.empty() || path.find('\0') != std::string_view::npos) return false;
  while (!path.empty()) {
    if (Zef::PopWord(path, Zef::FilePath::kSeparators) == "..") return false;
  }
  return true;
}

std::string PlaceText(const AssetPlace& place) {
  if (place.subst.IsNull()) return place.path;
  return std::string(place.subst.View()) + ":" + place.path;
}

AssetPlace LegacyPlace(const std::string& root, const MUKAsset& record) {
  const std::string_view path = record.legacyPath.View();
  if (!IsSafePath(path) || Zef::IsRootedPath(path)) return {};
  return Below(root, path);
}

AssetPlace InstallPlace(const std::string& root, const MUKAsset& record) {
  if (!HasInstallPath(record)) return {};
  const std::string archive = record.archiveName.String();
  const std::string path = record.installPath.String();
  if (archive == kLocalArchive) return Below(root, archive + "/" + path);
  Zef::PString name;
  if (!Zef::FindSubst(archive + ":", &name, nullptr)) return {};
  return {name, path};
}

bool IsArchiveUnmounted(const MUKAsset& record) {
  return HasInstallPath(record) && record.archiveName != kLocalArchive &&
         !Zef::FindSubst(record.archiveName.String() + ":", nullptr, nullptr);
}

AssetPlace EditPlace(const std::string& root, const MUKAsset& record) {
  const std::string_view path = record.editPath.View();
  if (!IsSafePath(path)) return {};
  Zef::PString name;
  std::string_view rest;
  if (Zef::FindSubst(path, &name, &rest)) return {name, std::string(rest)};
  if (Zef::Platform::IsRooted(path)) return {{}, std::string(path)};
  return Below(root, path);
}

AssetPlace AssetPlaceOf(const std::string& root, const MUKAsset& record) {
  if (!record.legacyPath.IsEmpty()) return LegacyPlace(root, record);
  if (!record.installPath.IsEmpty()) return InstallPlace(root, record);
  return EditPlace(root, record);
}

bool HasFolder(Zef::FileSub& source, const std::string& path) {
  const bool isRooted = !path.empty() && Zef::IsSeparator(path.front());
  const Zef::FilePath inside(std::string_view(path).substr(isRooted ? 1 : 0));
  Zef::FilePath onDisk = inside;
  const std::lock_guard guard(Zef::SubstList::Lock());
  if (inside.IsFull() || !source.IsAvailable()) return false;
  if (source.Qualify(onDisk)) return Zef::Platform::IsFolder(std::string(onDisk.View()));
  // Archives know files alone; their folders are what a search finds something in.
  return source.OpenSearch(inside, "*") != nullptr;
}

bool FolderExists(const AssetPlace& place) {
  if (place.subst.IsNull()) return !place.path.empty() && Zef::Platform::IsFolder(place.path);
  return Look(place) == Found::Yes;
}

bool FileExists(const AssetPlace& place) {
  if (place.subst.IsNull()) {
    Zef::Platform::FileInfo info;
    return Zef::Platform::GetInfoNoFollow(place.path, &info) && info.regular;
  }
  try {
    Zef::File::Find find;
    return find.Open(place.subst, place.path.c_str()) && find.Next() && !find.Entry().IsFolder() &&
           !find.IsLink();
  } catch (const Zef::Exception&) {  // the substitution went meanwhile
    return false;
  }
}

bool IsFolderGone(const AssetPlace& place) {
  if (!place.subst.IsNull()) return Look(place) == Found::No;
  if (place.path.empty()) return true;
  if (Zef::Platform::IsFolder(place.path)) return false;
  // What is there is no folder, or it is one by now.
  return Zef::Platform::IsGone(place.path) || Zef::Platform::Exists(place.path);
}

std::uint32_t FolderSize::Word() const {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(bytes, MUKAsset::kSizeUnknown - std::uint64_t{1}));
}

FolderSize MeasureAssetFolder(const AssetPlace& place) {
  FolderSize size;
  if (!FolderExists(place)) return size;
  if (!place.subst.IsNull()) {
    try {
      Measure(place.subst, place.path, 0, size);
    } catch (const Zef::Exception&) {  // the substitution went meanwhile
      size.whole = false;
    }
    return size;
  }
  const FolderReader folder(place.path);
  FolderListing listing;
  if (!folder.IsOpen() || !folder.List(&listing)) return {0, false};
  return MeasureOpenFolder(folder, listing);
}

FolderSize MeasureOpenFolder(const FolderReader& folder, const FolderListing& listing) {
  FolderSize size;
  Measure(folder, listing, 0, size);
  return size;
}
