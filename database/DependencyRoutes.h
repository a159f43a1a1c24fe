// DependencyRoutes: by which ways an asset comes to lack something.
//
// Follows the dependencies of an asset, each through its replacement, over everything that is on
// disk, and tells of each thing that is missing or faulty one shortest way to it. Behind something
// that is missing nothing is looked for, behind something faulty it is.
//
// Cost: each asset met is looked at once, circles too. The ways told hold kMostRouteSteps steps in
// all, or one way of any length, so a table made to be nasty costs no more. Under whatever guards
// the index, exclusive in the running database; marks nothing changed.

#pragma once

#include <cstddef>
#include <vector>

#include "tagdata/PLID.h"

class MUKAssetIndex;

enum class RouteEnd {
  Unknown,  ///< no record
  Absent,   ///< a record, and no place on disk
  Faulty,   ///< on disk, and failed its last validity check
};

struct DependencyRoute {
  struct Step {
    PLID id;
    PLID named;  ///< as the asset before it names it; another one if `id` replaces that
  };
  std::vector<Step> steps;  ///< from what the asset itself depends on to where it breaks
  RouteEnd end = RouteEnd::Unknown;
};

struct DependencyRoutes {
  static constexpr std::size_t kMostRouteSteps = 100'000;

  std::vector<DependencyRoute> routes;  ///< shorter ones first
  std::size_t further = 0;              ///< that were found and are not told
};

/// None for an asset that lacks nothing, or that has no record and no dependencies.
[[nodiscard]] DependencyRoutes FindDependencyRoutes(MUKAssetIndex& index, const PLID& asset);
