// quarle patch: applies a patch set through the plug-in, and makes sure of the result.
//
// The plug-in says yes once it has applied a set, even when the index could then not be saved.
// So the command works out beforehand, in memory, what the set makes of the index, and compares
// with what it finds on disk afterwards.

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/FileCopy.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/PluginHost.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/SetFile.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetRecord.h"
#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"

namespace {

constexpr const char* kBackupSuffix = ".bak";

using Ids = std::vector<std::uint64_t>;

struct Movement {
  std::uint64_t came = 0;
  std::uint64_t went = 0;
  std::uint64_t stayed = 0;
};

/// Both sorted. An identifier that stands several times counts as often.
Movement Compare(const Ids& before, const Ids& after) {
  Ids both;
  std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(both));
  return {after.size() - both.size(), before.size() - both.size(), both.size()};
}

/// What a set makes of an index.
struct Plan {
  Ids before;
  Ids after;
  std::vector<std::string> folders;  ///< of replaced assets, below the root
  bool setWhole = true;
  /// The index is that of an earlier run: no record would change, but what has been installed since
  /// would be taken for the folders of replaced assets.
  bool isApplied = false;
};

/// All records as stored, in any one order.
std::vector<std::string> StoredRecords(const MUKAssetIndex& index) {
  std::vector<std::string> stored;
  for (const MUKAsset* record : index.AllRecords()) {
    Zef::ByteWriter out;
    AppendRecord(out, *record);
    stored.emplace_back(reinterpret_cast<const char*>(out.View().data()), out.Size());
  }
  std::sort(stored.begin(), stored.end());
  return stored;
}

bool HasRecordsOf(const std::string& indexPath, const MUKAssetIndex& patched) {
  MUKAssetIndex index;
  return index.Load(indexPath, nullptr, {.keepConfigCache = false}) &&
         StoredRecords(index) == StoredRecords(patched);
}

bool MakePlan(const std::string& indexPath, const std::string& stem, const CommonOptions& common,
              Plan& plan) {
  std::array<PatchFileReport, kSetParts.size()> reports;
  if (!CountSet(stem, reports)) return false;
  for (const PatchFileReport& report : reports) plan.setWhole = plan.setWhole && report.whole;
  MUKAssetIndex index;
  if (!LoadIndex(indexPath, common, index, nullptr, {.keepConfigCache = false})) return false;
  plan.before = SortedIds(index);
  try {
    const Progress progress(common, "reading the patch set");
    PatchSetFiles files;
    if (files.Open(stem, Zef::FileMode::kRead)) {
      ApplyToIndex(files, index,
                   [&](const std::string& folder) { plan.folders.push_back(folder); });
      plan.after = SortedIds(index);
      plan.isApplied =
          !plan.folders.empty() && plan.before == plan.after && HasRecordsOf(indexPath, index);
      return true;
    }
  } catch (const Zef::Exception&) {  // NOLINT(bugprone-empty-catch): reported below
  }
  static_cast<void>(Fail("cannot read the patch set " + Quoted(stem) + ".MUK*; make the set anew"));
  return false;
}

void ReportJson(const std::string& indexPath, const Plan& plan, const Movement& moved, bool dryRun,
                const std::string& backup) {
  JsonWriter json;
  json.BeginObject();
  json.Text("index", indexPath);
  json.Bool("dryRun", dryRun);
  json.Unsigned("came", moved.came);
  json.Unsigned("went", moved.went);
  json.Unsigned("stayed", moved.stayed);
  json.Bool("setWhole", plan.setWhole);
  json.BeginArray("replacedFolders");
  for (const std::string& folder : plan.folders) json.TextItem(folder);
  json.EndArray();
  if (backup.empty()) {
    json.Null("backup");
  } else {
    json.Text("backup", backup);
  }
  json.EndObject();
}

