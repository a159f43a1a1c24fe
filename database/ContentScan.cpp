#include "database/ContentScan.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/DatabaseFiles.h"
#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"
#include "kernel/Clock.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Subst.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;

constexpr std::string_view kWorld = "world";
constexpr std::string_view kTrains = "trains";
constexpr std::string_view kEditing = "editing";
constexpr std::string_view kArchiveEnding = ".ja";

bool StartsFolded(std::string_view text, std::string_view start) {
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(),
                    [](char a, char b) { return a == Zef::FoldAscii(b); });
}

bool IsArchiveName(std::string_view name) {
  return name.size() > kArchiveEnding.size() &&
         StartsFolded(name.substr(name.size() - kArchiveEnding.size()), kArchiveEnding);
}

std::string Join(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!path.empty() && !name.empty()) path += '/';
  return path += name;
}

/// True for a name that means itself wherever it becomes part of a path.
bool IsPlainName(std::string_view name) {
  return name.find('\\') == std::string_view::npos && !Zef::IsRootedPath(name);
}

/// A legacy location in the folder "local" is one below the archive "local".
void UpgradeLocation(MUKAsset& record) {
  const std::size_t head = kLocalArchive.size() + 1;
  const std::string path = record.legacyPath.String();
  if (!record.installPath.IsEmpty() || path.size() <= head) return;
  record.installPath = std::string_view(path).substr(head);
  record.archiveName = kLocalArchive;
  record.legacyPath.Clear();
}

bool IsInLocal(std::string_view path) {
  const std::size_t head = kLocalArchive.size();
  return StartsFolded(path, kLocalArchive) && path.size() > head && Zef::IsSeparator(path[head]);
}

bool IsFolderBelow(const std::string& root, const std::string& path) {
  return Zef::Platform::IsFolder(Zef::Platform::ResolveCase(root, path));
}

ScanOutcome OutcomeOf(ConfigStatus status) {
  switch (status) {
    case ConfigStatus::NoConfig:
      return ScanOutcome::NoConfig;
    case ConfigStatus::TooLarge:
      return ScanOutcome::LargeConfig;
    case ConfigStatus::NotTags:
      return ScanOutcome::NotTags;
    default:
      return ScanOutcome::UnreadableConfig;
  }
}

}  // namespace

/// An open folder: `folder` below `base` below the root, and its path on disk.
struct ContentScan::Spot {
  std::string base;
  std::string folder;
  std::string disk;
  FolderReader reader;
  FolderListing entries;

  std::string Path() const { return Join(base, folder); }
};

ContentScan::ContentScan(MUKAssetIndex& index, ConfigReader& configs, ScanOptions options,
                         ScanReport* report)
    : index_(index), configs_(configs), options_(std::move(options)), report_(report) {
  if (options_.now == 0) options_.now = Zef::RealClock().UnixTime();
}

void ContentScan::Tell(ScanOutcome outcome, const Spot& spot) {
  if (report_ == nullptr) return;
  const bool hasPath = outcome != ScanOutcome::Found && outcome != ScanOutcome::Merged;
  report_->Add(outcome, hasPath ? spot.Path() : std::string());
}

/// Opens and lists the folder of a spot by its path; tells of one that is there and cannot be.
bool ContentScan::Open(Spot& spot) {
  if (configs_.Root().empty()) return false;
  spot.disk = Zef::Platform::ResolveCase(configs_.Root(), spot.Path());
  spot.reader = FolderReader(spot.disk);
  if (spot.reader.IsOpen() && spot.reader.List(&spot.entries)) return true;
  if (Zef::Platform::IsFolder(spot.disk)) Tell(ScanOutcome::Unreadable, spot);
  return false;
}

