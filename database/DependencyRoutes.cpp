#include "database/DependencyRoutes.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"

namespace {

/// An asset that was met, and the one through which it was met first.
struct Met {
  DependencyRoute::Step step;
  std::size_t through = 0;  ///< place among those met; the asset asked for is at 0
  std::size_t depth = 0;
};

std::optional<RouteEnd> EndOf(const MUKAsset* record) {
  if (record == nullptr) return RouteEnd::Unknown;
  if (!record->IsPresent()) return RouteEnd::Absent;
  if (record->Has(AssetFlag::Faulty)) return RouteEnd::Faulty;
  return std::nullopt;
}

std::vector<DependencyRoute::Step> StepsTo(const std::vector<Met>& met, std::size_t at) {
  std::vector<DependencyRoute::Step> steps;
  steps.reserve(met[at].depth);
  for (; at != 0; at = met[at].through) steps.push_back(met[at].step);
  std::reverse(steps.begin(), steps.end());
  return steps;
}

}  // namespace

DependencyRoutes FindDependencyRoutes(MUKAssetIndex& index, const PLID& asset) {
  DependencyRoutes found;
  std::size_t told = 0;
  std::vector<Met> met{{{asset, asset}, 0, 0}};
  std::unordered_set<PLID> known;  // the asset itself may be what is missing in its circle
  for (std::size_t at = 0; at < met.size(); ++at) {
    const Met here = met[at];
    const std::optional<RouteEnd> end = at == 0 ? std::nullopt : EndOf(index.Find(here.step.id));
    if (end.has_value()) {
      const bool fits = told + here.depth <= DependencyRoutes::kMostRouteSteps;
      if (fits || found.routes.empty()) {
        found.routes.push_back({StepsTo(met, at), *end});
        told += here.depth;
      } else {
        ++found.further;
      }
      if (*end != RouteEnd::Faulty) continue;
    }
    for (const PLID& named : index.Companions().dependencies.DependenciesOf(here.step.id)) {
      const PLID id = index.Resolve(named);
      if (known.insert(id).second) met.push_back({{id, named}, at, here.depth + 1});
    }
  }
  return found;
}
