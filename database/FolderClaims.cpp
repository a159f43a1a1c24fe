#include "database/FolderClaims.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "database/AssetConfig.h"
#include "database/AssetUpdate.h"
#include "database/ConfigReader.h"
#include "database/ConfinedMove.h"
#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Subst.h"

namespace {

constexpr int kFewestParts = 2;  // below the product root
constexpr const char* kTop = "/";

/// The parts of a path that is written in two pieces.
class PathParts {
 public:
  PathParts(std::string_view head, std::string_view tail) : left_(head), tail_(tail) {}

  /// Empty at the end.
  std::string_view Next() {
    for (;;) {
      if (left_.empty()) left_ = std::exchange(tail_, {});
      if (left_.empty()) return {};
      const std::string_view part =
          left_.substr(0, left_.find_first_of(Zef::FilePath::kSeparators));
      left_.remove_prefix(std::min(part.size() + 1, left_.size()));
      if (!part.empty() && part != ".") return part;
    }
  }
  int Count() {
    int count = 0;
    while (!Next().empty()) ++count;
    return count;
  }

 private:
  std::string_view left_;
  std::string_view tail_;
};

/// Whether two paths that differ in letter case alone lead to two folders, so many parts behind
/// `base`. Without a base nobody looks.
bool AreTwins(const std::string& base, PathParts first, PathParts second, int parts) {
  if (base.empty()) return false;
  std::string a;
  std::string b;
  for (; parts > 0; --parts) {
    a.append("/").append(first.Next());
    b.append("/").append(second.Next());
  }
  a = Zef::Platform::ResolveCase(base, a);
  b = Zef::Platform::ResolveCase(base, b);
  return Zef::Platform::Exists(a) && Zef::Platform::Exists(b) && !IsSameFolder({{}, a}, {{}, b});
}

/// What a path of at least so many parts claims of a folder; both begin at `base`.
FolderClaims ClaimOf(const std::string& base, PathParts claim, PathParts folder, int fewest) {
  const PathParts wholeClaim = claim;
  const PathParts wholeFolder = folder;
  bool isExact = true;
  for (int parts = 0;; ++parts) {
    const std::string_view a = claim.Next();
    const std::string_view b = folder.Next();
    if (a.empty() || b.empty()) {
      if (!isExact && AreTwins(base, wholeClaim, wholeFolder, parts)) return {};
      return a.empty() ? FolderClaims{parts >= fewest, false} : FolderClaims{false, true};
    }
    if (!Zef::EqualFolded(a, b)) return {};
    isExact = isExact && a == b;
  }
}

std::string Canonical(const std::string& path) {
  std::string canonical = Zef::Platform::CanonicalPath(path);
  return canonical.empty() ? path : canonical;
}

/// Folders on disk that a substitution stands for, by their canonical paths.
std::vector<std::string> FoldersOf(std::string_view archive) {
  std::vector<std::string> folders;
  Zef::PString name;
  std::string_view rest;
  if (!Zef::FindSubst(std::string(archive) + ":", &name, &rest) || !rest.empty()) return folders;
  std::vector<Zef::FileSub*> sources;
  if (!Zef::SubstList::Get().Hold(name, &sources)) return folders;
  for (Zef::FileSub* const source : sources) {
    Zef::FilePath path;
    const std::lock_guard guard(Zef::SubstList::Lock());
    if (source->Qualify(path)) folders.push_back(Canonical(std::string(path.View())));
    source->ReleaseFile();
  }
  return folders;
}

/// A folder on disk, to hold the paths of records against.
class AskedFolder {
 public:
  AskedFolder(const std::string& root, const AssetPlace& folder) : root_(root) {
    const AssetPlace place = OnDisk(root, folder, false);
    if (!place.subst.IsNull() || place.path.empty()) return;
    const std::string top = Canonical(root);
    canonical_ = Canonical(place.path);
    below_ = PathBelow(root, place.path);
    const bool isBelow = !PathBelow(top, canonical_).empty();
    if (below_.empty()) below_ = PathBelow(top, canonical_);
    fewest_ = kFewestParts + (isBelow ? PathParts(top, {}).Count() : 0);
  }

  bool IsNowhere() const { return canonical_.empty(); }

  FolderClaims ClaimToEdit(const MUKAsset& record) const {
    const std::string_view path = record.editPath.View();
    if (!IsSafePath(path)) return {};
    Zef::PString name;
    std::string_view rest;
    if (Zef::FindSubst(path, &name, &rest)) return ClaimBySubst(name.View(), rest);
    if (!Zef::Platform::IsRooted(path)) return ClaimBelow({}, path);
    const std::string canonical = Canonical(std::string(path));
    return ClaimOf(kTop, {canonical, {}}, {canonical_, {}}, fewest_);
  }
  FolderClaims ClaimToCommitted(const MUKAsset& record) const {
    FolderClaims claims;
    if (IsBelow(record.legacyPath.View())) claims = ClaimBelow({}, record.legacyPath.View());
    const std::string_view path = record.installPath.View();
    if (!IsBelow(path)) return claims;
    const bool isLocal = record.archiveName == kLocalArchive;
    const FolderClaims installed =
        isLocal ? ClaimBelow(kLocalArchive, path) : ClaimBySubst(record.archiveName.View(), path);
    return {claims.around || installed.around, claims.within || installed.within};
  }