/// Calls visit(child) for each folder in an open one, listed, in order; tells of what cannot be.
template <typename Visit>
void ContentScan::ForEachFolder(Spot& parent, Visit visit) {
  parent.entries.Sort();
  Spot child;
  child.base = parent.base;
  for (std::size_t at = 0; at < parent.entries.Count(); ++at) {
    const EntryKind kind = parent.entries.Kind(at);
    if (kind != EntryKind::Folder && kind != EntryKind::Link) continue;
    const std::string_view name = parent.entries.NameView(at);
    child.folder = Join(parent.folder, name);
    child.disk.assign(parent.disk).append("/").append(name);
    child.reader = kind == EntryKind::Folder ? parent.reader.OpenFolder(name.data())  //
                                             : FolderReader();
    if (kind == EntryKind::Link) {
      Tell(ScanOutcome::LinkedFolder, child);
    } else if (!IsPlainName(name)) {
      Tell(ScanOutcome::BadPath, child);
    } else if (!child.reader.IsOpen() || !child.reader.List(&child.entries)) {
      Tell(ScanOutcome::Unreadable, child);
    } else {
      visit(child);
    }
  }
}

void ContentScan::ScanFolder(std::string_view base, std::string_view folder, ScanMode mode) {
  Spot spot;
  spot.base = base;
  spot.folder = folder;
  if (Open(spot)) Tell(Read(spot, mode), spot);
}

void ContentScan::ScanTree(std::string_view base, std::string_view subFolder, ScanMode mode) {
  Spot parent;
  parent.base = base;
  parent.folder = subFolder;
  if (Open(parent)) ScanChildren(parent, mode, false);
}

/// The folders in an open one as asset folders. Those in an asset's own folder need no config.
void ContentScan::ScanChildren(Spot& parent, ScanMode mode, bool isAsset) {
  std::size_t done = 0;
  const std::size_t total = parent.entries.CountOf(EntryKind::Folder);
  ForEachFolder(parent, [&](const Spot& child) {
    if (options_.progress) options_.progress(child.Path(), done, total);
    ++done;
    const ScanOutcome outcome = Read(child, mode);
    if (!isAsset || outcome != ScanOutcome::NoConfig) Tell(outcome, child);
  });
}

void ContentScan::ScanRoots(std::string_view folder) {
  Spot parent;
  parent.base = folder;
  if (!Open(parent)) return;
  ForEachFolder(parent, [&](Spot& group) {
    const bool isAsset = ConfigReader::HasConfig(group.entries);
    if (isAsset) Tell(Read(group, ScanMode::Legacy), group);
    Spot base;
    base.base = group.Path();
    base.disk = group.disk;
    std::swap(base.reader, group.reader);
    std::swap(base.entries, group.entries);
    ScanChildren(base, ScanMode::Legacy, isAsset);
  });
}

void ContentScan::ScanWorld() {
  Spot world;
  world.base = kWorld;
  if (!Open(world)) return;
  world.entries.Sort();
  std::unordered_set<std::string> visited;
  for (std::size_t at = 0; at < world.entries.Count(); ++at) {
    const EntryKind kind = world.entries.Kind(at);
    std::string_view name = world.entries.NameView(at);
    world.folder = name;
    if (kind == EntryKind::Link) Tell(ScanOutcome::LinkedFolder, world);
    const bool isArchive = kind == EntryKind::File && IsArchiveName(name);
    if (!isArchive && (kind != EntryKind::Folder || options_.archivesOnly)) continue;
    if (isArchive) name.remove_suffix(kArchiveEnding.size());
    const std::string path = Join(kWorld, name);
    if (!IsPlainName(name)) {
      Tell(ScanOutcome::BadPath, world);
    } else if (isArchive && !IsFolderBelow(configs_.Root(), path)) {
      Tell(ScanOutcome::ClosedArchive, world);
    } else if (visited.insert(path).second) {
      ScanRoots(path);
    }
  }
}

