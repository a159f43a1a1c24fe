// quarle asset show: what is known of one asset.

#include <vector>

#include "apps/quarle/AssetId.h"
#include "apps/quarle/AssetJson.h"
#include "apps/quarle/AssetSession.h"
#include "apps/quarle/AssetState.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetFolder.h"
#include "database/AssetWalk.h"
#include "database/MUKAssetIndex.h"

namespace {

constexpr std::size_t kIdWidth = 26;
constexpr std::size_t kNameWidth = 36;
constexpr std::size_t kLabelWidth = 14;

struct Folder {
  const char* kind;
  std::string path;
  bool exists;
};

struct Dependency {
  PLID named;
  PLID id;  ///< what replaces it, or itself
  std::string name;
  AssetStatus status;
};

struct Shown {
  MUKAsset record;
  AssetStatus status;
  std::vector<Folder> folders;
  std::vector<Dependency> dependencies;
  std::vector<PLID> replaces;
  PLID replacedBy;
};

std::vector<Folder> FoldersOf(const std::string& root, const MUKAsset& record) {
  const struct {
    const char* kind;
    bool set;
    AssetPlace place;
  } places[] = {{"editing", !record.editPath.IsEmpty(), EditPlace(root, record)},
                {"installed", !record.installPath.IsEmpty(), InstallPlace(root, record)},
                {"legacy", !record.legacyPath.IsEmpty(), LegacyPlace(root, record)}};
  std::vector<Folder> folders;
  for (const auto& [kind, set, place] : places) {
    if (set) folders.push_back({kind, PlaceText(place), FolderExists(place)});
  }
  return folders;
}

Shown Collect(const AssetSession& session, MUKAsset& record) {
  MUKAssetIndex& index = session.Index();
  Shown shown;
  shown.record = record;
  shown.status = StatusOf(index, &record);
  shown.folders = FoldersOf(session.Root(), record);
  for (const PLID& named : index.Companions().dependencies.DependenciesOf(record.id)) {
    const PLID id = index.Resolve(named);
    MUKAsset* const below = index.Find(id);
    std::string name;
    if (below != nullptr) name = below->ShownName().String();
    shown.dependencies.push_back({named, id, std::move(name), StatusOf(index, below)});
  }
  shown.replaces = index.Obsolete().ReplacedBy(record.id);
  shown.replacedBy = index.ResolveExact(record.id);
  return shown;
}

void WriteDependency(JsonWriter& json, const Dependency& dependency) {
  json.NewLine();
  json.BeginObject();
  json.Text("named", dependency.named.TagText());
  json.Text("id", dependency.id.TagText());
  json.Text("name", dependency.name);
  WriteStatus(json, dependency.status);
  json.EndObject();
}

void PrintJson(const Shown& shown) {
  JsonWriter json;
  BeginLook(json);
  json.BeginObject("asset");
  WriteAssetFields(json, shown.record);
  json.EndObject();
  WriteStatus(json, shown.status);
  json.BeginArray("folders");
  for (const Folder& folder : shown.folders) {
    json.BeginObject();
    json.Text("kind", folder.kind);
    json.Text("path", folder.path);
    json.Bool("exists", folder.exists);
    json.EndObject();
  }
  json.EndArray();
  json.BeginArray("dependencies");
  for (const Dependency& dependency : shown.dependencies) WriteDependency(json, dependency);
  json.EndArray();
  json.BeginArray("replaces");
  for (const PLID& id : shown.replaces) json.TextItem(id.TagText());
  json.EndArray();
  if (shown.replacedBy.IsNull()) {
    json.Null("replacedBy");
  } else {
    json.Text("replacedBy", shown.replacedBy.TagText());
  }
  json.EndObject();
}

void Line(const char* label, std::string_view value) {
  if (!value.empty()) Print("  " + Padded(label, kLabelWidth) + Printable(value) + "\n");
}

void PrintFields(const Shown& shown) {
  const MUKAsset& record = shown.record;
  Print(Emphasised(Emphasis::Heading, record.id.TagText()) + "  " +
        Printable(record.ShownName().View()) + "\n");
  Line("state", StatusText(shown.status));
  const struct {
    const char* label;
    const AssetText& text;
  } texts[] = {{"kind", record.category},
               {"region", record.region},
               {"era", record.era},
               {"keywords", record.keywords},
               {"description", record.description}};
  for (const auto& [label, text] : texts) Line(label, text.View());
  if (record.sizeBytes != MUKAsset::kSizeUnknown) Line("size", ByteSize(record.sizeBytes));
  for (const Folder& folder : shown.folders) {
    Line(folder.kind, folder.path + (folder.exists ? "" : " (is not there)"));
  }
  for (const PLID& id : shown.replaces) Line("replaces", id.TagText());
  if (!shown.replacedBy.IsNull()) Line("replaced by", shown.replacedBy.TagText());
}

void PrintDependencies(const Shown& shown) {
  if (shown.dependencies.empty()) return;
  Print(Emphasised(Emphasis::Heading, "Depends on") + "\n");
  for (const Dependency& dependency : shown.dependencies) {
    std::string line = "  " + Padded(dependency.id.TagText(), kIdWidth) + " " +
                       Padded(Printable(dependency.name), kNameWidth) + " " +
                       StatusText(dependency.status);
    if (dependency.named != dependency.id) line += ", for " + dependency.named.TagText();
    Print(line + "\n");
  }
}

}  // namespace

int RunAssetShow(const AssetOptions& options, const CommonOptions& common) {
  PLID id;
  if (!ParseAssetId(options.id, &id)) return kUsage;
  AssetSession session(options.root, common);
  if (!session.Open()) return kFailed;
  MUKAsset* const record = session.Find(id);
  if (record == nullptr) return kFailed;
  const Shown shown = Collect(session, *record);
  session.CloseUnchanged();
  if (common.json) {
    PrintJson(shown);
  } else {
    PrintFields(shown);
    PrintDependencies(shown);
  }
  return kDone;
}