 private:
  /// Other paths of committed files lead nowhere.
  static bool IsBelow(std::string_view path) {
    return IsSafePath(path) && !Zef::IsRootedPath(path);
  }
  FolderClaims ClaimBelow(std::string_view head, std::string_view path) const {
    if (below_.empty()) return {};
    return ClaimOf(root_, {head, path}, {below_, {}}, kFewestParts);
  }
  FolderClaims ClaimBySubst(std::string_view archive, std::string_view path) const {
    const auto [at, isNew] = folders_.try_emplace(std::string(archive));
    if (isNew) at->second = FoldersOf(archive);
    FolderClaims claims;
    for (const std::string& folder : at->second) {
      const FolderClaims one = ClaimOf(kTop, {folder, path}, {canonical_, {}}, fewest_);
      claims.around |= one.around;
      claims.within |= one.within;
    }
    return claims;
  }

  const std::string& root_;
  std::string below_;      // the product root, in the spelling of the place; empty outside
  std::string canonical_;  // empty: nowhere on disk
  int fewest_ = 0;
  mutable std::unordered_map<std::string, std::vector<std::string>> folders_;  // by archive
};

}  // namespace

AssetPlace OnDisk(const std::string& root, const AssetPlace& place, bool mayChange) {
  if (place.subst.IsNull()) return place;
  std::vector<Zef::FileSub*> sources;
  if (!Zef::SubstList::Get().Hold(place.subst, &sources)) return place;
  std::string full;
  bool isFound = false;
  for (Zef::FileSub* const source : sources) {
    // The first one that has it is the one that is read.
    if (!isFound && HasFolder(*source, place.path)) {
      isFound = true;
      Zef::FilePath path(place.path);
      const std::lock_guard guard(Zef::SubstList::Lock());
      if ((!mayChange || !source->IsReadOnly()) && source->Qualify(path)) full = path.View();
    }
    source->ReleaseFile();
  }
  if (PathBelow(root, full).empty() || !Zef::Platform::IsFolder(full)) return place;
  return {{}, full};
}

bool Overlap(const AssetPlace& a, const AssetPlace& b) {
  if (a.IsNowhere() || b.IsNowhere() || !(a.subst == b.subst)) return false;
  return ClaimOf(a.subst.IsNull() ? kTop : "", {a.path, {}}, {b.path, {}}, 0).Any();
}

bool IsSameFolder(const AssetPlace& a, const AssetPlace& b) {
  return a.subst.IsNull() && b.subst.IsNull() && Zef::Platform::IsSameFile(a.path, b.path);
}

PLID IdInFolder(const AssetPlace& folder) {
  static const Zef::PString idKey("plid");
  TagContainer config;
  const ConfigStatus status = ConfigReader().ReadAt(folder, config, UseOfConfigTag);
  return status == ConfigStatus::Loaded ? config.GetPLID(idKey) : PLID();
}

FolderClaims ClaimsOfOthers(const std::string& root, const MUKAssetIndex& index,
                            const MUKAsset& record, const AssetPlace& folder) {
  FolderClaims claims;
  const AskedFolder asked(root, folder);
  if (asked.IsNowhere()) return claims;
  for (const MUKAsset* const other : index.AllRecords()) {
    if (other->id == record.id || !other->IsPresent()) continue;
    const FolderClaims edited = asked.ClaimToEdit(*other);
    const FolderClaims committed = asked.ClaimToCommitted(*other);
    claims.around |= edited.around || committed.around;
    claims.within |= edited.within || committed.within;
  }
  return claims;
}

FolderOwner OwnerOf(const std::string& root, const MUKAssetIndex& index, const MUKAsset& record,
                    const AssetPlace& folder) {
  const FolderClaims claims = ClaimsOfOthers(root, index, record, folder);
  if (!claims.Any()) return FolderOwner::Record;
  if (IdInFolder(folder) != record.id) return FolderOwner::Other;
  return claims.within ? FolderOwner::Shared : FolderOwner::Record;
}

std::string CopyRefusal(const std::string& root, const MUKAssetIndex& index, const MUKAsset& record,
                        const AssetPlace& place) {
  if (!record.IsPresent()) return "there are none";
  if (place.IsNowhere()) return "the path of their folder leads nowhere";
  const bool isAnothers = OwnerOf(root, index, record, place) == FolderOwner::Other;
  return isAnothers ? "their folder is that of another asset" : "";
}

void ForgetStaleClaims(const std::string& root, MUKAssetIndex& index, const MUKAsset& record) {
  const AskedFolder asked(root, EditPlace(root, record));
  for (MUKAsset* const other : index.AllRecords()) {
    if (other == &record || !asked.ClaimToEdit(*other).Any()) continue;
    other->editPath.Clear();
    UpdateAsset(index, *other);
  }
}
