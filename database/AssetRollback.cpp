#include "database/AssetRollback.h"

#include "database/Accessors.h"
#include "database/AssetEdit.h"
#include "database/AssetUpdate.h"
#include "database/Database.h"

AssetRollback::AssetRollback(const PLID& id) : id_(id), isKnown_(MUKFind(id, &before_)) {}

AssetRollback::~AssetRollback() {
  if (isDone_) return;
  try {
    Run();
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; it stays open for edit
  }
}

void AssetRollback::Run() {
  if (isKnown_ && before_.IsPresent()) {
    (void)MUKRevertAssetEdits({id_, true});  // what could not be deleted shows below
  } else {
    MUKDeleteAsset(id_, !isKnown_);
  }
  MUKAssetIndex& index = Database::Get().Index();
  MUKAsset* const record = index.Find(id_);
  // One whose folder could not be deleted stays open for edit, where its user can try again.
  if (!isKnown_ || record == nullptr || !record->editPath.IsEmpty()) return;
  *record = before_;
  UpdateAsset(index, *record);
}
