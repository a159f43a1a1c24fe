// AssetUpdate: what follows for the tables of an index when a record's folder was read or changed.
//
// Nothing here marks the database changed; who updates does. Under whatever guards the index,
// exclusive in the running database.

#pragma once

#include <cstdint>
#include <vector>

#include "tagdata/PLID.h"

class MUKAsset;
class MUKAssetIndex;
class TagContainer;

/// Other assets that a config names.
struct AssetRelations {
  std::vector<PLID> obsolete;      ///< declared obsolete, in order
  std::vector<PLID> dependencies;  ///< without null ones and the asset itself, each once, in order
};
AssetRelations RelationsOf(const PLID& asset, const TagContainer& config);

/// After the record's fields were derived anew: what is known of missing and faulty dependencies
/// is forgotten, for the record and for all that depend on it.
void UpdateAsset(MUKAssetIndex& index, MUKAsset& record);
/// The same, and enters the obsolete rows and dependency pairs of its config, and stamps the
/// record with the time `now` (seconds since 1970).
void UpdateAssetFully(MUKAssetIndex& index, MUKAsset& record, const AssetRelations& relations,
                      std::int64_t now);

/// Enters the rows and pairs if the config is another one than what the tables hold came from, or
/// if it must be taken for one. Stamps nothing.
void RecoverRelations(MUKAssetIndex& index, MUKAsset& record, const AssetRelations& relations,
                      bool isChanged);

/// Whether something on which the asset depends, directly or further down, has no record with a
/// place on disk. `changed` receives whether flags of records were filled in.
bool HasMissingDependency(MUKAssetIndex& index, MUKAsset& record, bool* changed);
/// The same for assets that failed their last validity check.
bool HasFaultyDependency(MUKAssetIndex& index, MUKAsset& record, bool* changed);