void ReportText(const std::string& indexPath, const Plan& plan, const Movement& moved, bool dryRun,
                const std::string& backup) {
  Print(Quoted(indexPath) + (dryRun ? " would change: " : " is patched: ") +
        std::to_string(moved.came) + (dryRun ? " come, " : " came, ") + std::to_string(moved.went) +
        (dryRun ? " go, " : " went, ") + std::to_string(moved.stayed) +
        (dryRun ? " stay\n" : " stayed\n"));
  if (!plan.folders.empty()) {
    Print(Counted(plan.folders.size(), "folder") + " of replaced assets" +
          (dryRun ? " to delete:\n" : " deleted:\n"));
    for (const std::string& folder : plan.folders) Print("  " + Printable(folder) + "\n");
  }
  if (!plan.setWhole) {
    Print(Emphasised(Emphasis::Warning, "The set is cut short") +
          ": its last entry counts as far as it goes (see `quarle set check`)\n");
  }
  if (!backup.empty()) Print("The index as it was: " + Quoted(backup) + "\n");
}

int Report(const std::string& indexPath, const Plan& plan, const Ids& after, bool dryRun,
           const std::string& backup, const CommonOptions& common) {
  const Movement moved = Compare(plan.before, after);
  if (common.json) {
    ReportJson(indexPath, plan, moved, dryRun, backup);
  } else if (!common.quiet) {
    ReportText(indexPath, plan, moved, dryRun, backup);
  }
  return kDone;
}

/// The rename needs no room on a disk that may be full.
int PutBack(const std::string& indexPath, const std::string& backup, const std::string& damage) {
  const std::string what =
      "the plug-in left an index " + Quoted(indexPath) + " that does not load: " + damage + "; ";
  if (backup.empty()) return Fail(what + "no copy was kept, so restore it from elsewhere");
  if (!Zef::Platform::Replace(backup, indexPath)) {
    return Fail(what + "move the copy " + Quoted(backup) + " back, which was not possible here");
  }
  return Fail(what + "the copy was put back, so check the plug-in and the room on the disk");
}

}  // namespace

int RunPatch(const PatchOptions& options, const CommonOptions& common) {
  const std::string root = ExactPath(options.root);
  const std::string indexPath = FolderPath(options.root) + options.indexName;
  const std::string stem = SetStem(options.set, options.indexName);
  Plan plan;
  if (!MakePlan(indexPath, stem, common, plan)) return kFailed;
  if (plan.isApplied && !options.again) {
    plan.folders.clear();
    if (common.json) {
      ReportJson(indexPath, plan, Compare(plan.before, plan.after), options.dryRun, {});
    } else if (!common.quiet) {
      Print("Nothing to do: " + Quoted(indexPath) + " has all that the set brings\n");
    }
    return kDone;
  }
  if (options.dryRun) return Report(indexPath, plan, plan.after, true, {}, common);

  PluginHost plugin;
  if (!plugin.Load(options.plugin)) return kFailed;
  const std::string backup = options.noBackup ? std::string() : indexPath + kBackupSuffix;
  if (!backup.empty() && !CopyFileWhole(indexPath, backup)) {
    return Fail("cannot keep a copy of the index as " + Quoted(backup) +
                "; check that its folder may be written and has room, or go without one by " +
                "--no-backup");
  }
  bool applied = false;
  bool loads = false;
  MUKAssetIndex saved;
  IndexLoadReport report;
  {
    const Progress progress(common, "patching");
    applied = plugin.Patch(options.indexName, root, FolderPath(options.set));
    loads = saved.Load(indexPath, &report, {.keepConfigCache = false});
  }
  if (!loads) return PutBack(indexPath, backup, DamageText(indexPath, report));
  if (!applied) {
    return Fail("the plug-in could not apply the set " + Quoted(stem) +
                ".MUK*; check that nobody else has it open, and try again");
  }
  const Ids after = SortedIds(saved);
  if (after == plan.before && after != plan.after) {
    return Fail("the index " + Quoted(indexPath) + " was not saved and is as it was; check that " +
                "its folder may be written and has room");
  }
  return Report(indexPath, plan, after, false, backup, common);
}
