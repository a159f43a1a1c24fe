#include "database/ContentScan.h"

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "database/AssetFolder.h"
#include "database/AssetVerify.h"
#include "database/DatabaseFiles.h"
#include "database/FolderClaims.h"
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

bool IsArchiveName(std::string_view name) {
  const std::size_t ending = kArchiveEnding.size();
  return name.size() > ending &&
         Zef::EqualFolded(name.substr(name.size() - ending), kArchiveEnding);
}

/// True for a name that means itself wherever it becomes part of a path.
bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find('\\') == std::string_view::npos && !Zef::IsRootedPath(name);
}

bool IsFolderBelow(const std::string& root, const std::string& path) {
  return Zef::Platform::IsFolder(Zef::Platform::ResolveCase(root, path));
}

void AddTo(ScanReport& report, ScanOutcome outcome, const ScanItem& item) {
  report.Add(outcome, HasReason(outcome) ? item.Path() : std::string());
}

std::size_t ThreadCount(const ScanOptions& options) {
  constexpr std::size_t kMost = 4;
  if (options.threads != 0) return options.threads;
  return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMost);
}

}  // namespace

/// A folder whose children become items.
struct ContentScan::OpenedFolder {
  std::string base;
  std::string folder;
  std::string disk;
  std::shared_ptr<const FolderReader> reader;
  FolderListing entries;
};

ContentScan::ContentScan(MUKAssetIndex& index, ConfigReader& configs, ScanOptions options,
                         ScanReport* report)
    : index_(index),
      configs_(configs),
      options_(std::move(options)),
      report_(report),
      scratch_(ThreadCount(options_)),
      work_(scratch_.size() - 1, [this](Batch& batch, std::size_t worker) {
        for (ScanItem& item : batch) {
          if (IsStopped()) return;
          ReadScanItem(item, scratch_[worker], known_, options_.markBuiltIn);
        }
      }) {
  if (options_.now == 0) options_.now = Zef::RealClock().UnixTime();
  for (const MUKAsset* record : index_.AllRecords()) known_.insert(record->id);
}

void ContentScan::ScanFolder(std::string_view base, std::string_view folder, ScanMode mode) {
  if (configs_.Root().empty()) return;
  ScanItem item;
  item.base = base;
  item.folder = folder;
  item.mode = mode;
  item.disk = Zef::Platform::ResolveCase(configs_.Root(), item.Path());
  item.total = 1;
  Post(std::move(item));
  Finish();
}

void ContentScan::ScanTree(std::string_view base, std::string_view subFolder, ScanMode mode) {
  OpenedFolder parent{std::string(base), std::string(subFolder), {}, {}, {}};
  if (Open(parent)) PostChildren(parent, mode);
  Finish();
}

void ContentScan::ScanRoots(std::string_view folder) {
  PostRoots(folder);
  Finish();
}

