// quarle index check: why an index file does not load, and what does not hold together in one
// that does.

#include <unordered_map>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"

namespace {

/// Findings of a kind that are listed for a reader; JSON has them all.
constexpr std::size_t kListed = 20;

struct Row {
  PLID from;
  PLID to;
};

struct Findings {
  std::vector<std::pair<PLID, std::size_t>> duplicates;  ///< with the number of records
  std::vector<Row> obsolete;      ///< replaced by an asset that has no record
  std::vector<Row> dependencies;  ///< of, or on, an asset that has no record
  std::size_t withoutId = 0;      ///< records under the null identifier
};

/// The first record of an identifier is the one that is found; in file order, each other counts.
void FindDuplicates(const MUKAssetIndex& index, Findings& findings) {
  std::unordered_map<PLID, std::size_t> places;
  for (const MUKAsset* record : index.AllRecords()) {
    if (record->id.IsNull()) {
      ++findings.withoutId;
      continue;
    }
    if (index.Find(record->id) == record) continue;
    const auto [place, isNew] = places.emplace(record->id, findings.duplicates.size());
    if (isNew) findings.duplicates.emplace_back(record->id, 1);
    ++findings.duplicates[place->second].second;
  }
}

/// The old side of an obsolete row usually has no record any more: that is what the row is for.
Findings Inspect(const MUKAssetIndex& index) {
  Findings findings;
  FindDuplicates(index, findings);
  for (const ObsoleteTable::RowView& row : index.Obsolete().Rows()) {
    if (index.Find(row.replacement) == nullptr) {
      findings.obsolete.push_back({row.old, row.replacement});
    }
  }
  for (const DependencyTable::Pair& pair : index.Companions().dependencies.Pairs()) {
    const bool holds =
        index.Find(pair.asset) != nullptr && index.Find(index.Resolve(pair.dependency)) != nullptr;
    if (!holds) findings.dependencies.push_back({pair.asset, pair.dependency});
  }
  return findings;
}

template <class Items, class Write>
void WriteList(JsonWriter& json, const char* key, const Items& items, const Write& write) {
  json.BeginArray(key);
  for (const auto& item : items) {
    json.NewLine();
    json.BeginObject();
    write(item);
    json.EndObject();
  }
  json.EndArray();
}

void CheckJson(const std::string& path, const IndexLoadReport& report, bool loads,
               const Findings& findings) {
  JsonWriter json;
  json.BeginObject();
  json.Text("file", path);
  json.Bool("loads", loads);
  if (!loads) {
    json.Text("damage", DamageText(path, report));
    json.Unsigned("offset", report.offset);
  }
  json.Unsigned("recordsWithoutIdentifier", findings.withoutId);
  WriteList(json, "duplicates", findings.duplicates, [&](const auto& item) {
    json.Text("id", item.first.TagText());
    json.Unsigned("records", item.second);
  });
  WriteList(json, "danglingObsolete", findings.obsolete, [&](const Row& row) {
    json.Text("old", row.from.TagText());
    json.Text("replacement", row.to.TagText());
  });
  WriteList(json, "danglingDependencies", findings.dependencies, [&](const Row& row) {
    json.Text("asset", row.from.TagText());
    json.Text("dependency", row.to.TagText());
  });
  json.EndObject();
}

template <class Items, class Line>
void PrintList(const std::string& heading, const Items& items, const Line& line) {
  if (items.empty()) return;
  Print(Emphasised(Emphasis::Warning, heading) + " (" + std::to_string(items.size()) + ")\n");
  for (std::size_t i = 0; i < items.size() && i < kListed; ++i) Print("  " + line(items[i]) + "\n");
  if (items.size() > kListed) {
    Print("  and " + std::to_string(items.size() - kListed) + " more (all with --json)\n");
  }
}

void CheckText(const MUKAssetIndex& index, const Findings& findings) {
  Print(Counted(index.Count(), "record") + " loaded\n");
  PrintList("Identifiers with more than one record", findings.duplicates, [](const auto& item) {
    return item.first.TagText() + ": " + Counted(item.second, "record");
  });
  PrintList("Replaced identifiers whose replacement has no record", findings.obsolete,
            [](const Row& row) { return row.from.TagText() + " -> " + row.to.TagText(); });
  PrintList("Dependencies of or on assets without a record", findings.dependencies,
            [](const Row& row) { return row.from.TagText() + " needs " + row.to.TagText(); });
  if (findings.withoutId != 0) {
    Print(Emphasised(Emphasis::Warning, Counted(findings.withoutId, "record")) +
          " without an identifier\n");
  }
}

}  // namespace

int RunIndexCheck(const IndexOptions& options, const CommonOptions& common) {
  const std::string path = ExactPath(options.file);
  MUKAssetIndex index;
  IndexLoadReport report;
  bool loads = false;
  Findings findings;
  {
    const Progress progress(common, "checking " + Quoted(path));
    loads = index.Load(path, &report, {.keepConfigCache = false});
    if (loads) findings = Inspect(index);
  }
  if (common.json) {
    CheckJson(path, report, loads, findings);
  } else if (loads && !common.quiet) {
    CheckText(index, findings);
  }
  if (!loads) return Fail(LoadFailure(path, report));
  if (findings.duplicates.empty()) return kDone;
  return Fail("the index " + Quoted(path) + " has " +
              Counted(findings.duplicates.size(), "identifier") +
              " with more than one record; build it anew");
}
