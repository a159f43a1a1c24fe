#include "database/AssetVerify.h"

#include <string>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/ConfigReader.h"
#include "database/ConfinedMove.h"
#include "database/FolderClaims.h"
#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"
#include "kernel/standard/CodePage.h"

namespace {

/// Derives the fields from a config. Of a record whose files changed also what is otherwise kept.
bool Fill(const std::string& root, MUKAsset& record, const TagContainer& config, bool isChanged) {
  const std::uint32_t size = record.sizeBytes;
  const float build = record.build;
  if (isChanged) {
    record.sizeBytes = MUKAsset::kSizeUnknown;
    record.build = 0;
  }
  const auto measure = [&](const MUKAsset& asset) {
    return MeasureAssetFolder(AssetPlaceOf(root, asset)).Word();
  };
  if (FillFromConfig(record, config, false, measure)) return true;
  record.sizeBytes = size;
  record.build = build;
  return false;
}

bool IsInstalled(const MUKAsset& record) {
  return !record.legacyPath.IsEmpty() || !record.installPath.IsEmpty();
}

using PlaceOf = AssetPlace (*)(const std::string& root, const MUKAsset& record);

/// Whether the scans of a recovery look for assets in the folder around this one.
bool IsScanned(const std::string& root, const AssetPlace& place) {
  const std::string below = place.subst.IsNull() ? PathBelow(root, place.path) : std::string();
  const std::size_t end = below.find('/');
  if (end == std::string::npos || below.find('/', end + 1) != std::string::npos) return false;
  const std::string_view area = std::string_view(below).substr(0, end);
  return Zef::EqualFolded(area, kLocalArchive) || Zef::EqualFolded(area, "editing");
}

/// Whether the config in one of the record's folders names another asset that has the folder, or
/// that a scan will give it to: folders change hands after the index was written.
bool IsAnothers(MUKAssetIndex& index, ConfigReader& configs, const MUKAsset& record,
                PlaceOf placeOf) {
  static const Zef::PString idKey("plid");
  const std::string& root = configs.Root();
  const AssetPlace place = placeOf(root, record);
  TagContainer config;
  if (!place.subst.IsNull() ||
      configs.ReadAt(place, config, UseOfConfigTag) != ConfigStatus::Loaded) {
    return false;
  }
  const PLID id = config.GetPLID(idKey);
  if (id == record.id && place.path == AssetPlaceOf(root, record).path) {
    configs.Keep(record, config);  // for the look at its fields
  }
  if (!id.IsStorable() || id == record.id) return false;
  const MUKAsset* const other = index.Find(id);
  const AssetPlace held = other == nullptr ? AssetPlace() : placeOf(root, *other);
  return IsSameFolder(held, place) || (IsFolderGone(held) && IsScanned(root, place));
}

/// Of an index that is older than the folders.
void DropLostPlaces(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record) {
  const bool hasLost[] = {IsAnothers(index, configs, record, LegacyPlace),
                          record.archiveName == kLocalArchive && !record.installPath.IsEmpty() &&
                              (IsFolderGone(InstallPlace(configs.Root(), record)) ||
                               IsAnothers(index, configs, record, InstallPlace)),
                          IsAnothers(index, configs, record, EditPlace)};
  if (hasLost[0]) record.legacyPath.Clear();
  if (hasLost[1]) {
    record.installPath.Clear();
    record.archiveName.Clear();
  }
  if (hasLost[2]) record.editPath.Clear();
  if (hasLost[0] || hasLost[1] || hasLost[2]) UpdateAsset(index, record);
}

/// Whether the folder was made or filled since the record was last told of a change. A commit puts
/// a new folder in place, and stamps the record later.
bool IsYounger(const AssetPlace& place, const MUKAsset& record) {
  Zef::Platform::FileInfo info;
  return place.subst.IsNull() && Zef::Platform::GetInfo(place.path, &info) &&
         info.written >= static_cast<std::int64_t>(record.modifyTime);
}

/// VerifyAsset; `config` is a null handle unless it was read.
bool Verify(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record, TagContainer& config) {
  const std::string& root = configs.Root();
  if (root.empty()) return false;
  bool dropped = false;
  if (!record.legacyPath.IsEmpty() && IsFolderGone(LegacyPlace(root, record))) {
    record.legacyPath.Clear();
    dropped = true;
  }
  if (!record.editPath.IsEmpty() && IsFolderGone(EditPlace(root, record))) {
    record.editPath.Clear();
    dropped = true;
  }
  index.ForgetObsoleteBits();
  if (dropped) UpdateAsset(index, record);
  if (!record.IsPresent()) return true;
  if (!record.editPath.IsEmpty() && IsInstalled(record)) return false;
  if (configs.ReadFields(record, config) != ConfigStatus::Loaded) return false;
  configs.Drop(record.id);
  if (!Fill(root, record, config, false)) return false;
  UpdateAsset(index, record);
  return true;
}

}  // namespace

bool VerifyAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record) {
  TagContainer config;
  return Verify(index, configs, record, config);
}

void RecoverAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record) {
  const std::string& root = configs.Root();
  if (root.empty()) return;
  const bool wasOpen = !record.editPath.IsEmpty();
  DropLostPlaces(index, configs, record);
  TagContainer config;
  const bool isVerified = Verify(index, configs, record, config);
  configs.Drop(record.id);  // it was read in part
  if (!record.IsPresent() || (!isVerified && !wasOpen)) return;
  const bool isRead =
      !config.IsEmptyHandle() || configs.ReadFields(record, config) == ConfigStatus::Loaded;
  if (!isRead) return;
  const bool isChanged = wasOpen || IsYounger(AssetPlaceOf(root, record), record);
  if (isChanged && Fill(root, record, config, true)) UpdateAsset(index, record);
  RecoverRelations(index, record, RelationsOf(record.id, config), isChanged);
}

void RefreshAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record, std::int64_t now) {
  if (configs.Root().empty()) return;
  configs.Drop(record.id);
  TagContainer config;
  AssetRelations relations;
  if (configs.ReadFields(record, config) == ConfigStatus::Loaded) {
    static_cast<void>(Fill(configs.Root(), record, config, true));
    relations = RelationsOf(record.id, config);
  }
  UpdateAssetFully(index, record, relations, now);
}
