// AssetVerify: brings one record in line with what is on disk.
//
// Cost: a look at each of its folders and one read of its config; its files are measured only while
// their size is unknown. Under whatever guards the index, exclusive in the running database.

#pragma once

class ConfigReader;
class MUKAsset;
class MUKAssetIndex;

/// Drops legacy and edit paths whose folders are gone for certain and derives the record's fields
/// anew from its config. False when the config cannot be read or the reader has no root, and for a
/// record that is open for edit beside another place, which keeps its fields.
bool VerifyAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record);
