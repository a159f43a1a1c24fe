// quarle index show: the records of an index file and its side tables.

#include "apps/quarle/AssetJson.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/TagJson.h"
#include "apps/quarle/Utf8.h"
#include "kernel/platform/Terminal.h"

namespace {

/// A bar would run through a listing on the same terminal.
CommonOptions WhileListing(const CommonOptions& common) {
  CommonOptions options = common;
  if (Zef::Platform::IsTerminal(Zef::Platform::StandardStream::Output)) options.quiet = true;
  return options;
}

template <class Visit>
void ForEachRecordShown(const MUKAssetIndex& index, const CommonOptions& common, Visit&& visit) {
  Progress progress(WhileListing(common), "writing", index.Count());
  std::uint64_t done = 0;
  for (const MUKAsset* record : index.AllRecords()) {
    visit(*record);
    progress.Advance(++done);
  }
}

void WriteArchive(JsonWriter& json, const ArchiveList::Archive& archive) {
  json.NewLine();
  json.BeginObject();
  json.Unsigned("flag", archive.flag);
  json.Unsigned("id", archive.id);
  json.Text("path", archive.path.View());
  json.Text("name", archive.name.View());
  json.Unsigned("stamp", archive.stamp);
  json.BeginArray("assets");
  for (const PLID& id : archive.assets) json.TextItem(id.TagText());
  json.EndArray();
  json.EndObject();
}

void WriteReferences(JsonWriter& json, const MUKAssetIndex& index) {
  json.BeginArray("obsolete");
  for (const ObsoleteTable::RowView& row : index.Obsolete().Rows()) {
    json.NewLine();
    json.BeginObject();
    json.Text("old", row.old.TagText());
    json.Text("replacement", row.replacement.TagText());
    json.EndObject();
  }
  json.EndArray();
  json.BeginArray("dependencies");
  for (const DependencyTable::Pair& pair : index.Companions().dependencies.Pairs()) {
    json.NewLine();
    json.BeginArray();
    json.TextItem(pair.asset.TagText());
    json.TextItem(pair.dependency.TagText());
    json.EndArray();
  }
  json.EndArray();
}

void WriteCompanions(JsonWriter& json, const IndexCompanions& companions) {
  json.BeginArray("users");
  for (const UserNameTable::Entry& user : companions.users.entries) {
    json.NewLine();
    json.BeginObject();
    json.Text("name", user.name.View());
    json.Unsigned("profileId", user.profileId);
    json.Number("userId", user.userId);
    json.EndObject();
  }
  json.EndArray();
  WriteTags(json, "configCache", companions.configCache.Tags());
  json.BeginArray("archives");
  for (const ArchiveList::Archive& archive : companions.archives.All()) {
    WriteArchive(json, archive);
  }
  json.EndArray();
  json.BeginObject("station");
  json.Text("lastReceivedFile", companions.station.lastReceivedFile.View());
  json.Unsigned("lastSearchTime", companions.station.lastSearchTime);
  json.BeginArray("urlQueue");
  for (const AssetText& url : companions.station.urlQueue) json.TextItem(url.View());
  json.EndArray();
  json.EndObject();
  json.Unsigned("storedValue", companions.storedValue);
  json.Float("storedFloat", companions.storedFloat);
}

void ShowJson(const MUKAssetIndex& index, const IndexLoadReport& report,
              const CommonOptions& common) {
  JsonWriter json;
  json.BeginObject();
  json.Unsigned("version", report.version);
  json.BeginArray("records");
  ForEachRecordShown(index, common, [&](const MUKAsset& record) {
    json.NewLine();
    WriteAssetItem(json, record);
  });
  json.EndArray();
  WriteReferences(json, index);
  WriteCompanions(json, index.Companions());
  json.EndObject();
}

void Heading(const char* title, std::size_t count) {
  Print(Emphasised(Emphasis::Heading, title + (" (" + std::to_string(count) + ")")) + "\n");
}

void ShowTables(const MUKAssetIndex& index) {
  const IndexCompanions& companions = index.Companions();
  Heading("Obsolete", index.Obsolete().Count());
  for (const ObsoleteTable::RowView& row : index.Obsolete().Rows()) {
    Print("  " + row.old.TagText() + " -> " + row.replacement.TagText() + "\n");
  }
  Heading("Dependencies", companions.dependencies.Count());
  for (const DependencyTable::Pair& pair : companions.dependencies.Pairs()) {
    Print("  " + pair.asset.TagText() + " needs " + pair.dependency.TagText() + "\n");
  }
  Heading("Users", companions.users.entries.size());
  for (const UserNameTable::Entry& user : companions.users.entries) {
    Print("  " + Padded(std::to_string(user.userId), 10) + " " + Printable(user.name.View()) +
          "\n");
  }
  Heading("Cached configs", companions.configCache.Tags().GetCount());
  Heading("Archives", companions.archives.All().size());
  for (const ArchiveList::Archive& archive : companions.archives.All()) {
    Print("  " + Printable(archive.name.View()) + ", " + Counted(archive.assets.size(), "asset") +
          ", " + Printable(archive.path.View()) + "\n");
  }
  Heading("Lists to fetch", companions.station.urlQueue.size());
  for (const AssetText& url : companions.station.urlQueue) {
    Print("  " + Printable(url.View()) + "\n");
  }
}

}  // namespace

int RunIndexShow(const IndexOptions& options, const CommonOptions& common) {
  MUKAssetIndex index;
  IndexLoadReport report;
  if (!LoadIndex(ExactPath(options.file), common, index, &report)) return kFailed;
  if (common.json) {
    ShowJson(index, report, common);
    return kDone;
  }
  Heading("Records", index.Count());
  ForEachRecordShown(index, common,
                     [](const MUKAsset& record) { Print("  " + AssetLine(record)); });
  ShowTables(index);
  return kDone;
}
