#include "database/PackageTables.h"

#include <string>
#include <unordered_set>
#include <vector>

#include "database/Accessors.h"
#include "database/AssetUpdate.h"
#include "database/Database.h"

namespace {

const Zef::PString& IdKey() {
  static const Zef::PString key("plid");
  return key;
}

/// Identifiers in the order they came, each once, and none of those in the package.
class IdTable {
 public:
  explicit IdTable(const std::unordered_set<PLID>& excluded) : known_(excluded) {}

  void Add(const PLID& id) {
    if (!id.IsNull() && known_.insert(id).second) list_.push_back(id);
  }
  const std::vector<PLID>& List() const { return list_; }

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

void RebuildPackageTables(TagContainer& package, std::span<const TagContainer> assets) {
  static const Zef::PString obsoletesKey("obsoletes-plid");
  std::vector<PLID> contents;
  for (const TagContainer& asset : assets) contents.push_back(asset.GetPLID(IdKey()));
  const std::unordered_set<PLID> present(contents.begin(), contents.end());

  IdTable dependencies(present);
  IdTable obsolete(present);
  const bool isRunning = Database::Get().IsInitialised();
  for (std::size_t i = 0; i < assets.size(); ++i) {
    const AssetRelations relations = RelationsOf(contents[i], assets[i]);
    for (const PLID& id : relations.dependencies) {
      dependencies.Add(isRunning ? MUKResolve(id) : id);
    }
    for (const PLID& id : relations.obsolete) obsolete.Add(id);
    obsolete.Add(assets[i].GetPLID(obsoletesKey));
  }
  SetTable(package, "contents-table", contents);
  SetTable(package, "plid-table", dependencies.List());
  SetTable(package, "obsolete-table", obsolete.List());
  package.SetString(Zef::PString("kind"), "archive");
  package.SetInt(Zef::PString("package-version"), 1);
}
