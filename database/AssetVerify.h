// AssetVerify: brings one record in line with what is on disk.
//
// Cost: a look at each of its folders and one read of its config; its files are measured only while
// their size is unknown. Under whatever guards the index, exclusive in the running database.

#pragma once

#include <cstdint>

class ConfigReader;
class MUKAsset;
class MUKAssetIndex;

/// Drops legacy and edit paths whose folders are gone for certain and derives the record's fields
/// anew from its config. False when the config cannot be read or the reader has no root, and for a
/// record that is open for edit beside another place, which keeps its fields.
bool VerifyAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record);

/// The same for an index that may be older than the folders: drops an install path below "local"
/// too, and paths whose folders are another asset's by now; enters obsolete rows and dependency
/// pairs anew where they are other ones. What was open for edit, or has a folder that was filled
/// since the record was stamped, is derived anew whole. Stamps nothing.
void RecoverAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record);

/// Derives everything anew from a folder whose files changed, size and tables included, and stamps
/// the record with the time `now` (seconds since 1970). Without a readable config the fields stay.
void RefreshAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record, std::int64_t now);
