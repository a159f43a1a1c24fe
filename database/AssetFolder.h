// AssetFolder: where the files of an asset lie, whether they are there, and how large they are.
//
// A record names its folder in one of three ways: `legacyPath` below the product root,
// `installPath` below what `archiveName` names ("local" is the folder "local" below the root, any
// other name a registered substitution), or `editPath`, which may be absolute. Paths come from
// files that others wrote: one with a ".." component, a legacy or install path that is rooted, or
// an archive name with a separator or ':' leads nowhere.
//
// Names are matched ignoring ASCII case where the exact spelling is missing. Measuring follows no
// links. Any thread may call.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/platform/FolderReader.h"
#include "kernel/standard/PString.h"

class MUKAsset;
namespace Zef {
class FileSub;
}

/// The `archiveName` that means the folder of that name below the product root.
inline constexpr std::string_view kLocalArchive = "local";
/// Folders nested deeper than this below an asset's folder are not measured.
inline constexpr std::size_t kDeepestAssetFolder = 64;

/// A folder: below a substitution, or else a path of the system. Neither: nowhere.
struct AssetPlace {
  Zef::PString subst;
  std::string path;

  bool IsNowhere() const { return subst.IsNull() && path.empty(); }
};

/// Whether a path may lead somewhere: not if it is empty, or holds a ".." component or a null.
[[nodiscard]] bool IsSafePath(std::string_view path);

/// A place as messages spell it, with the substitution's name in front.
std::string PlaceText(const AssetPlace& place);

/// The folder of each path of a record, nowhere for one that is not set. `root` is the product
/// root as a path of the system; with an empty one only absolute edit paths lead somewhere.
AssetPlace LegacyPlace(const std::string& root, const MUKAsset& record);
AssetPlace InstallPlace(const std::string& root, const MUKAsset& record);
AssetPlace EditPlace(const std::string& root, const MUKAsset& record);
/// That of the first path set, in this order.
AssetPlace AssetPlaceOf(const std::string& root, const MUKAsset& record);

/// True for a folder, be it on disk or in a mounted archive; not for a file of that name.
bool FolderExists(const AssetPlace& place);
/// Whether a source of a substitution, which is held, has a folder of this path.
bool HasFolder(Zef::FileSub& source, const std::string& path);
/// True for a file; not for a folder or a link of that name.
bool FileExists(const AssetPlace& place);
/// Whether the record's archive is what keeps InstallPlace from leading anywhere: its name and its
/// path may be good, but no substitution of that name is registered.
bool IsArchiveUnmounted(const MUKAsset& record);
/// True for a place that is nowhere, and where no folder stands. False also when that cannot be
/// told, as on a disk that does not answer, or below a substitution without a source now.
bool IsFolderGone(const AssetPlace& place);

struct FolderSize {
  std::uint64_t bytes = 0;
  bool whole = true;  ///< false when a part was too deep or could not be read, and not counted

  /// As records hold it: the largest size that does not mean "unknown", if there is more.
  std::uint32_t Word() const;
};

/// Total of the file sizes in a folder and below; nothing for one that is not there.
FolderSize MeasureAssetFolder(const AssetPlace& place);
/// The same for an open folder with these entries.
FolderSize MeasureOpenFolder(const Zef::Platform::FolderReader& folder,
                             const Zef::Platform::FolderListing& listing);
