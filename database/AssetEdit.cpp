#include "database/AssetEdit.h"

#include <algorithm>
#include <vector>

#include "database/AssetCopy.h"
#include "database/AssetMessages.h"
#include "database/AssetOperation.h"
#include "database/AssetUpdate.h"
#include "database/ContentServices.h"
#include "database/FolderClaims.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FileSystem.h"
#include "tagdata/TagContainer.h"
#include "tagdata/TagFiles.h"

namespace {

bool HasCommitted(const MUKAsset& record) {
  return !record.legacyPath.IsEmpty() || !record.installPath.IsEmpty();
}

/// Copies the committed files, whole or not at all. Empty, or why not.
std::string CopyCommitted(const AssetOperation& work, const MUKAsset& record,
                          const std::string& target) {
  const AssetPlace source = CommittedPlace(work, record);
  std::string reason = CopyRefusal(work.root, work.index, record, source);
  if (!reason.empty()) return reason;
  static_cast<void>(WithRoom([&] {
    StagedFolder staged(work.root, work.settings.stepObserver);
    reason = staged.IsMade() ? CopyAssetFolder(source, staged.Path()) : kNotStaged;
    if (reason.empty() && !staged.Put(target)) reason = PlaceFault(work.root, target, kNotWritten);
    return reason.empty();
  }));
  return reason;
}

/// Fills the working folder that was just made at this path. Empty, or why not.
std::string FillWorkingFolder(const AssetOperation& work, MUKAsset& record, bool wantsCopy,
                              const std::string& path) {
  ForgetStaleClaims(work.root, work.index, record);
  const auto now = static_cast<std::uint64_t>(work.database.UnixTime());
  if (record.modifyTime == 0) record.modifyTime = now;
  if (record.uploadTime == 0) record.uploadTime = now;
  return wantsCopy && HasCommitted(record) ? CopyCommitted(work, record, path) : "";
}

void DropUnfilled(MUKAsset& record, const std::string& path) noexcept {
  record.editPath.Clear();
  try {
    static_cast<void>(Zef::Platform::RemoveEmptyFolder(path));
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next start removes it
  }
}

/// The key of what went wrong, or null. Some have a reason.
const char* OpenForEdit(const AssetOperation& work, MUKAsset& record, bool wantsCopy,
                        std::string& reason) {
  if (!record.Has(AssetFlag::PermitEdit)) return "$muk_edit_perm";
  // Its user may have deleted it, or never put anything in.
  ClearLostEditPath(work, record, true);
  if (!record.editPath.IsEmpty()) return nullptr;
  if (!work.BeginDiskChange()) return "$muk_database_error";
  const std::string folder =
      MakeAssetFolder(work.root, "editing", "edit ", record.ShownName().View());
  if (folder.empty()) return "$muk_open_file_error";
  work.Step("open: folder made");
  const std::string path = work.root + "/" + folder;
  record.editPath = folder;
  try {
    reason = FillWorkingFolder(work, record, wantsCopy, path);
  } catch (...) {  // an empty folder must not pass for the user's work
    DropUnfilled(record, path);
    throw;
  }
  if (reason.empty()) {
    UpdateAsset(work.index, record);
    return nullptr;
  }
  DropUnfilled(record, path);
  work.Verify(record);
  return "$muk_copy_file_error";
}

MUKAssetHandle Open(const PLID& id, bool forEdit, bool wantsCopy, ResultsLog* log) {
  const MUKLock guard(forEdit);
  MUKAsset* const record = guard.IsHeld() ? Database::Get().Index().Find(id) : nullptr;
  if (record == nullptr) return {};
  const char* failure = nullptr;
  std::string reason;
  if (forEdit) {
    failure = OpenForEdit(AssetOperation(), *record, wantsCopy, reason);
  } else if (!HasCommitted(*record)) {
    failure = "$muk_not_committed";
  }
  if (failure == nullptr) return {id, forEdit};
  TellOfAsset(log, ResultLevel::kError, failure, *record, reason);
  return {};
}

}  // namespace

AssetPlace CommittedPlace(const AssetOperation& work, const MUKAsset& record) {
  return record.legacyPath.IsEmpty() ? InstallPlace(work.root, record)
                                     : LegacyPlace(work.root, record);
}

void ClearLostEditPath(const AssetOperation& work, MUKAsset& record, bool clearsGone) {
  if (record.editPath.IsEmpty()) return;
  const AssetPlace place = EditPlace(work.root, record);
  const bool isLost = (clearsGone && IsFolderGone(place)) ||
                      OwnerOf(work.root, work.index, record, place) == FolderOwner::Other;
  if (!isLost) return;
  record.editPath.Clear();
  work.MarkChanged();
  UpdateAsset(work.index, record);
}

MUKAssetHandle MUKOpenAsset(const PLID& id, bool forEdit, ResultsLog* log) {
  return Open(id, forEdit, true, log);
}

MUKAssetHandle OpenEmptyForEdit(const PLID& id, ResultsLog* log) {
  return Open(id, true, false, log);
}

bool MUKRevertAssetEdits(const MUKAssetHandle& handle) {
  if (handle.IsNull() || !handle.forEdit) return false;
  const MUKLock guard(true);
  if (!guard.IsHeld()) return false;
  const AssetOperation work;
  MUKAsset* const record = work.index.Find(handle.id);
  if (record == nullptr) return false;
  if (record->editPath.IsEmpty()) return true;
  if (!DropWorkingFolder(work, *record)) return false;
  const std::vector<MUKAsset*> records = work.index.FindAll(handle.id);
  if (std::any_of(records.begin(), records.end(), [](auto* each) { return each->IsPresent(); })) {
    work.Verify(*record);
  } else {
    // Nobody but the user ever knew it, unless the rules for forgetting say so.
    MUKDeleteAsset(handle.id, true);
  }
  return true;
}

bool MUKDumpKeywords() {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return false;
  Database& database = Database::Get();
  const std::string& root = database.Settings().productRoot;
  if (root.empty()) return false;
  TagContainer keywords;
  keywords.Ensure();
  for (const MUKAsset* const record : database.Index().Records()) {
    keywords.SetString(Zef::PString(record->id.TagText()), record->keywords.View());
  }
  // Its ending would mean another kind of file.
  return SaveTagFile(keywords, {}, root + "/KeywordsDump.dat", "txt");
}
