#include "database/Accessors.h"
#include "database/AssetEdit.h"
#include "database/AssetOperation.h"
#include "database/AssetUpdate.h"
#include "database/ContentServices.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "kernel/standard/Trace.h"

namespace {

/// True for a folder that is gone in the end, or leads nowhere. False for one below a substitution.
bool Delete(const AssetOperation& work, const AssetPlace& place) {
  if (place.IsNowhere()) return true;
  work.MarkChanged();
  work.Step("delete: before the folder");
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

bool DropWorkingFolder(const AssetOperation& work, MUKAsset& record) {
  const AssetPlace place = EditPlace(work.root, record);
  const bool isOurs = place.subst.IsNull() && !PathBelow(work.root, place.path).empty() &&
                      !Overlap(place, LegacyPlace(work.root, record)) &&
                      !Overlap(place, InstallPlace(work.root, record));
  if (isOurs && !Delete(work, place)) return false;
  record.editPath.Clear();
  work.MarkChanged();
  UpdateAsset(work.index, record);
  return true;
}

bool DropLegacyFolder(const AssetOperation& work, MUKAsset& record) {
  if (!Delete(work, LegacyPlace(work.root, record))) return false;
  record.legacyPath.Clear();
  work.MarkChanged();
  return true;
}

bool DropInstallFolder(const AssetOperation& work, MUKAsset& record) {
  if (!Delete(work, InstallPlace(work.root, record))) return false;
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
