// AssetOperation: what the operations of the life cycle share, while they hold their guard.
//
// Not for anybody else: see AssetEdit.h.

#pragma once

#include <optional>
#include <string>

#include "database/AssetEdit.h"
#include "database/AssetFolder.h"
#include "database/Database.h"
#include "database/MUKAsset.h"

/// Of the running database, under an exclusive guard of the calling thread.
struct AssetOperation {
  AssetOperation()
      : database(Database::Get()),
        index(database.Index()),
        settings(database.Settings()),
        services(*settings.services),
        root(settings.productRoot) {}

  void Step(const char* step) const {
    if (settings.stepObserver != nullptr) settings.stepObserver(step);
  }
  /// To be asked before anything is changed on disk: from then on the next start looks at the
  /// folders, unless the database was written in between. False: nothing may be changed.
  [[nodiscard]] bool BeginDiskChange() const { return database.BeginDiskChange(); }
  void MarkChanged() const { database.MarkChanged(kChangeGeneral); }
  bool Verify(MUKAsset& record) const { return services.Verify(index, record); }

  Database& database;
  MUKAssetIndex& index;
  const MUKSettings& settings;
  ContentServices& services;
  const std::string& root;
};

/// Where the files of a record lie that are not open for edit; nowhere for a record without.
/// Another asset's folder may stand there by now: OwnerOf tells.
AssetPlace CommittedPlace(const AssetOperation& work, const MUKAsset& record);

/// Where a commit puts the files of a record: where they lie, if that is on disk and nobody else's.
struct CommitTarget {
  AssetPlace place{};     ///< nowhere if the record's path leads nowhere
  bool isLegacy = false;  ///< else it is that of `installPath`
  bool isShared = false;  ///< the folder of another asset lies in it
};
/// None: a new folder is to be made below "local".
std::optional<CommitTarget> FindCommitTarget(const AssetOperation& work, const MUKAsset& record);

/// MUKOpenAsset for edit, but a new working folder stays empty: for who has other files to put
/// there.
[[nodiscard]] MUKAssetHandle OpenEmptyForEdit(const PLID& id, ResultsLog* log);

/// Whether the working folder is the record's own to move or to delete: it lies below "editing",
/// and neither the committed files nor another record have the same folder, one around it, or one
/// in it.
bool OwnsWorkingFolder(const AssetOperation& work, const MUKAsset& record);
/// Clears an `editPath` that leads to the folder of another asset, or, if `clearsGone`, to none.
void ClearLostEditPath(const AssetOperation& work, MUKAsset& record, bool clearsGone);

/// Deletes the working folder and clears `editPath`. One that the record does not own is only
/// forgotten. False, with all as it was, when it cannot be deleted.
[[nodiscard]] bool DropWorkingFolder(const AssetOperation& work, MUKAsset& record);
/// The same for the committed files; a folder that other records have a part of is only forgotten.
/// What lies in a mounted archive stays.
[[nodiscard]] bool DropLegacyFolder(const AssetOperation& work, MUKAsset& record);
[[nodiscard]] bool DropInstallFolder(const AssetOperation& work, MUKAsset& record);
