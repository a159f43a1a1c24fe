#include "database/ScanItem.h"

#include <algorithm>
#include <string_view>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FilePath.h"

namespace {

using Zef::Platform::FolderReader;

bool IsInLocal(std::string_view path) {
  const std::size_t head = kLocalArchive.size();
  return path.size() > head + 1 && Zef::IsSeparator(path[head]) &&
         Zef::EqualFolded(path.substr(0, head), kLocalArchive);
}

void SetLocation(const ScanItem& item, bool markBuiltIn, MUKAsset& record) {
  switch (item.mode) {
    case ScanMode::Legacy: {
      const std::string path = item.Path();
      if (!IsInLocal(path)) {
        record.legacyPath = path;
        record.Set(AssetFlag::BuiltIn, markBuiltIn);
        return;
      }
      // An older layout had the installed assets there.
      record.installPath = std::string_view(path).substr(kLocalArchive.size() + 1);
      record.archiveName = kLocalArchive;
      return;
    }
    case ScanMode::Local:
      record.installPath = item.folder;
      record.archiveName = item.base;
      return;
    case ScanMode::Editing:
      record.editPath = item.Path();
      return;
  }
}

ScanOutcome OutcomeOf(ConfigStatus status) {
  switch (status) {
    case ConfigStatus::Loaded:
      return ScanOutcome::Found;
    case ConfigStatus::NoConfig:
      return ScanOutcome::NoConfig;
    case ConfigStatus::TooLarge:
      return ScanOutcome::LargeConfig;
    case ConfigStatus::NotTags:
      return ScanOutcome::NotTags;
    case ConfigStatus::Unreadable:
      break;
  }
  return ScanOutcome::UnreadableConfig;
}

/// A larger config is read again, rather than kept while the item waits.
constexpr std::size_t kMostKept = 65536;

ScanOutcome ReadFolder(ScanItem& item, const FolderReader& folder, ScanScratch& scratch,
                       const std::unordered_set<PLID>& known, bool markBuiltIn) {
  static const Zef::PString idKey("plid");
  if (!folder.IsOpen() || !folder.List(&scratch.entries)) return ScanOutcome::Unreadable;
  TagContainer config;
  const ScanOutcome outcome =
      OutcomeOf(scratch.configs.ReadIn(folder, scratch.entries, item.disk, config, UseOfConfigTag));
  if (outcome != ScanOutcome::Found) return outcome;
  MUKAsset& record = item.record;
  record.id = config.GetPLID(idKey);
  if (record.id.IsNull()) return ScanOutcome::NoIdentifier;
  SetLocation(item, markBuiltIn, record);
  if (known.contains(record.id)) {
    if (scratch.configs.LastSize() <= kMostKept) item.config = config;
    return ScanOutcome::Found;
  }
  const bool isFilled = FillFromConfig(record, config, true, [&](const MUKAsset&) {
    const FolderSize size = MeasureOpenFolder(folder, scratch.entries);
    item.partlyMeasured = !size.whole;
    return size.Word();
  });
  if (!isFilled) return ScanOutcome::NotTags;
  item.relations = RelationsOf(record.id, config);
  return ScanOutcome::Found;
}

}  // namespace

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!path.empty() && !name.empty()) path += '/';
  return path += name;
}

std::string ScanItem::Path() const { return JoinPath(base, folder); }

void ReadScanItem(ScanItem& item, ScanScratch& scratch, const std::unordered_set<PLID>& known,
                  bool markBuiltIn) {
  if (item.isRead) return;
  item.isRead = true;
  FolderReader folder;
  if (item.parent == nullptr) {
    folder = FolderReader(item.disk);
  } else {
    folder = item.parent->OpenFolder(item.disk.c_str() + item.disk.rfind('/') + 1);
  }
  item.outcome = ReadFolder(item, folder, scratch, known, markBuiltIn);
}
