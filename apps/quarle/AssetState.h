// AssetState: where an asset stands in its life, and what ails it, for listings.

#pragma once

#include <string>

class JsonWriter;
class MUKAsset;
class MUKAssetIndex;

enum class AssetState {
  Unknown,    ///< no record
  Absent,     ///< a record, and no place on disk
  New,        ///< open for edit and never committed
  Installed,  ///< committed
  BuiltIn,    ///< the product's own
  Open,       ///< open for edit beside its committed state
};

struct AssetStatus {
  AssetState state = AssetState::Unknown;
  bool faulty = false;
  bool missingDependency = false;
  bool faultyDependency = false;
};

/// Of a record of this index, or of none. Walks the dependencies where that is not known; the
/// flags that this fills in need no saving. Under an exclusive guard.
AssetStatus StatusOf(MUKAssetIndex& index, MUKAsset* record);

/// "installed, missing dependency".
std::string StatusText(const AssetStatus& status);
/// "state", "faulty", "missingDependency" and "faultyDependency", in the object that is open.
void WriteStatus(JsonWriter& json, const AssetStatus& status);
/// Opens the document of a command that only looks: done, without messages.
void BeginLook(JsonWriter& json);
