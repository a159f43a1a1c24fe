#include "database/AssetRollback.h"

#include "database/Accessors.h"
#include "database/AssetEdit.h"
#include "database/AssetOperation.h"
#include "database/AssetUpdate.h"

AssetRollback::AssetRollback(const PLID& id) : id_(id), isKnown_(MUKFind(id, &before_)) {}

AssetRollback::~AssetRollback() {
  if (isDone_) return;
  try {
    Run();
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; it stays open for edit
  }
}

void AssetRollback::Run() {
  if (!isKnown_) return MUKDeleteAsset(id_, true);
  const AssetOperation work;
  MUKAsset* const record = work.index.Find(id_);
  // One whose folder cannot be deleted stays open for edit, where its user can try again.
  if (record == nullptr || (!record->editPath.IsEmpty() && !DropWorkingFolder(work, *record))) {
    return;
  }
  if (!before_.IsPresent() && !record->installPath.IsEmpty() && !DropInstallFolder(work, *record)) {
    return;
  }
  *record = before_;
  UpdateAsset(work.index, *record);
}
