#include "database/PackageFolder.h"

#include "database/AssetFolder.h"
#include "database/AssetMessages.h"
#include "database/ConfigReader.h"
#include "database/ConfigWriter.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"

bool LoadFolderConfig(const AssetPlace& folder, TagContainer& config, ResultsLog* log,
                      std::uint64_t* lost) {
  TagContainer loaded;
  config.Clear();
  ConfigReader reader;
  // With two the other one might be taken.
  if (CountConfigs(folder) <= 1 && reader.ReadAt(folder, loaded) == ConfigStatus::Loaded) {
    config = TagContainer::DeepCopy(TagsWithout(loaded, kFilesTag));
  }
  if (lost != nullptr) *lost += CountLosses(reader.LastLosses());
  if (config.IsValid()) return true;
  config.Clear();
  TellOfFile(log, ResultLevel::kWarning, "$muk_unable_read_config_at", PlaceText(folder));
  return false;
}

bool ReadAssetFolder(const MUKPackage& package, const AssetPlace& folder, TagContainer& asset,
                     ResultsLog* log) {
  TagContainer config;
  asset.Clear();
  if (!LoadFolderConfig(folder, config, log)) return false;
  TagContainer files;
  files.Ensure();
  if (!package.ImportFolder(folder, files, log)) return false;
  config.SetSubContainer(Zef::PString(kFilesTag), files);
  asset = config;
  return true;
}
