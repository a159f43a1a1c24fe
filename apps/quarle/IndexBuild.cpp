// quarle index build: makes the index of a product from its asset folders.

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/IndexOwner.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/OlderIndex.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/Utf8.h"
#include "database/ClassTables.h"
#include "database/ContentScan.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderReader.h"

namespace {

namespace Platform = Zef::Platform;

constexpr std::size_t kListed = 20;  // skipped folders, unless all are asked for

/// A folder below the root that holds assets, and the number of folders down to them.
struct Area {
  const char* name;
  int depth;
  bool inArchives;  ///< looked through for archives alone too
};
constexpr std::array<Area, 4> kAreas = {
    {{"world", 3, true}, {"trains", 2, true}, {"local", 1, false}, {"editing", 1, false}}};

/// Folders so many levels down, which a scan will look at. Like the scan it follows no links.
std::uint64_t CountFolders(const Platform::FolderReader& folder, int depth) {
  Platform::FolderListing entries;
  if (!folder.IsOpen() || !folder.List(&entries)) return 0;
  if (depth == 1) return entries.CountOf(Platform::EntryKind::Folder);
  std::uint64_t count = 0;
  for (std::size_t at = 0; at < entries.Count(); ++at) {
    if (entries.Kind(at) != Platform::EntryKind::Folder) continue;
    count += CountFolders(folder.OpenFolder(entries.Name(at)), depth - 1);
  }
  return count;
}

bool HasContent(const std::string& root) {
  return std::any_of(kAreas.begin(), kAreas.end(), [&](const Area& area) {
    return Platform::IsFolder(Platform::ResolveCase(root, area.name));
  });
}

/// Why the root, or one of the folders to look through, would be missed though it is there, or
/// nothing.
std::string ClosedArea(const std::string& root, bool archivesOnly) {
  const auto closed = [](const std::string& folder) {
    return "cannot read the folder " + Quoted(folder) + "; check its permissions";
  };
  if (!Platform::MayReadFolder(root)) return closed(root);
  for (const Area& area : kAreas) {
    if (archivesOnly && !area.inArchives) continue;
    const std::string folder = Platform::ResolveCase(root, area.name);
    Platform::FileInfo info;
    if (Platform::IsFolder(folder)) {
      if (!Platform::MayReadFolder(folder)) return closed(folder);
    } else if (Platform::GetInfoNoFollow(folder, &info) && info.link) {
      return Quoted(folder) + " is a link that leads to no folder; check that its disk is there";
    }
  }
  return {};
}

std::string TargetOf(const IndexBuildOptions& options) {
  return options.file.empty() ? Platform::ResolveCase(ExactPath(options.root), kDefaultIndexName)
                              : ExactPath(options.file);
}

ScanReport Scan(const IndexBuildOptions& options, const std::string& root,
                const CommonOptions& common, MUKAssetIndex& index) {
  std::uint64_t total = 0;
  if (Progress::IsWanted(common)) {
    for (const Area& area : kAreas) {
      const Platform::FolderReader folder(Platform::ResolveCase(root, area.name));
      total += CountFolders(folder, area.depth);
    }
  }
  Progress progress(common, "scanning " + Quoted(options.root), total);
  std::uint64_t done = 0;
  ScanOptions scan;
  scan.archivesOnly = options.archivesOnly;
  scan.markBuiltIn = options.builtIn;
  scan.progress = [&](const std::string&, std::size_t, std::size_t) { progress.Advance(++done); };
  return ScanProduct(index, root, scan);
}

/// What was built, for the two forms of the report.
struct Result {
  std::string file;
  OlderIndex older;
  std::uint64_t records = 0;
  ScanReport scan;
  std::map<std::string_view, std::uint64_t> classes;  ///< records by the name of their class
};

/// Classes with the most records first.
std::vector<std::pair<std::string_view, std::uint64_t>> ClassesByCount(const Result& result) {
  std::vector<std::pair<std::string_view, std::uint64_t>> classes(result.classes.begin(),
                                                                  result.classes.end());
  std::stable_sort(classes.begin(), classes.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  return classes;
}

void ReportJson(const Result& result) {
  JsonWriter json;
  json.BeginObject();
  json.Text("index", result.file);
  json.Unsigned("records", result.records);
  json.Unsigned("skipped", result.scan.Skipped());
  json.BeginObject("outcomes");
  for (std::size_t i = 0; i < kScanOutcomes; ++i) {
    json.Unsigned(ScanOutcomeName(static_cast<ScanOutcome>(i)), result.scan.counts[i]);
  }
  json.EndObject();
  json.BeginArray("messages");
  for (const ScanReport::Message& message : result.scan.messages) {
    json.NewLine();
    json.BeginObject();
    json.Text("folder", message.path);
    json.Text("outcome", ScanOutcomeName(message.outcome));
    json.EndObject();
  }
  json.EndArray();
  json.Unsigned("furtherMessages", result.scan.furtherMessages);
  json.BeginArray("classes");
  for (const auto& [name, records] : ClassesByCount(result)) {
    json.BeginObject();
    json.Text("name", name);
    json.Unsigned("records", records);
    json.EndObject();
  }
  json.EndArray();
  json.BeginArray("backups");
  for (const std::string& copy : result.older.copies) json.TextItem(copy);
  json.EndArray();
  json.EndObject();
}

void ListReasons(const ScanReport& scan) {
  for (std::size_t i = 0; i < kScanOutcomes; ++i) {
    const auto outcome = static_cast<ScanOutcome>(i);
    if (scan.counts[i] == 0 || !HasReason(outcome)) continue;
    Print("  " + std::to_string(scan.counts[i]) + " " + ScanOutcomeText(outcome) + "\n");
  }
}

void ListMessages(const ScanReport& scan, bool all) {
  const std::size_t count = scan.messages.size();
  const std::size_t listed = all ? count : std::min(count, kListed);
  for (std::size_t i = 0; i < listed; ++i) {
    const ScanReport::Message& message = scan.messages[i];
    Print("  " + Printable(message.path) + ": " + ScanOutcomeText(message.outcome) + "\n");
  }
  const std::uint64_t further = count - listed + scan.furtherMessages;
  if (further == 0) return;
  Print("  and " + std::to_string(further) + " more" + (all ? "" : " (--verbose)") + "\n");
}

void ReportText(const Result& result, bool verbose) {
  const ScanReport& scan = result.scan;
  Print(Quoted(result.file) + " is built: " + Counted(result.records, "record") + "; " +
        std::to_string(scan.Count(ScanOutcome::Found)) + " found, " +
        std::to_string(scan.Count(ScanOutcome::Merged)) + " merged, " +
        std::to_string(scan.Skipped()) + " skipped\n");
  for (const auto& [name, records] : ClassesByCount(result)) {
    Print("  " + Padded(name, 24) + std::to_string(records) + "\n");
  }
  if (!scan.messages.empty()) {
    Print(Emphasised(Emphasis::Warning, "Left out, or taken in with doubts") + "\n");
    ListReasons(scan);
    ListMessages(scan, verbose);
  }
  for (const std::string& copy : result.older.copies) {
    Print("The index as it was: " + Quoted(copy) + "\n");
  }
}

/// Puts the index in the place of an older one. False, with the failure's line printed, when a copy
/// of that or the index cannot be written. Where the older one still stands its copies go again.
bool Keep(MUKAssetIndex& index, bool noBackup, Result& result) {
  const IndexPlace place = PlaceOf(result.file);
  Platform::FileInfo before;
  const bool replaces = Platform::GetInfo(result.file, &before);
  if (!noBackup) result.older = KeepOlderIndex(result.file, place.folder, place.isDatabase);
  if (result.older.failed.empty() && index.Save(result.file, {.toDevice = true})) return true;
  Platform::FileInfo after;
  const bool stands = Platform::GetInfo(result.file, &after);
  if (stands == replaces && after.IsSameFile(before)) DeleteCopies(result.older);
  static_cast<void>(result.older.failed.empty()
                        ? Fail("cannot write the index " + Quoted(result.file) +
                               "; check that its folder may be written and has room")
                        : Fail("cannot keep a copy of " + Quoted(result.older.failed) + " in " +
                               Quoted(place.folder) +
                               "; check that this folder may be written and has room, " +
                               "or go without one by --no-backup"));
  return false;
}

/// Whatever else is printed: the index is not what the folders hold then.
void WarnOfUnreadable(const ScanReport& scan) {
  const std::uint64_t count =
      scan.Count(ScanOutcome::Unreadable) + scan.Count(ScanOutcome::UnreadableConfig);
  if (count == 0) return;
  const auto first =
      std::find_if(scan.messages.begin(), scan.messages.end(), [](const auto& message) {
        return message.outcome == ScanOutcome::Unreadable ||
               message.outcome == ScanOutcome::UnreadableConfig;
      });
  Warn("the index lacks what is in " + Counted(count, "folder") +
       " that cannot be read, or whose config cannot" +
       (first == scan.messages.end() ? "" : ", such as " + Quoted(first->path)) +
       "; check the permissions, and that no config is a link, and build anew");
}

std::string WhyNotScanned(const std::string& root, const IndexBuildOptions& options) {
  if (root.empty() || !Platform::IsFolder(root)) {
    return "there is no folder " + Quoted(options.root) + "; name the root of a product";
  }
  if (std::string closed = ClosedArea(root, options.archivesOnly); !closed.empty()) return closed;
  if (HasContent(root)) return {};
  return "no content in " + Quoted(options.root) +
         ": it holds none of the folders world, trains, local and editing; name the folder that "
         "does";
}

std::string WhyNotWritten(const std::string& file) {
  const std::string folder = PlaceOf(file).folder;
  if (!Platform::IsFolder(folder)) {
    return "there is no folder " + Quoted(folder) + " for the index; make it first";
  }
  Platform::FileInfo info;
  if (!Platform::GetInfo(file, &info) || (!info.folder && !info.readOnly)) return {};
  return "cannot write the index " + Quoted(file) + ": it is " +
         (info.folder ? "a folder; name a file" : "read-only; make it writable first");
}

}  // namespace

int RunIndexBuild(const IndexBuildOptions& options, const CommonOptions& common) {
  const std::string root = Platform::CanonicalPath(ExactPath(options.root));
  const std::string file = TargetOf(options);
  std::string why = WhyNotScanned(root, options);
  if (why.empty()) why = WhyNotWritten(file);
  if (!why.empty()) return Fail(why);
  IndexOwner owner;
  if (!owner.Take(file, "end that, or write elsewhere by --out")) return kFailed;
  MUKAssetIndex index;
  Result result;
  result.file = file;
  result.scan = Scan(options, root, common, index);
  result.records = index.Count();
  for (const MUKAsset* record : index.AllRecords()) {
    ++result.classes[ClassName(record->category.View())];
  }
  if (!Keep(index, options.noBackup, result)) return kFailed;
  owner.MarkChanged();
  if (common.json) {
    ReportJson(result);
  } else if (!common.quiet) {
    ReportText(result, options.verbose);
  }
  WarnOfUnreadable(result.scan);
  return kDone;
}
