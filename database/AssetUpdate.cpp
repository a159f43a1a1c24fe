#include "database/AssetUpdate.h"

#include <algorithm>
#include <unordered_map>

#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"
#include "tagdata/TagContainer.h"

namespace {

struct DependencyFlags {
  AssetFlag state;
  AssetFlag known;
};
constexpr DependencyFlags kMissing = {AssetFlag::MissingDependency,
                                      AssetFlag::MissingDependencyKnown};
constexpr DependencyFlags kFaulty = {AssetFlag::FaultyDependency, AssetFlag::FaultyDependencyKnown};

/// True when anything had been known.
bool ForgetFlags(MUKAssetIndex& index, MUKAsset& record) {
  if (!record.Has(kMissing.known) && !record.Has(kFaulty.known)) return false;
  record.Set(kMissing.known, false);
  record.Set(kFaulty.known, false);
  index.ForgetSearchText(record);
  return true;
}

/// Forgets what is known of all that depend on these assets, or on others that they replace. The
/// way up ends at assets of which nothing is known: whoever asked through one had it filled in.
void ForgetDependents(MUKAssetIndex& index, std::vector<PLID> ids) {
  DependencyTable& table = index.Companions().dependencies;
  const auto forget = [&](const PLID& dependency) {
    for (const PLID& dependent : table.DependentsOf(dependency)) {
      MUKAsset* const record = index.Find(dependent);
      if (record != nullptr && ForgetFlags(index, *record)) ids.push_back(dependent);
    }
  };
  while (!ids.empty()) {
    const PLID id = ids.back();
    ids.pop_back();
    forget(id);
    for (const PLID& old : index.Obsolete().ReplacedBy(id)) forget(old);
  }
}

void EnterRelations(MUKAssetIndex& index, MUKAsset& record, const AssetRelations& relations) {
  const bool isInstalled = !record.installPath.IsEmpty() || !record.legacyPath.IsEmpty();
  std::vector<PLID> replaced = index.ReplaceObsolete(record, relations.obsolete, isInstalled);
  index.Companions().dependencies.Replace(record.id, relations.dependencies);
  ForgetFlags(index, record);
  index.ForgetSearchText(record);
  // Also of those that this asset replaces no more.
  replaced.push_back(record.id);
  ForgetDependents(index, std::move(replaced));
}

/// Walks down the dependencies of a record to the first one that is `isBad`. Each asset is walked
/// once: what was met is settled, good or bad, as soon as its circle of mutual dependencies is
/// left.
class DependencyWalk {
 public:
  DependencyWalk(MUKAssetIndex& index, const DependencyFlags& flags)
      : index_(index), flags_(flags) {}

  template <typename IsBad>
  bool Run(MUKAsset& record, IsBad isBad) {
    if (record.Has(flags_.known)) return record.Has(flags_.state);
    Enter(record);
    while (!path_.empty()) {
      Step& step = path_.back();
      if (step.next == step.dependencies.size()) {
        Leave();
        continue;
      }
      MUKAsset* const below = index_.Find(index_.Resolve(step.dependencies[step.next++]));
      const bool isKnown = below != nullptr && below->Has(flags_.known);
      if (isBad(below) || (isKnown && below->Has(flags_.state))) {
        // All that is open leads to the way here.
        Close(0, true);
        return true;
      }
      if (below == nullptr || isKnown) continue;
      const auto open = places_.find(below);
      if (open == places_.end()) {
        Enter(*below);
      } else {
        step.lowest = std::min(step.lowest, open->second);
      }
    }
    return false;
  }

 private:
  struct Step {
    std::size_t place;   ///< in open_
    std::size_t lowest;  ///< place that this one is known to lead back to
    std::vector<PLID> dependencies;
    std::size_t next = 0;
  };

  void Enter(MUKAsset& record) {
    const std::size_t place = open_.size();
    path_.push_back({place, place, index_.Companions().dependencies.DependenciesOf(record.id)});
    places_.emplace(&record, place);
    open_.push_back(&record);
  }

  void Leave() {
    const std::size_t place = path_.back().place;
    const std::size_t lowest = path_.back().lowest;
    path_.pop_back();
    if (lowest == place) {
      Close(place, false);
    } else {
      path_.back().lowest = std::min(path_.back().lowest, lowest);
    }
  }

  /// Fills in what has been open from this place on.
  void Close(std::size_t from, bool state) {
    for (; open_.size() > from; open_.pop_back()) {
      MUKAsset* const record = open_.back();
      record->Set(flags_.state, state);
      record->Set(flags_.known, true);
      places_.erase(record);
    }
  }

  MUKAssetIndex& index_;
  DependencyFlags flags_;
  std::vector<Step> path_;
  std::vector<MUKAsset*> open_;  ///< met and not settled, in the order they were met
  std::unordered_map<const MUKAsset*, std::size_t> places_;
};

}  // namespace

AssetRelations RelationsOf(const PLID& asset, const TagContainer& config) {
  static const Zef::PString obsoleteKey("obsolete-table");
  static const Zef::PString dependencyKey("plid-table");
  AssetRelations relations;
  config.GetSubContainer(obsoleteKey).CollectPLIDsFlat(relations.obsolete);
  config.GetSubContainer(dependencyKey).CollectPLIDsFlat(relations.dependencies);
  std::erase(relations.dependencies, asset);
  return relations;
}

void UpdateAsset(MUKAssetIndex& index, MUKAsset& record) {
  ForgetFlags(index, record);
  index.ForgetSearchText(record);
  ForgetDependents(index, {record.id});
}

void UpdateAssetFully(MUKAssetIndex& index, MUKAsset& record, const AssetRelations& relations,
                      std::int64_t now) {
  record.modifyTime = static_cast<std::uint64_t>(now);
  if (record.uploadTime == 0 && !record.Has(AssetFlag::BuiltIn)) {
    record.uploadTime = record.modifyTime;
  }
  EnterRelations(index, record, relations);
}

void RecoverRelations(MUKAssetIndex& index, MUKAsset& record, const AssetRelations& relations,
                      bool isChanged) {
  std::vector<PLID> dependencies = relations.dependencies;
  std::erase_if(dependencies, [](const PLID& id) { return !id.IsStorable(); });
  isChanged |= dependencies != index.Companions().dependencies.DependenciesOf(record.id);
  for (const PLID& old : relations.obsolete) {
    isChanged |= MUKAssetIndex::MayDeclareObsolete(record, old) &&
                 index.Resolve(old) != index.Resolve(record.id);
  }
  if (isChanged) EnterRelations(index, record, relations);
}

bool HasMissingDependency(MUKAssetIndex& index, MUKAsset& record, bool* changed) {
  *changed = !record.Has(kMissing.known);
  return DependencyWalk(index, kMissing).Run(record, [](const MUKAsset* below) {
    return below == nullptr || !below->IsPresent();
  });
}

bool HasFaultyDependency(MUKAssetIndex& index, MUKAsset& record, bool* changed) {
  *changed = !record.Has(kFaulty.known);
  return DependencyWalk(index, kFaulty).Run(record, [](const MUKAsset* below) {
    return below != nullptr && below->Has(AssetFlag::Faulty);
  });
}
