#include "database/AssetVerify.h"

#include <string>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/ConfigReader.h"
#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"

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

}  // namespace

bool VerifyAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record) {
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
  TagContainer config;
  if (configs.ReadFields(record, config) != ConfigStatus::Loaded) return false;
  configs.Drop(record.id);
  if (!Fill(root, record, config, false)) return false;
  UpdateAsset(index, record);
  return true;
}

void RecoverAsset(MUKAssetIndex& index, ConfigReader& configs, MUKAsset& record) {
  const std::string& root = configs.Root();
  if (root.empty()) return;
  const bool wasOpen = !record.editPath.IsEmpty();
  if (record.archiveName == kLocalArchive && !record.installPath.IsEmpty() &&
      IsFolderGone(InstallPlace(root, record))) {
    record.installPath.Clear();
    record.archiveName.Clear();
    UpdateAsset(index, record);
  }
  const bool isVerified = VerifyAsset(index, configs, record);
  TagContainer config;
  if (!record.IsPresent() || (!isVerified && !wasOpen)) return;
  if (configs.ReadFields(record, config) != ConfigStatus::Loaded) return;
  if (wasOpen && Fill(root, record, config, true)) UpdateAsset(index, record);
  RecoverRelations(index, record, RelationsOf(record.id, config), wasOpen);
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
