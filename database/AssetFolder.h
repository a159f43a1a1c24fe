// AssetFolder: where the files of an asset lie, and what can be read there without an index.
//
// A record names its folder in one of three ways: `legacyPath` below the product root,
// `installPath` below what `archiveName` names ("local" is the folder "local" below the root, any
// other name a registered substitution), or `editPath`, which may be absolute. Paths come from
// files that others wrote: one with a ".." component, a legacy or install path that is rooted, or
// an archive name with a separator or ':' leads nowhere.
//
// Names are matched ignoring ASCII case where the exact spelling is missing. Links are not
// followed below the asset's folder. Any thread may call.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/platform/FolderReader.h"
#include "kernel/standard/PString.h"
#include "tagdata/TagContainer.h"

class MUKAsset;

/// Name of `archiveName` that means the folder of that name below the product root.
inline constexpr std::string_view kLocalArchive = "local";
/// A config of more bytes than this is not read.
inline constexpr std::uint64_t kLargestConfig = 16u << 20;
/// Folders nested deeper than this below an asset's folder are not measured.
inline constexpr std::size_t kDeepestAssetFolder = 64;

/// A folder: below a substitution, or else a path of the system. Neither: nowhere.
struct AssetPlace {
  Zef::PString subst;
  std::string path;

  bool IsNowhere() const { return subst.IsNull() && path.empty(); }
};

/// The folder of each path of a record, and of the first one set in the order above. `root` is
/// the product root as a path of the system.
AssetPlace LegacyPlace(std::string_view root, const MUKAsset& record);
AssetPlace InstallPlace(std::string_view root, const MUKAsset& record);
AssetPlace EditPlace(std::string_view root, const MUKAsset& record);
AssetPlace AssetPlaceOf(std::string_view root, const MUKAsset& record);

bool FolderExists(const AssetPlace& place);

enum class ConfigStatus {
  Loaded,
  NoPlace,     ///< the record has no path, or one that leads nowhere
  NoConfig,    ///< neither "config.txt" nor "config.grole", or no such folder
  Unreadable,  ///< there, but not to be opened or read, or a link
  TooLarge,    ///< more than kLargestConfig bytes
  NotTags,     ///< no tag container in it
};

/// Finds and reads the record's config: "config.txt", and without one "config.grole". `out` is
/// a null handle unless the answer is Loaded.
[[nodiscard]] ConfigStatus ReadConfig(std::string_view root, const MUKAsset& record,
                                      TagContainer& out);
/// The same as a plain answer.
[[nodiscard]] bool LoadConfig(std::string_view root, const MUKAsset& record, TagContainer& out);

/// Reads the config of an open folder that `listing` lists; `buffer` is kept between calls.
[[nodiscard]] ConfigStatus ReadConfigIn(const Zef::Platform::FolderReader& folder,
                                        const Zef::Platform::FolderListing& listing,
                                        std::string& buffer, TagContainer& out);

struct FolderSize {
  std::uint64_t bytes = 0;
  bool whole = true;  ///< false when a part was too deep or could not be read, and not counted

  /// As records hold it: the largest size that does not mean "unknown", if there is more.
  std::uint32_t Word() const;
};

/// Total of the file sizes in a folder and below. Links count nothing.
FolderSize MeasureFolder(const AssetPlace& place);
FolderSize MeasureFolderIn(const Zef::Platform::FolderReader& folder,
                           const Zef::Platform::FolderListing& listing);