void ContentScan::ScanArea(ContentArea area) {
  switch (area) {
    case ContentArea::World:
      return ScanWorld();
    case ContentArea::Trains:
      return ScanRoots(kTrains);
    case ContentArea::Local:
      return ScanTree(kLocalArchive, {}, ScanMode::Local);
    case ContentArea::Editing:
      return ScanTree(kEditing, {}, ScanMode::Editing);
  }
}

/// Fills the record from the config of the folder that it is in.
bool ContentScan::Fill(const Spot& spot, MUKAsset& record, const TagContainer& config) {
  bool whole = true;
  const bool filled = FillFromConfig(record, config, true, [&](const MUKAsset&) {
    const FolderSize size = MeasureOpenFolder(spot.reader, spot.entries);
    whole = size.whole;
    return size.Word();
  });
  if (!whole) Tell(ScanOutcome::PartlyMeasured, spot);
  return filled;
}

ScanOutcome ContentScan::Read(const Spot& spot, ScanMode mode) {
  static const Zef::PString idKey("plid");
  MUKAsset record;
  if (mode == ScanMode::Legacy) {
    record.legacyPath = spot.Path();
    if (IsInLocal(record.legacyPath.View())) UpgradeLocation(record);
    record.Set(AssetFlag::BuiltIn, options_.markBuiltIn && !record.legacyPath.IsEmpty());
  } else if (mode == ScanMode::Local) {
    record.installPath = spot.folder;
    record.archiveName = spot.base;
  } else {
    record.editPath = spot.Path();
  }
  TagContainer config;
  const ConfigStatus status = configs_.ReadIn(spot.reader, spot.entries, spot.disk, config);
  if (status != ConfigStatus::Loaded) return OutcomeOf(status);
  record.id = config.GetPLID(idKey);
  if (record.id.IsNull()) return ScanOutcome::NoIdentifier;
  if (MUKAsset* const held = index_.Find(record.id)) {
    if (!index_.Merge(record)) return ScanOutcome::Conflict;
    configs_.Keep(record, config);
    Verify(*held);
    return ScanOutcome::Merged;
  }
  if (!Fill(spot, record, config)) return ScanOutcome::NotTags;
  MUKAsset& added = index_.Add(std::move(record));
  configs_.Drop(added.id);
  UpdateAssetFully(index_, added, config, options_.now);
  return ScanOutcome::Found;
}

bool ContentScan::Verify(MUKAsset& record) {
  const std::string& root = configs_.Root();
  bool dropped = false;
  if (!record.legacyPath.IsEmpty() && !FolderExists(LegacyPlace(root, record))) {
    record.legacyPath.Clear();
    dropped = true;
  }
  if (!record.editPath.IsEmpty() && !FolderExists(EditPlace(root, record))) {
    record.editPath.Clear();
    dropped = true;
  }
  index_.ForgetObsoleteBits();
  if (dropped) UpdateAsset(index_, record);
  if (!record.IsPresent()) return true;
  const bool isInstalled = !record.legacyPath.IsEmpty() || !record.installPath.IsEmpty();
  if (!record.editPath.IsEmpty() && isInstalled) return false;
  TagContainer config;
  if (configs_.Read(record, config) != ConfigStatus::Loaded) return false;
  configs_.Drop(record.id);
  const auto measure = [&](const MUKAsset& asset) {
    return MeasureAssetFolder(AssetPlaceOf(root, asset)).Word();
  };
  if (!FillFromConfig(record, config, false, measure)) return false;
  UpdateAsset(index_, record);
  return true;
}

ScanReport ScanProduct(MUKAssetIndex& index, const std::string& productRoot,
                       const ScanOptions& options) {
  ScanReport report;
  ConfigReader configs(DatabaseFiles::AbsoluteRoot(productRoot));
  ContentScan scan(index, configs, options, &report);
  scan.ScanArea(ContentArea::World);
  scan.ScanArea(ContentArea::Trains);
  if (!options.archivesOnly) {
    scan.ScanArea(ContentArea::Local);
    scan.ScanArea(ContentArea::Editing);
  }
  index.Sort();
  return report;
}
