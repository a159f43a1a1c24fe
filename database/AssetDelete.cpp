#include <algorithm>
#include <string_view>
#include <vector>

#include "database/Accessors.h"
#include "database/AssetEdit.h"
#include "database/AssetOperation.h"
#include "database/AssetUpdate.h"
#include "database/ConfinedMove.h"
#include "database/ContentServices.h"
#include "database/FolderClaims.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Trace.h"

namespace {

/// True for a folder that is gone in the end, leads nowhere, or is not this record's alone. False
/// for one below a substitution that is there.
bool Delete(const AssetOperation& work, const MUKAsset& record, const AssetPlace& named) {
  const AssetPlace place = OnDisk(work.root, named, true);
  if (place.IsNowhere() || (!place.subst.IsNull() && IsFolderGone(place))) return true;
  if (!work.BeginDiskChange()) return false;
  work.Step("delete: before the folder");
  if (ClaimsOfOthers(work.root, work.index, record, place).Any()) return true;
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

/// What cannot be deleted keeps its path: it is still there.
void DeletePlaces(const AssetOperation& work, MUKAsset& record, bool isBuiltIn) {
  if (!record.editPath.IsEmpty()) static_cast<void>(DropWorkingFolder(work, record));
  if (!record.legacyPath.IsEmpty()) static_cast<void>(DropLegacyFolder(work, record));
  if (!record.installPath.IsEmpty() && !isBuiltIn) {
    static_cast<void>(DropInstallFolder(work, record));
  }
  record.Set(AssetFlag::Faulty, false);
  UpdateAsset(work.index, record);
}

}  // namespace

bool OwnsWorkingFolder(const AssetOperation& work, const MUKAsset& record) {
  const AssetPlace place = EditPlace(work.root, record);
  const std::string folder = place.subst.IsNull() ? ConfinedPath(work.root, place.path) : "";
  const std::string below = PathBelow(work.root, folder);
  const auto isApart = [&](const AssetPlace& other) {
    return !Overlap(place, OnDisk(work.root, other, false));
  };
  return Zef::EqualFolded(std::string_view(below).substr(0, below.find('/')), "editing") &&
         isApart(LegacyPlace(work.root, record)) && isApart(InstallPlace(work.root, record)) &&
         !ClaimsOfOthers(work.root, work.index, record, place).Any();
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
  if (IsArchiveUnmounted(record) || !Delete(work, record, InstallPlace(work.root, record)))
    return false;
  record.installPath.Clear();
  record.archiveName.Clear();
  work.MarkChanged();
  return true;
}

void MUKDeleteAsset(const PLID& id, bool forget) {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return;
  const AssetOperation work;
  const std::vector<MUKAsset*> records = work.index.FindAll(id);
  if (records.empty()) return;
  const bool isBuiltIn = std::any_of(records.begin(), records.end(), [](const MUKAsset* each) {
    return each->Has(AssetFlag::BuiltIn);
  });
  for (MUKAsset* const record : records) DeletePlaces(work, *record, isBuiltIn);
  const auto mayGo = [](const MUKAsset* each) {
    return !each->IsPresent() && IsUnknownElsewhere(*each);
  };
  if (forget && std::all_of(records.begin(), records.end(), mayGo)) {
    work.index.Companions().dependencies.Replace(id, {});
    for (std::size_t left = records.size(); left > 0; --left) work.index.Remove(id);
    work.MarkChanged();
    return;
  }
  for (MUKAsset* const record : records) {
    if (work.Verify(*record)) continue;
    Zef::Trace("MUKDeleteAsset> warning: unable to update asset info\n");
  }
}
