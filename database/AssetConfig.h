// AssetConfig: fills an asset's record from the tags of its config.
//
// The one place where a config becomes fields; each field has a rule of its own (ClassRule,
// NameRule, RegionRule, EraRule, and the two below). Reads the config's own tags and those of
// "privileges", never deeper, whatever the config nests.
//
// Cost: some thirty lookups, linear in the texts. Throws nothing but std::bad_alloc. The config is
// only read; threads may fill different records from one config.

#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "tagdata/TagTextReader.h"

class MUKAsset;
class TagContainer;

/// Total bytes of the files below the folder of a record: below `legacyPath`, or without one below
/// `installPath` in `archiveName`; MUKAsset::kSizeUnknown when it cannot tell.
using MeasureFolder = std::function<std::uint32_t(const MUKAsset& record)>;

/// Derives all fields that a config determines; with `readId` also `id`. The record's paths and its
/// `builtIn` flag must stand; `sizeBytes` and `build` are kept when they are known. `measure` is
/// called at most once, for a record of unknown size with a legacy path, or one that is not built
/// in and has an install path; without one such a size stays unknown.
///
/// False, with the record as it was, when the config is no container, or `readId` finds no
/// identifier. Who holds the record in an index tells it by MUKAssetIndex::ForgetSearchText.
[[nodiscard]] bool FillFromConfig(MUKAsset& record, const TagContainer& config, bool readId,
                                  const MeasureFolder& measure);

/// The tags that FillFromConfig and RelationsOf look at. Of a list such as "category-era-0" some
/// thousand numbers count.
TagUse UseOfConfigTag(std::string_view block, std::string_view key);

/// Version of the content format, such as 2.4f; for configs that do not tell, a guess by the tags
/// they have.
float ConfigBuild(const TagContainer& config);

/// Sets the three "permit" flags. The record's `builtIn` and `build` must stand.
void ReadPrivileges(MUKAsset& record, const TagContainer& config);
