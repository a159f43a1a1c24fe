// quarle index stat: what an index file is made of, in numbers.

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Utf8.h"
#include "kernel/standard/PopWord.h"

namespace {

struct Section {
  const char* name;
  std::uint64_t bytes;
};
constexpr std::array<const char*, 7> kSectionNames = {
    "records", "obsolete", "dependencies", "users", "configCache", "archives", "station"};

std::vector<Section> Sections(const IndexLoadReport& report) {
  std::vector<Section> sections;
  for (std::size_t i = 0; i < kSectionNames.size(); ++i) {
    const bool last = i + 1 == kSectionNames.size();
    const std::uint64_t end = last ? report.fileSize : report.sectionStarts[i + 1];
    sections.push_back({kSectionNames[i], end - report.sectionStarts[i]});
  }
  return sections;
}

struct Class {
  std::string_view code;
  std::uint64_t records;
};

struct Statistics {
  std::uint64_t records = 0;
  std::uint64_t present = 0;     ///< with a place on disk
  std::uint64_t assetBytes = 0;  ///< of assets whose size is known
  std::uint64_t sizesUnknown = 0;
  std::array<std::uint64_t, kAssetFlagCount> flags{};
  std::vector<Class> classes;  ///< most frequent first
};

/// Calls `visit` for each code of a list such as "TR;TV;LOCO".
template <class Visit>
void ForEachCode(std::string_view list, Visit&& visit) {
  while (!list.empty()) {
    const std::string_view code = Zef::PopWord(list, ';');
    if (!code.empty()) visit(code);
  }
}

Statistics Count(const MUKAssetIndex& index) {
  Statistics statistics;
  std::unordered_map<std::string_view, std::uint64_t> classes;
  for (const MUKAsset* record : index.AllRecords()) {
    ++statistics.records;
    if (record->IsPresent()) ++statistics.present;
    if (record->sizeBytes == MUKAsset::kSizeUnknown) {
      ++statistics.sizesUnknown;
    } else {
      statistics.assetBytes += record->sizeBytes;
    }
    for (std::size_t flag = 0; flag < statistics.flags.size(); ++flag) {
      if (record->Has(static_cast<AssetFlag>(flag))) ++statistics.flags[flag];
    }
    ForEachCode(record->category.View(), [&](std::string_view code) { ++classes[code]; });
  }
  for (const auto& [code, records] : classes) statistics.classes.push_back({code, records});
  std::sort(statistics.classes.begin(), statistics.classes.end(),
            [](const Class& a, const Class& b) {
              return a.records != b.records ? a.records > b.records : a.code < b.code;
            });
  return statistics;
}

std::vector<std::pair<const char*, std::size_t>> TableCounts(const MUKAssetIndex& index) {
  const IndexCompanions& companions = index.Companions();
  return {{"obsolete", index.Obsolete().Count()},
          {"dependencies", companions.dependencies.Count()},
          {"users", companions.users.entries.size()},
          {"cachedConfigs", companions.configCache.Tags().GetCount()},
          {"archives", companions.archives.All().size()},
          {"listsToFetch", companions.station.urlQueue.size()}};
}

void StatJson(const MUKAssetIndex& index, const IndexLoadReport& report,
              const Statistics& statistics, std::size_t top) {
  JsonWriter json;
  json.BeginObject();
  json.Unsigned("version", report.version);
  json.Unsigned("fileBytes", report.fileSize);
  json.Unsigned("records", statistics.records);
  json.Unsigned("present", statistics.present);
  json.Unsigned("assetBytes", statistics.assetBytes);
  json.Unsigned("sizesUnknown", statistics.sizesUnknown);
  json.BeginObject("sectionBytes");
  for (const Section& section : Sections(report)) json.Unsigned(section.name, section.bytes);
  json.EndObject();
  json.BeginObject("tables");
  for (const auto& [name, count] : TableCounts(index)) json.Unsigned(name, count);
  json.EndObject();
  json.BeginObject("flags");
  for (std::size_t flag = 0; flag < statistics.flags.size(); ++flag) {
    json.Unsigned(AssetFlagName(static_cast<AssetFlag>(flag)), statistics.flags[flag]);
  }
  json.EndObject();
  json.BeginArray("classes");
  for (std::size_t i = 0; i < std::min(top, statistics.classes.size()); ++i) {
    json.BeginObject();
    json.Text("code", statistics.classes[i].code);
    json.Unsigned("records", statistics.classes[i].records);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

void Row(std::string_view name, const std::string& value) {
  Print("  " + Padded(name, 24) + value + "\n");
}

std::string Share(std::uint64_t part, std::uint64_t whole) {
  std::array<char, 16> percent{};
  const double share =
      whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  std::snprintf(percent.data(), percent.size(), "%6.1f %%", share);
  return Padded(std::to_string(part), 10) + percent.data();
}

void StatText(const MUKAssetIndex& index, const IndexLoadReport& report,
              const Statistics& statistics, std::size_t top) {
  Print(Emphasised(Emphasis::Heading, Counted(statistics.records, "record")) + ", " +
        ByteSize(report.fileSize) + ", version " + std::to_string(report.version) + "\n");
  Row("with a place on disk", Share(statistics.present, statistics.records));
  Row("size of the assets", ByteSize(statistics.assetBytes) + " (" +
                                std::to_string(statistics.sizesUnknown) + " not measured)");
  Print(Emphasised(Emphasis::Heading, "Sections of the file") + "\n");
  for (const Section& section : Sections(report)) Row(section.name, ByteSize(section.bytes));
  Print(Emphasised(Emphasis::Heading, "Side tables") + "\n");
  for (const auto& [name, count] : TableCounts(index)) Row(name, std::to_string(count));
  Print(Emphasised(Emphasis::Heading, "Flags") + "\n");
  for (std::size_t flag = 0; flag < statistics.flags.size(); ++flag) {
    Row(AssetFlagName(static_cast<AssetFlag>(flag)),
        Share(statistics.flags[flag], statistics.records));
  }
  Print(Emphasised(Emphasis::Heading, "Classes") + " (" +
        std::to_string(statistics.classes.size()) + " in all)\n");
  for (std::size_t i = 0; i < std::min(top, statistics.classes.size()); ++i) {
    const Class& entry = statistics.classes[i];
    Row(Printable(entry.code), Share(entry.records, statistics.records));
  }
}

}  // namespace

int RunIndexStat(const IndexOptions& options, const CommonOptions& common) {
  MUKAssetIndex index;
  IndexLoadReport report;
  if (!LoadIndex(ExactPath(options.file), common, index, &report)) return kFailed;
  const Statistics statistics = Count(index);
  if (common.json) {
    StatJson(index, report, statistics, options.top);
  } else {
    StatText(index, report, statistics, options.top);
  }
  return kDone;
}
