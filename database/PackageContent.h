// PackageContent: goes through the files that a package holds of an asset.
//
// The tree comes from outside: its names and depth are held against the rules before anything is
// made of them, and no tag is shown twice. Linear in the tree.

#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tagdata/TagContainer.h"

enum class PackageEntry {
  File,
  BadName,       ///< no name for a file or folder
  BadExtension,  ///< a file of a type that assets do not have
  Twin,          ///< has the name of an earlier tag of its folder, in whatever letter case
  NoData,        ///< neither folder nor file
  TooLong,       ///< a path of more than kLongestAssetPath bytes
  TooDeep,       ///< a folder below more than kDeepestAssetFolder others
};

/// What a walk calls; an empty function is passed over. Paths have '/' between names.
struct PackageContentVisitor {
  std::function<bool(const std::string& path, std::string_view name)> enterFolder;
  std::function<void()> leaveFolder;
  /// A tag that is no folder to be entered.
  std::function<bool(PackageEntry what, const std::string& path, std::string_view name,
                     const ChunkRef& tag)>
      entry;
};

/// Goes through a "files" container in its order, but passes over a config at its top, which an
/// asset has among its own tags. False when a visitor ended it by giving false.
bool WalkPackageContent(const TagContainer& files, const PackageContentVisitor& visitor);