void ContentScan::ScanWorld() {
  OpenedFolder world{std::string(kWorld), {}, {}, {}, {}};
  if (!Open(world)) return;
  std::unordered_set<std::string> visited;
  for (std::size_t at = 0; at < world.entries.Count() && !IsStopped(); ++at) {
    const EntryKind kind = KindBehindLinks(world, at);
    const std::string_view name = world.entries.NameView(at);
    if (kind == EntryKind::Link) Tell(ScanOutcome::LinkedFolder, kWorld, name);
    const bool isArchive = kind == EntryKind::File && IsArchiveName(name);
    if (!isArchive && (kind != EntryKind::Folder || options_.archivesOnly)) continue;
    const std::size_t length = name.size() - (isArchive ? kArchiveEnding.size() : 0);
    const std::string path = JoinPath(kWorld, name.substr(0, length));
    if (!IsPlainName(name) || !IsPlainName(name.substr(0, length))) {
      Tell(ScanOutcome::BadPath, kWorld, name);
    } else if (isArchive && !IsFolderBelow(configs_.Root(), path)) {
      Tell(ScanOutcome::ClosedArchive, kWorld, name);
    } else if (visited.insert(Zef::Platform::ResolveCase(configs_.Root(), path)).second) {
      PostRoots(path);
    }
  }
  Finish();
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

/// Opens a folder by its path and lists it.
bool ContentScan::Open(OpenedFolder& folder) {
  if (configs_.Root().empty()) return false;
  folder.disk = Zef::Platform::ResolveCase(configs_.Root(), JoinPath(folder.base, folder.folder));
  if (!Zef::Platform::IsFolder(folder.disk)) return false;
  folder.reader = std::make_shared<FolderReader>(folder.disk);
  return List(folder);
}

bool ContentScan::List(OpenedFolder& folder) {
  if (!folder.reader->IsOpen() || !folder.reader->List(&folder.entries)) {
    Tell(ScanOutcome::Unreadable, folder.base, folder.folder);
    return false;
  }
  folder.entries.Sort();
  return true;
}

/// A link to anything but a folder is what it leads to.
EntryKind ContentScan::KindBehindLinks(const OpenedFolder& parent, std::size_t at) {
  const EntryKind kind = parent.entries.Kind(at);
  if (kind != EntryKind::Link) return kind;
  Zef::Platform::FileInfo info;
  const std::string path = JoinPath(parent.disk, parent.entries.NameView(at));
  if (!Zef::Platform::GetInfo(path, &info)) return EntryKind::Other;
  if (info.folder) return EntryKind::Link;
  return info.regular ? EntryKind::File : EntryKind::Other;
}

/// True for a folder that can be looked into; tells of what looks like one and cannot.
bool ContentScan::AcceptFolder(const OpenedFolder& parent, std::size_t at) {
  const EntryKind kind = KindBehindLinks(parent, at);
  const std::string_view name = parent.entries.NameView(at);
  const std::string folder = JoinPath(parent.folder, name);
  if (kind == EntryKind::Link) Tell(ScanOutcome::LinkedFolder, parent.base, folder);
  if (kind != EntryKind::Folder) return false;
  if (IsPlainName(name)) return true;
  Tell(ScanOutcome::BadPath, parent.base, folder);
  return false;
}

ScanItem ContentScan::ItemOf(const OpenedFolder& parent, std::size_t at, ScanMode mode) {
  ScanItem item;
  item.base = parent.base;
  item.folder = JoinPath(parent.folder, parent.entries.NameView(at));
  item.disk = JoinPath(parent.disk, parent.entries.NameView(at));
  item.mode = mode;
  item.parent = parent.reader;
  return item;
}

void ContentScan::PostRoots(std::string_view folder) {
  OpenedFolder parent{std::string(folder), {}, {}, {}, {}};
  if (!Open(parent)) return;
  for (std::size_t at = 0; at < parent.entries.Count() && !IsStopped(); ++at) {
    if (!AcceptFolder(parent, at)) continue;
    OpenedFolder group;
    group.base = JoinPath(folder, parent.entries.NameView(at));
    group.disk = JoinPath(parent.disk, parent.entries.NameView(at));
    group.reader =
        std::make_shared<FolderReader>(parent.reader->OpenFolder(parent.entries.Name(at)));
    if (List(group)) PostChildren(group, ScanMode::Legacy);
  }
}

void ContentScan::PostChildren(const OpenedFolder& parent, ScanMode mode) {
  std::size_t done = 0;
  const std::size_t total = parent.entries.CountOf(EntryKind::Folder);
  for (std::size_t at = 0; at < parent.entries.Count() && !IsStopped(); ++at) {
    if (!AcceptFolder(parent, at)) continue;
    ScanItem item = ItemOf(parent, at, mode);
    item.done = done++;
    item.total = total;
    Post(std::move(item));
  }
}

void ContentScan::Post(ScanItem&& item) {
  batch_.push_back(std::move(item));
  if (batch_.size() == kBatch) PostBatch(kAhead);
}

/// Has the batch read, and enters what was read of earlier ones until so many are left.
void ContentScan::PostBatch(std::size_t ahead) {
  if (!batch_.empty()) work_.Post(std::exchange(batch_, {}));
  while (work_.Count() > ahead) {
    for (ScanItem& item : work_.Take()) {
      if (!IsStopped()) Enter(item);
    }
  }
}

/// What is told waits its turn behind what was posted before.
void ContentScan::Tell(ScanOutcome outcome, std::string_view base, std::string_view folder) {
  ScanItem item;
  item.base = base;
  item.folder = folder;
  item.outcome = outcome;
  item.isRead = true;
  Post(std::move(item));
}

void ContentScan::Enter(ScanItem& item) {
  if (item.total != 0 && options_.progress) options_.progress(item.Path(), item.done, item.total);
  if (item.outcome == ScanOutcome::Found) item.outcome = EnterRecord(item);
  if (report_ == nullptr) return;
  AddTo(*report_, item.outcome, item);
  if (item.partlyMeasured) AddTo(*report_, ScanOutcome::PartlyMeasured, item);
}

/// Settles what would contradict, of a known asset that was found. Whether the folder is news.
bool ContentScan::FitToHeld(ScanItem& item, MUKAsset& held) const {
  MUKAsset& found = item.record;
  // The folder that the record names may be spelt otherwise by now.
  const auto takeSpelling = [&](AssetText MUKAsset::*path, auto placeOf) {
    const bool differs = !((found.*path).IsEmpty() || found.*path == held.*path);
    if (differs && IsSameFolder(placeOf(configs_.Root(), held), {{}, item.disk})) {
      found.*path = held.*path;
    }
  };
  takeSpelling(&MUKAsset::legacyPath, LegacyPlace);
  takeSpelling(&MUKAsset::installPath, InstallPlace);
  takeSpelling(&MUKAsset::editPath, EditPlace);
  if (!found.installPath.IsEmpty() &&
      IsSameFolder(LegacyPlace(configs_.Root(), held), {{}, item.disk})) {
    found.installPath.Clear();  // one folder needs no second name
    found.archiveName.Clear();
    return false;
  }
  if (found.archiveName == kLocalArchive && held.archiveName != kLocalArchive) {
    // An asset in a mounted archive is committed beside it.
    held.installPath.Clear();
    held.archiveName.Clear();
  }
  return (held.installPath.IsEmpty() && !found.installPath.IsEmpty()) ||
         (held.editPath.IsEmpty() && !found.editPath.IsEmpty());
}

ScanOutcome ContentScan::EnterRecord(ScanItem& item) {
  if (MUKAsset* const held = index_.Find(item.record.id)) {
    const bool isNews = FitToHeld(item, *held);
    if (!index_.Merge(item.record)) return ScanOutcome::Conflict;
    if (!item.config.IsEmptyHandle()) configs_.Keep(item.record, item.config);
    isNews ? RecoverAsset(index_, configs_, *held)
           : static_cast<void>(VerifyAsset(index_, configs_, *held));
    configs_.Drop(held->id);  // it was read in part
    return ScanOutcome::Merged;
  }
  MUKAsset& added = index_.Add(std::move(item.record));
  configs_.Drop(added.id);
  UpdateAssetFully(index_, added, item.relations, options_.now);
  return ScanOutcome::Found;
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
