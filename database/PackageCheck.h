// PackageCheck: what a package holds, and whether all of it can be used.
//
// One thread a package. The check unpacks every file, on several threads, and keeps none.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "database/MUKPackage.h"

struct PackageSize {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;   ///< unpacked, as the package says
  std::uint64_t stored = 0;  ///< in the package
};
/// The files of an asset that an extraction would write.
PackageSize MeasurePackageFiles(const TagContainer& asset, PackageCompression compression);

struct PackageProblem {
  PLID asset;        ///< null for the package as a whole
  std::string path;  ///< below the asset's folder; empty for the asset as a whole
  std::string what;  ///< for a person to read
};
/// The list ends after this many, lest it outgrow the package.
inline constexpr std::size_t kMostPackageProblems = 1000;

/// Files that do not unpack, names that break the rules, assets under a wrong identifier, tables
/// that say something else than the assets; empty for a good package. `progress` may be empty.
[[nodiscard]] std::vector<PackageProblem> CheckPackage(const MUKPackage& package,
                                                       const MUKPackage::Progress& progress);
