// PackageTables: the tables of a package, which tell who is in it without a look at the assets.
//
// "contents-table" lists its assets, "plid-table" what they depend on, "obsolete-table" what they
// replace, the latter two without what is in the package. Where the running database runs,
// dependencies are listed by what replaces them there.

#pragma once

#include <span>

#include "tagdata/TagContainer.h"

/// Makes the tables anew from the assets, with a null identifier for one that has none, and marks
/// the tree as a package of the present version. Linear.
void RebuildPackageTables(TagContainer& package, std::span<const TagContainer> assets);
