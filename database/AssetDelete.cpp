#include <algorithm>
#include <string_view>
#include <utility>

#include "database/Accessors.h"
#include "database/AssetEdit.h"
#include "database/AssetOperation.h"
#include "database/AssetUpdate.h"
#include "database/ConfinedMove.h"
#include "database/ContentServices.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"

namespace {

/// Whether one of two paths behind the root is the other one or leads through it, in any letter
/// case.
bool Nest(std::string_view a, std::string_view b) {
  if (a.size() > b.size()) std::swap(a, b);
  if (a.empty()) return false;
  for (std::size_t at = 0; at < a.size(); ++at) {
    const bool areSeparators = Zef::IsSeparator(a[at]) && Zef::IsSeparator(b[at]);
    if (!areSeparators && Zef::FoldAscii(a[at]) != Zef::FoldAscii(b[at])) return false;
  }
  return a.size() == b.size() || Zef::IsSeparator(b[a.size()]);
}

bool ClaimsToEdit(const std::string& root, const MUKAsset& record, std::string_view folder) {
  if (record.editPath.IsEmpty()) return false;
  const std::string below = PathBelow(root, record.editPath.View());
  return Nest(folder, below.empty() ? record.editPath.View() : std::string_view(below));
}

/// Whether another record names a folder of the system, one in it, or one around it.
bool OthersClaim(const AssetOperation& work, const MUKAsset& record, const std::string& path) {
  const std::string folder = ConfinedPath(work.root, path);
  if (folder.empty()) return false;
  const std::string below = PathBelow(work.root, folder);
  const bool isLocal = Nest(below, kLocalArchive);
  const std::string_view inLocal =
      std::string_view(below).substr(isLocal ? kLocalArchive.size() + 1 : below.size());
  const auto all = work.index.AllRecords();
  return std::any_of(all.begin(), all.end(), [&](const MUKAsset* other) {
    if (other == &record) return false;
    return Nest(below, other->legacyPath.View()) || ClaimsToEdit(work.root, *other, below) ||
           (isLocal && other->archiveName == kLocalArchive &&
            Nest(inLocal, other->installPath.View()));
  });
}

/// True for a folder that is gone in the end, leads nowhere, or is not this record's alone. False
/// for one below a substitution.
bool Delete(const AssetOperation& work, const MUKAsset& record, const AssetPlace& named) {
  const AssetPlace place = OnDisk(work, named);
  if (place.IsNowhere()) return true;
  work.MarkChanged();
  work.Step("delete: before the folder");
  if (place.subst.IsNull() && OthersClaim(work, record, place.path)) return true;
  const bool isGone =
      place.subst.IsNull() && DeleteAssetFolder(work.root, place.path, work.settings.stepObserver);
  if (!isGone) Zef::Trace("MUKDeleteAsset> cannot delete \"%s\"\n", place.path.c_str());
  work.Step("delete: behind the folder");
  return isGone;
}

/// Whether nobody but this database knows of the asset, so that it can be forgotten.
bool IsUnknownElsewhere(const MUKAsset& record) {
  return !record.Has(AssetFlag::Listed) && !record.Has(AssetFlag::BuiltIn) &&
         !MUKGetInArchive(record.id);
}

}  // namespace

bool Overlap(const AssetPlace& a, const AssetPlace& b) {
  if (a.IsNowhere() || b.IsNowhere() || !(a.subst == b.subst)) return false;
  return a.path == b.path || !PathBelow(a.path, b.path).empty() ||
         !PathBelow(b.path, a.path).empty();
}

AssetPlace OnDisk(const AssetOperation& work, const AssetPlace& place) {
  if (place.subst.IsNull()) return place;
  Zef::SubstList& list = Zef::SubstList::Get();
  bool isReadOnly = true;
  Zef::FilePath path(place.path);
  if (!list.GetReadOnly(place.subst, "", &isReadOnly) || isReadOnly) return place;
  if (!list.Qualify(place.subst, path)) return place;
  const std::string full(path.View());
  if (PathBelow(work.root, full).empty() || !Zef::Platform::IsFolder(full)) return place;
  return {{}, full};
}

bool OwnsWorkingFolder(const AssetOperation& work, const MUKAsset& record) {
  const AssetPlace place = EditPlace(work.root, record);
  const std::string folder = place.subst.IsNull() ? ConfinedPath(work.root, place.path) : "";
  return Nest("editing", PathBelow(work.root, folder)) &&
         !Overlap(place, LegacyPlace(work.root, record)) &&
         !Overlap(place, InstallPlace(work.root, record)) && !OthersClaim(work, record, place.path);
}

void ForgetStaleClaims(const AssetOperation& work, const MUKAsset& record) {
  for (MUKAsset* const other : work.index.AllRecords()) {
    if (other == &record || !ClaimsToEdit(work.root, *other, record.editPath.View())) continue;
    other->editPath.Clear();
    UpdateAsset(work.index, *other);
  }
}

bool DropWorkingFolder(const AssetOperation& work, MUKAsset& record) {
  if (OwnsWorkingFolder(work, record) && !Delete(work, record, EditPlace(work.root, record))) {
    return false;
  }
  record.editPath.Clear();
  work.MarkChanged();
  UpdateAsset(work.index, record);
  return true;
}

bool DropLegacyFolder(const AssetOperation& work, MUKAsset& record) {
  if (!Delete(work, record, LegacyPlace(work.root, record))) return false;
  record.legacyPath.Clear();
  work.MarkChanged();
  return true;
}

bool DropInstallFolder(const AssetOperation& work, MUKAsset& record) {
  if (!Delete(work, record, InstallPlace(work.root, record))) return false;
  record.installPath.Clear();
  record.archiveName.Clear();
  work.MarkChanged();
  return true;
}

void MUKDeleteAsset(const PLID& id, bool forget) {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return;
  const AssetOperation work;
  MUKAsset* const record = work.index.Find(id);
  if (record == nullptr) return;
  const bool isBuiltIn = record->Has(AssetFlag::BuiltIn);
  // What cannot be deleted keeps its path: it is still there.
  if (!record->editPath.IsEmpty()) static_cast<void>(DropWorkingFolder(work, *record));
  if (!record->legacyPath.IsEmpty()) static_cast<void>(DropLegacyFolder(work, *record));
  if (!record->installPath.IsEmpty() && !isBuiltIn) {
    static_cast<void>(DropInstallFolder(work, *record));
  }
  record->Set(AssetFlag::Faulty, false);
  UpdateAsset(work.index, *record);
  if (forget && !record->IsPresent() && IsUnknownElsewhere(*record)) {
    work.index.Companions().dependencies.Replace(id, {});
    work.index.Remove(id);
    work.MarkChanged();
    return;
  }
  if (!work.Verify(*record)) {
    Zef::Trace("MUKDeleteAsset> warning: unable to update asset info\n");
  }
}
