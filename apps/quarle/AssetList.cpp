// quarle asset list: the assets of a product, all or those that are asked for.

#include <algorithm>
#include <iterator>
#include <vector>

#include "apps/quarle/AssetSession.h"
#include "apps/quarle/AssetState.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Utf8.h"
#include "database/CodeList.h"
#include "database/MUKAssetIndex.h"
#include "database/ShownName.h"
#include "kernel/standard/PopWord.h"

namespace {

constexpr std::size_t kIdWidth = 26;
constexpr std::size_t kKindWidth = 20;
constexpr std::size_t kNameWidth = 36;

/// What a line tells; the texts lie in the listing.
struct Row {
  PLID id;
  AssetStatus status;
  std::size_t nameSize = 0;
  std::size_t kindSize = 0;
};

/// The rows and their texts, in a few large blocks.
struct Listing {
  std::vector<Row> rows;
  std::string texts;  ///< name and kind of each row, one after the other
};

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> words;
  while (!text.empty()) {
    const std::string_view word = Zef::PopWord(text, ';');
    if (!word.empty()) words.emplace_back(word);
  }
  return words;
}

class Filter {
 public:
  explicit Filter(const AssetOptions& options)
      : options_(options),
        words_(Split(KeywordForm(options.query))),
        kinds_(Split(options.kinds)) {}

  /// What the record's own texts say, which costs less than its status.
  bool Takes(const MUKAssetIndex& index, const MUKAsset& record) const {
    const auto isOf = [&](const std::string& kind) {
      return HasCode(record.category.View(), kind);
    };
    if (!options_.kinds.empty() && std::none_of(kinds_.begin(), kinds_.end(), isOf)) return false;
    if (words_.empty()) return true;
    const Zef::SharedText text = index.SearchText(record);
    return std::all_of(words_.begin(), words_.end(), [&](const std::string& word) {
      return text.View().find(word) != std::string_view::npos;
    });
  }
  bool Takes(const AssetStatus& status) const {
    if (options_.faulty && !status.faulty && !status.faultyDependency) return false;
    return !options_.missing || status.missingDependency;
  }

 private:
  const AssetOptions& options_;
  std::vector<std::string> words_;
  std::vector<std::string> kinds_;
};

/// Only what is listed gets sorted.
Listing Collect(MUKAssetIndex& index, const Filter& filter) {
  const auto all = index.AllRecords();
  std::vector<MUKAsset*> records;
  std::copy_if(all.begin(), all.end(), std::back_inserter(records),
               [&](const MUKAsset* record) { return filter.Takes(index, *record); });
  SortByShownName(records);
  Listing listing;
  for (MUKAsset* const record : records) {
    const AssetStatus status = StatusOf(index, record);
    if (!filter.Takes(status)) continue;
    const std::string_view name = record->ShownName().View();
    const std::string_view kind = record->category.View();
    listing.rows.push_back({record->id, status, name.size(), kind.size()});
    listing.texts.append(name).append(kind);
  }
  return listing;
}

template <class Visit>
void ForEachRow(const Listing& listing, Visit&& visit) {
  std::string_view texts = listing.texts;
  for (const Row& row : listing.rows) {
    visit(row, texts.substr(0, row.nameSize), texts.substr(row.nameSize, row.kindSize));
    texts.remove_prefix(row.nameSize + row.kindSize);
  }
}

void PrintJson(const Listing& listing) {
  JsonWriter json;
  BeginLook(json);
  json.BeginArray("assets");
  ForEachRow(listing, [&](const Row& row, std::string_view name, std::string_view kind) {
    json.NewLine();
    json.BeginObject();
    json.Text("id", row.id.TagText());
    json.Text("name", name);
    json.Text("category", kind);
    WriteStatus(json, row.status);
    json.EndObject();
  });
  json.EndArray();
  json.EndObject();
}

void PrintText(const Listing& listing, bool quiet) {
  ForEachRow(listing, [](const Row& row, std::string_view name, std::string_view kind) {
    Print(Padded(row.id.TagText(), kIdWidth) + " " + Padded(Printable(name), kNameWidth) + " " +
          Padded(Printable(kind), kKindWidth) + " " + StatusText(row.status) + "\n");
  });
  if (!quiet) Print(Emphasised(Emphasis::Faint, Counted(listing.rows.size(), "asset")) + "\n");
}

}  // namespace

int RunAssetList(const AssetOptions& options, const CommonOptions& common) {
  AssetSession session(options.root, common);
  if (!session.Open()) return kFailed;
  const Listing listing = Collect(session.Index(), Filter(options));
  session.CloseUnchanged();
  if (common.json) {
    PrintJson(listing);
  } else {
    PrintText(listing, common.quiet);
  }
  return kDone;
}
