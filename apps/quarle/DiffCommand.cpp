// quarle diff: makes a patch set through the plug-in and sums it up.

#include <algorithm>
#include <array>

#include "apps/quarle/Commands.h"
#include "apps/quarle/DiffOutput.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/PluginHost.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/SetFile.h"
#include "kernel/platform/FileSystem.h"

namespace {

/// The plug-in only says no; looks for the reason afterwards, so that a good run pays nothing.
int ExplainFailure(const std::string& oldIndex, const std::string& newIndex,
                   const std::string& stem, const CommonOptions& common) {
  for (const std::string& path : {oldIndex, newIndex}) {
    MUKAssetIndex index;
    if (!LoadIndex(path, common, index, nullptr, {.keepConfigCache = false})) return kFailed;
  }
  return Fail("cannot write the patch set " + Quoted(stem) +
              ".MUK*: check that its folder may be written and has room");
}

using Reports = std::array<PatchFileReport, kSetParts.size()>;

void Report(const std::string& output, const Reports& reports, std::uint64_t bytes,
            const CommonOptions& common) {
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("set", output);
    for (std::size_t i = 0; i < kSetParts.size(); ++i) {
      json.Unsigned(kSetParts[i].name, reports[i].entries);
    }
    json.Unsigned("bytes", bytes);
    json.EndObject();
  } else if (!common.quiet) {
    std::string line = "Patch set " + Quoted(output) + ":";
    for (std::size_t i = 0; i < kSetParts.size(); ++i) {
      line += " " + std::to_string(reports[i].entries) + " " + kSetParts[i].name + ",";
    }
    Print(line + " " + ByteSize(bytes) + "\n");
  }
}

bool HasBuiltIn(const std::string& path) {
  MUKAssetIndex index;
  if (!index.Load(path, nullptr, {.keepConfigCache = false})) return false;
  const auto records = index.AllRecords();
  return std::any_of(records.begin(), records.end(),
                     [](const MUKAsset* record) { return record->Has(AssetFlag::BuiltIn); });
}

/// Of a set that is empty because there was nothing to compare.
void WarnOfNothingCompared(const std::string& oldIndex, const std::string& newIndex) {
  if (HasBuiltIn(oldIndex) || HasBuiltIn(newIndex)) return;
  Warn("neither " + Quoted(oldIndex) + " nor " + Quoted(newIndex) +
       " has a record of the product's own content, and a diff compares no others; build both by "
       "'quarle index build --built-in'");
}

}  // namespace

int RunDiff(const DiffOptions& options, const CommonOptions& common) {
  const std::string oldRoot = FolderPath(options.oldRoot);
  const std::string newRoot = FolderPath(options.newRoot);
  const std::string output = FolderPath(options.output);
  const std::string stem = SetStem(options.output, options.indexName);
  PluginHost plugin;
  if (!plugin.Load(options.plugin)) return kFailed;
  const std::string oldIndex = oldRoot + options.indexName;
  const std::string newIndex = newRoot + options.indexName;
  if (!Zef::Platform::Exists(oldIndex) || !Zef::Platform::Exists(newIndex)) {
    return ExplainFailure(oldIndex, newIndex, stem, common);
  }
  DiffOutput set(options.output, options.indexName);
  if (!set.Make()) return kFailed;
  bool made = false;
  {
    const Progress progress(common, "comparing");
    made = plugin.Diff(options.indexName, oldRoot, newRoot, set.Root()) && set.Keep();
  }
  if (!made) return ExplainFailure(oldIndex, newIndex, stem, common);
  Reports reports;
  if (!CountSet(stem, reports)) return kFailed;
  std::uint64_t bytes = 0;
  for (const PatchFileReport& report : reports) bytes += report.size;
  Report(output, reports, bytes, common);
  if (bytes == 0) WarnOfNothingCompared(oldIndex, newIndex);
  return kDone;
}
