#include "database/PackageTables.h"

#include <string>
#include <unordered_set>
#include <utility>

#include "database/Accessors.h"
#include "database/AssetUpdate.h"
#include "database/Database.h"

namespace {

/// Identifiers in the order they came, each once, and none of those excluded.
class IdTable {
 public:
  explicit IdTable(std::unordered_set<PLID> excluded = {}) : known_(std::move(excluded)) {}

  void Add(const PLID& id) {
    if (!id.IsNull() && known_.insert(id).second) list_.push_back(id);
  }
  std::vector<PLID> TakeList() { return std::move(list_); }

 private:
  std::unordered_set<PLID> known_;
  std::vector<PLID> list_;
};

void SetTable(TagContainer& package, const char* name, const std::vector<PLID>& ids) {
  TagContainer table;
  table.Ensure();
  for (std::size_t i = 0; i < ids.size(); ++i) {
    table.SetPLID(Zef::PString(std::to_string(i)), ids[i]);
  }
  package.SetSubContainer(Zef::PString(name), table);
}

}  // namespace

PackageIds PackageIdsOf(std::span<const TagContainer> assets) {
  static const Zef::PString idKey("plid");
  static const Zef::PString obsoletesKey("obsoletes-plid");
  PackageIds ids;
  for (const TagContainer& asset : assets) ids.contents.push_back(asset.GetPLID(idKey));
  IdTable dependencies;
  IdTable obsolete({ids.contents.begin(), ids.contents.end()});
  for (std::size_t i = 0; i < assets.size(); ++i) {
    const AssetRelations relations = RelationsOf(ids.contents[i], assets[i]);
    for (const PLID& id : relations.dependencies) dependencies.Add(id);
    for (const PLID& id : relations.obsolete) obsolete.Add(id);
    obsolete.Add(assets[i].GetPLID(obsoletesKey));
  }
  ids.dependencies = dependencies.TakeList();
  ids.obsolete = obsolete.TakeList();
  return ids;
}

void RebuildPackageTables(TagContainer& package, std::span<const TagContainer> assets) {
  const PackageIds ids = PackageIdsOf(assets);
  const bool isRunning = Database::Get().IsInitialised();
  IdTable dependencies({ids.contents.begin(), ids.contents.end()});
  const std::unordered_set<PLID> contents(ids.contents.begin(), ids.contents.end());
  for (const PLID& id : ids.dependencies) {
    // What comes with the package needs nothing in its stead, even if something replaces it here.
    if (!contents.contains(id)) dependencies.Add(isRunning ? MUKResolve(id) : id);
  }
  SetTable(package, "contents-table", ids.contents);
  SetTable(package, "plid-table", dependencies.TakeList());
  SetTable(package, "obsolete-table", ids.obsolete);
  package.SetString(Zef::PString("kind"), "archive");
  package.SetInt(Zef::PString("package-version"), 1);
}
