// ContentServices: what the running database asks of the code that knows asset folders.
//
// AssetServices is what a database runs with; a host that brings another one registers it in
// MUKSettings, borrowed for as long as the database runs.
//
// Every call comes under an exclusive guard of the calling thread, so guards taken inside are
// free, except where noted. Nothing here may throw.

#pragma once

#include <vector>

#include "tagdata/PLID.h"

class MUKAsset;
class MUKAssetIndex;
struct MUKSettings;

/// Parts of the product root that hold assets.
enum class ContentArea {
  World,    ///< "world": built-in content, mounted archives and folders
  Trains,   ///< "trains": the older layout
  Local,    ///< "local": installed assets
  Editing,  ///< "editing": assets open for edit
};

class ContentServices {
 public:
  virtual ~ContentServices() = default;

  /// Reads the local user's base identifier from its settings file, before anything else.
  virtual void LoadBaseId(const MUKSettings& settings) = 0;
  /// The same again, before each load: another process may have owned the database.
  virtual void ReloadBaseId() = 0;
  /// Brings the settings file up to date before a save. Comes under a shared guard: must not
  /// ask for an exclusive one.
  virtual void RefreshBaseId() = 0;
  /// The next free identifier of the local user.
  virtual PLID NextLocalId(const MUKAssetIndex& index) = 0;

  /// Checks a record's places on disk, drops those that are gone and derives its fields anew. False
  /// when that cannot be, as for a record that is open for edit beside another place.
  virtual bool Verify(MUKAssetIndex& index, MUKAsset& record) = 0;
  /// The same in a recovery, where the index may be older than the folders.
  virtual void Recover(MUKAssetIndex& index, MUKAsset& record) = 0;
  /// Derives all anew from the files of a record, which changed: fields, size, obsolete rows and
  /// dependency pairs. Stamps it with the time.
  virtual void Update(MUKAssetIndex& index, MUKAsset& record) = 0;
  /// Enters all assets of an area. The settings tell root, `archivesOnly` and progress callback.
  /// Ends early once Database::StopRequest is set.
  virtual void Scan(ContentArea area, MUKAssetIndex& index, const MUKSettings& settings) = 0;
  /// The identifiers that the asset's config declares obsolete; empty without a readable config.
  virtual std::vector<PLID> ReadObsoleteList(const MUKAsset& asset) = 0;

  /// A turn of MUKIdle, under no guard: user names, fetch queues and, if enabled, the station.
  virtual void IdleTurn(bool enableStation) = 0;
};
