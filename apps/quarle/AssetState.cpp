#include "apps/quarle/AssetState.h"

#include <array>

#include "apps/quarle/JsonWriter.h"
#include "database/AssetUpdate.h"
#include "database/MUKAsset.h"

namespace {

struct StateName {
  const char* shown;
  const char* key;  ///< in JSON
};
constexpr std::array<StateName, 6> kNames = {{{"unknown", "unknown"},
                                              {"absent", "absent"},
                                              {"new", "new"},
                                              {"installed", "installed"},
                                              {"built-in", "builtIn"},
                                              {"open for edit", "openForEdit"}}};

AssetState StateOf(const MUKAsset* record) {
  if (record == nullptr) return AssetState::Unknown;
  const bool isCommitted = !record->installPath.IsEmpty() || !record->legacyPath.IsEmpty();
  if (!record->editPath.IsEmpty()) return isCommitted ? AssetState::Open : AssetState::New;
  if (!isCommitted) return AssetState::Absent;
  return record->Has(AssetFlag::BuiltIn) ? AssetState::BuiltIn : AssetState::Installed;
}

const StateName& NameOf(AssetState state) { return kNames[static_cast<std::size_t>(state)]; }

}  // namespace

AssetStatus StatusOf(MUKAssetIndex& index, MUKAsset* record) {
  AssetStatus status;
  status.state = StateOf(record);
  if (record == nullptr) return status;
  bool changed = false;
  status.faulty = record->Has(AssetFlag::Faulty);
  status.missingDependency = HasMissingDependency(index, *record, &changed);
  status.faultyDependency = HasFaultyDependency(index, *record, &changed);
  return status;
}

std::string StatusText(const AssetStatus& status) {
  std::string text = NameOf(status.state).shown;
  if (status.faulty) text += ", faulty";
  if (status.missingDependency) text += ", missing dependency";
  if (status.faultyDependency) text += ", faulty dependency";
  return text;
}

void WriteStatus(JsonWriter& json, const AssetStatus& status) {
  json.Text("state", NameOf(status.state).key);
  json.Bool("faulty", status.faulty);
  json.Bool("missingDependency", status.missingDependency);
  json.Bool("faultyDependency", status.faultyDependency);
}

void BeginLook(JsonWriter& json) {
  json.BeginObject();
  json.Bool("done", true);
  json.BeginArray("messages");
  json.EndArray();
}
