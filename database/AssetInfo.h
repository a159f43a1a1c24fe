// AssetInfo: what the operations on assets look at, copied out of a record under the guard.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tagdata/PLID.h"

/// Values of one moment; belongs to its holder.
struct MUKAssetInfo {
  std::string name;  ///< as shown
  /// It has a place on disk, or no later version of it does better.
  bool isLatest = false;
  bool isLegacy = false;   ///< in the older layout
  bool isPresent = false;  ///< has a place on disk
  bool builtIn = false;
  bool patched = false;
  bool listed = false;
  bool inArchive = false;
  bool isOpenForEdit = false;
  bool faulty = false;
  bool missingDependency = false;
  bool permitEdit = false;
  bool permitCommit = false;
  bool permitListing = false;
  std::string region;
  std::string era;
  std::uint32_t sizeBytes = 0;
  std::string_view classKey;  ///< its row in the class key table, which lives for ever
  std::string category;
  std::uint8_t marks = 0;  ///< the low four bits of the first flag byte
  std::uint8_t rating = 0;
  std::uint64_t uploadTime = 0;  ///< seconds since 1970
  std::uint64_t modifyTime = 0;
  bool valid = false;  ///< a record was found
};

/// Of the running database; takes a guard. Not `valid` for an unknown asset.
[[nodiscard]] MUKAssetInfo MUKGetAssetInfo(const PLID& id);
