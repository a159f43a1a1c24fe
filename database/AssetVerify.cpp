#include "database/AssetVerify.h"

#include <string>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/ConfigReader.h"
#include "database/MUKAsset.h"
#include "database/MUKAssetIndex.h"

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
  const bool isInstalled = !record.legacyPath.IsEmpty() || !record.installPath.IsEmpty();
  if (!record.editPath.IsEmpty() && isInstalled) return false;
  TagContainer config;
  if (configs.ReadFields(record, config) != ConfigStatus::Loaded) return false;
  configs.Drop(record.id);
  const auto measure = [&](const MUKAsset& asset) {
    return MeasureAssetFolder(AssetPlaceOf(root, asset)).Word();
  };
  if (!FillFromConfig(record, config, false, measure)) return false;
  UpdateAsset(index, record);
  return true;
}
