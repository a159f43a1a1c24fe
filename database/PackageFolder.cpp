#include "database/PackageFolder.h"

#include "database/AssetFolder.h"
#include "database/AssetMessages.h"
#include "database/ConfigWriter.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"

ConfigStatus LoadFolderConfig(const AssetPlace& folder, TagContainer& config, std::uint64_t* lost) {
  TagContainer loaded;
  config.Clear();
  ConfigReader reader;
  const ConfigStatus status = reader.ReadAt(folder, loaded);
  if (lost != nullptr) *lost += CountLosses(reader.LastLosses());
  if (status != ConfigStatus::Loaded) return status;
  config = TagContainer::DeepCopy(TagsWithout(loaded, kFilesTag));
  return config.IsValid() ? ConfigStatus::Loaded : ConfigStatus::NotTags;
}

bool ReadAssetFolder(const MUKPackage& package, const AssetPlace& folder, TagContainer& asset,
                     ResultsLog* log) {
  TagContainer config;
  asset.Clear();
  if (LoadFolderConfig(folder, config) != ConfigStatus::Loaded) {
    TellOfFile(log, ResultLevel::kWarning, "$muk_unable_read_config_at", PlaceText(folder));
    return false;
  }
  TagContainer files;
  files.Ensure();
  if (!package.ImportFolder(folder, files, log)) return false;
  config.SetSubContainer(Zef::PString(kFilesTag), files);
  asset = config;
  return true;
}
