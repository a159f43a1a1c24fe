// PackageTables: the tables of a package, which tell who is in it without a look at the assets.
//
// "contents-table" lists its assets, "plid-table" what they depend on, "obsolete-table" what they
// replace, the latter two without what is in the package. Where the running database runs,
// dependencies are listed by what replaces them there.

#pragma once

#include <span>
#include <vector>

#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"

/// What assets say of themselves and of others.
struct PackageIds {
  std::vector<PLID> contents;      ///< their own, null for one that has none
  std::vector<PLID> dependencies;  ///< each once, those among the assets too, none replaced
  std::vector<PLID> obsolete;      ///< each once, without those among the assets
};
PackageIds PackageIdsOf(std::span<const TagContainer> assets);

/// Makes the tables anew from the assets and marks the tree as a package of the present version.
/// Linear.
void RebuildPackageTables(TagContainer& package, std::span<const TagContainer> assets);
