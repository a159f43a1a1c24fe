// quarle patch: applies a patch set through the plug-in, and makes sure of the result.
//
// The plug-in answers yes once it has applied a set, even when the index could then not be saved
// or a folder not be deleted. So the command works out beforehand, in memory, what the set makes
// of the index, and looks afterwards at what is on disk.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/FileCopy.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/IndexOwner.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/PluginHost.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/SetFile.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetRecord.h"
#include "kernel/ByteWriter.h"
#include "kernel/KeyedHash.h"
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

/// The identifiers of all records in their stored form, sorted.
Ids SortedIds(const MUKAssetIndex& index) {
  Ids ids;
  ids.reserve(index.Count());
  for (const MUKAsset* record : index.AllRecords()) {
    ids.push_back(std::bit_cast<std::uint64_t>(record->id.Stored()));
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

/// Both sorted. An identifier that stands several times counts as often.
Movement Compare(const Ids& before, const Ids& after) {
  Ids both;
  std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(both));
  return {after.size() - both.size(), before.size() - both.size(), both.size()};
}

/// A hash of all records as stored, in any order: what two states of an index are told apart by.
std::uint64_t HashOfRecords(const MUKAssetIndex& index) {
  std::uint64_t sum = index.Count();
  Zef::ByteWriter out;
  for (const MUKAsset* record : index.AllRecords()) {
    out.Clear();
    AppendRecord(out, *record);
    sum += Zef::KeyedHash({reinterpret_cast<const char*>(out.View().data()), out.Size()});
  }
  return sum;
}

/// What a set makes of an index.
struct Plan {
  std::uint64_t before = 0;  ///< HashOfRecords
  std::uint64_t after = 0;
  Movement moved;
  std::vector<std::string> folders;  ///< of replaced assets, below the root
  std::vector<std::string> kept;     ///< those of them that patching left
  bool setWhole = true;

  /// As with a set that was applied before. What has been installed since would be taken for the
  /// folders of replaced assets.
  bool ChangesNothing() const { return before == after; }
};

/// `folder` is as a record spells it.
bool IsThere(const std::string& root, const std::string& folder) {
  Zef::Platform::FileInfo info;
  return Zef::Platform::GetInfoNoFollow(FolderPath(root) + folder, &info);
}

/// Each folder that is there, once.
void LeaveOutMissing(const std::string& root, std::vector<std::string>& folders) {
  std::sort(folders.begin(), folders.end());
  folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
  std::erase_if(folders, [&](const std::string& folder) { return !IsThere(root, folder); });
}

/// Moves the folders that still stand over to `kept`.
void NoteKept(const std::string& root, Plan& plan) {
  const auto kept =
      std::stable_partition(plan.folders.begin(), plan.folders.end(),
                            [&](const std::string& folder) { return !IsThere(root, folder); });
  plan.kept.assign(kept, plan.folders.end());
  plan.folders.erase(kept, plan.folders.end());
}

bool MakePlan(const std::string& indexPath, const std::string& stem, const CommonOptions& common,
              Plan& plan) {
  std::array<PatchFileReport, kSetParts.size()> reports;
  if (!CountSet(stem, reports)) return false;
  for (const PatchFileReport& report : reports) plan.setWhole = plan.setWhole && report.whole;
  MUKAssetIndex index;
  if (!LoadIndex(indexPath, common, index, nullptr, {.keepConfigCache = false})) return false;
  try {
    const Progress progress(common, "reading the patch set");
    plan.before = HashOfRecords(index);
    const Ids before = SortedIds(index);
    PatchSetFiles files;
    if (files.Open(stem, Zef::FileMode::kRead)) {
      ApplyToIndex(files, index,
                   [&](const std::string& folder) { plan.folders.push_back(folder); });
      plan.after = HashOfRecords(index);
      plan.moved = Compare(before, SortedIds(index));
      return true;
    }
  } catch (const Zef::Exception&) {  // NOLINT(bugprone-empty-catch): reported below
  }
  static_cast<void>(Fail("cannot read the patch set " + Quoted(stem) + ".MUK*; make the set anew"));
  return false;
}

void ReportJson(const std::string& indexPath, const Plan& plan, bool dryRun,
                const std::string& backup) {
  JsonWriter json;
  json.BeginObject();
  json.Text("index", indexPath);
  json.Bool("dryRun", dryRun);
  json.Unsigned("came", plan.moved.came);
  json.Unsigned("went", plan.moved.went);
  json.Unsigned("stayed", plan.moved.stayed);
  json.Bool("setWhole", plan.setWhole);
  json.BeginArray("replacedFolders");
  for (const std::string& folder : plan.folders) json.TextItem(folder);
  json.EndArray();
  json.BeginArray("keptFolders");
  for (const std::string& folder : plan.kept) json.TextItem(folder);
  json.EndArray();
  if (backup.empty()) {
    json.Null("backup");
  } else {
    json.Text("backup", backup);
  }
  json.EndObject();
}

void PrintFolders(const std::string& heading, const std::vector<std::string>& folders) {
  if (folders.empty()) return;
  Print(heading + ":\n");
  for (const std::string& folder : folders) Print("  " + Printable(folder) + "\n");
}

void PrintChange(const std::string& indexPath, const Plan& plan, bool dryRun) {
  Print(Quoted(indexPath) + (dryRun ? " would change: " : " is patched: ") +
        std::to_string(plan.moved.came) + (dryRun ? " come, " : " came, ") +
        std::to_string(plan.moved.went) + (dryRun ? " go, " : " went, ") +
        std::to_string(plan.moved.stayed) + (dryRun ? " stay\n" : " stayed\n"));
  PrintFolders(Counted(plan.folders.size(), "folder") + " of replaced assets " +
                   (dryRun ? "to delete" : "deleted"),
               plan.folders);
  PrintFolders(Emphasised(Emphasis::Warning, "Not deleted whole"), plan.kept);
}

void PrintBackup(const std::string& backup) {
  if (!backup.empty()) Print("The index as it was: " + Quoted(backup) + "\n");
}

void WarnOfKept(const Plan& plan) {
  if (plan.kept.empty()) return;
  Warn(Counted(plan.kept.size(), "folder") + " of replaced assets not deleted whole, first " +
       Quoted(plan.kept.front()) + ", for want of a permission or because the path leads out of " +
       "the root");
}

void WarnOfCutSet(const Plan& plan) {
  if (plan.setWhole) return;
  Warn("the set is cut short, and its last entry counts as far as it goes; see 'quarle set check'");
}

int Report(const std::string& indexPath, const Plan& plan, bool dryRun, const std::string& backup,
           const CommonOptions& common) {
  if (common.json) {
    ReportJson(indexPath, plan, dryRun, backup);
  } else if (!common.quiet) {
    PrintChange(indexPath, plan, dryRun);
    PrintBackup(backup);
  }
  WarnOfKept(plan);
  WarnOfCutSet(plan);
  return kDone;
}

int ReportNothingToDo(const std::string& indexPath, const Plan& plan, bool dryRun,
                      const CommonOptions& common) {
  if (common.json) {
    ReportJson(indexPath, plan, dryRun, {});
  } else if (!common.quiet) {
    Print("Nothing to do: " + Quoted(indexPath) + " has all that the set brings\n");
  }
  WarnOfCutSet(plan);
  return kDone;
}

/// Copies the index. False, with the failure's line printed.
bool KeepBackup(const std::string& indexPath, const std::string& backup) {
  std::string why = Obstacle(backup);
  if (Zef::Platform::IsSameFile(indexPath, backup)) why = "it is the index itself; delete the link";
  if (why.empty() && CopyFileWhole(indexPath, backup)) return true;
  if (why.empty()) why = "check that its folder may be written and has room";
  static_cast<void>(Fail("cannot keep a copy of the index as " + Quoted(backup) + ": " + why +
                         ", or go without one by --no-backup"));
  return false;
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

/// `found` is the hash of an index that is not what was planned.
int FailUnplanned(const std::string& indexPath, const Plan& plan, std::uint64_t found,
                  const std::string& backup) {
  if (found == plan.before) {
    return Fail("the index " + Quoted(indexPath) + " was not saved and is as it was; check that " +
                "it and its folder may be written and that there is room");
  }
  return Fail("the index " + Quoted(indexPath) + " is not what the set makes of it; check the " +
              "plug-in, and that nothing else writes to the index" +
              (backup.empty() ? "" : "; as it was it is in " + Quoted(backup)));
}

}  // namespace

int RunPatch(const PatchOptions& options, const CommonOptions& common) {
  const std::string root = ExactPath(options.root);
  const std::string indexPath = FolderPath(options.root) + options.indexName;
  const std::string stem = SetStem(options.set, options.indexName);
  IndexOwner owner;
  if (!options.dryRun && !owner.Take(indexPath, "end that first")) return kFailed;
  Plan plan;
  if (!MakePlan(indexPath, stem, common, plan)) return kFailed;
  if (plan.ChangesNothing() && !options.again) {
    plan.folders.clear();
    return ReportNothingToDo(indexPath, plan, options.dryRun, common);
  }
  LeaveOutMissing(root, plan.folders);
  if (options.dryRun) return Report(indexPath, plan, true, {}, common);

  Zef::Platform::FileInfo info;
  if (Zef::Platform::GetInfo(indexPath, &info) && info.readOnly) {
    return Fail("the index " + Quoted(indexPath) + " is read-only and cannot be saved; make it " +
                "writable first");
  }
  PluginHost plugin;
  if (!plugin.Load(options.plugin)) return kFailed;
  const std::string backup = options.noBackup ? std::string() : indexPath + kBackupSuffix;
  if (!backup.empty() && !KeepBackup(indexPath, backup)) return kFailed;
  bool applied = false;
  bool loads = false;
  MUKAssetIndex saved;
  IndexLoadReport report;
  {
    const Progress progress(common, "patching");
    applied = plugin.Patch(options.indexName, root, FolderPath(options.set));
    owner.MarkChanged();
    loads = saved.Load(indexPath, &report, {.keepConfigCache = false});
  }
  if (!loads) return PutBack(indexPath, backup, DamageText(indexPath, report));
  if (!applied) {
    return Fail("the plug-in could not apply the set " + Quoted(stem) +
                ".MUK*; check that nobody else has it open, and try again");
  }
  const std::uint64_t found = HashOfRecords(saved);
  if (found != plan.after) return FailUnplanned(indexPath, plan, found, backup);
  NoteKept(root, plan);
  return Report(indexPath, plan, false, backup, common);
}
