// FileRules: which files and folders an asset may consist of.
//
// They hold for every name that goes into a package, comes out of one, or passes a commit. Names
// that fail cannot climb out of a folder: separators, ':' and a leading '.' are among what they
// bar.

#pragma once

#include <cstddef>
#include <string_view>

#include "kernel/standard/FilePath.h"

class ResultsLog;
struct AssetPlace;

/// Bytes of a name: a package can hold no more.
inline constexpr std::size_t kLongestAssetName = 254;
/// Bytes of a path below an asset's folder: none that is longer can be made anywhere.
inline constexpr std::size_t kLongestAssetPath = Zef::FilePath::kSize - 1;

/// Not empty nor above kLongestAssetName; only ASCII letters, digits, spaces and - & , + ' . _ $ (
/// ) ~; neither begins nor ends with a space, nor begins with '.' or '~'.
[[nodiscard]] bool ValidName(std::string_view name);
/// A file that picture viewers leave behind, such as "thumbs.db": silently left out.
[[nodiscard]] bool Ignored(std::string_view name);
/// The name ends in one of the extensions that assets may have, in any letter case.
[[nodiscard]] bool ValidExtension(std::string_view name);

/// Whether all in a folder obeys. Tells of the first entry that does not, or of a folder that
/// cannot be listed. What is neither file nor folder, a link too, is a bad name.
[[nodiscard]] bool CheckFolder(const AssetPlace& folder, ResultsLog* log);
