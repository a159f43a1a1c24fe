#include "database/PackageFolder.h"

#include "database/AssetMessages.h"
#include "database/AssetWalk.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"

namespace {

constexpr std::string_view kFilesKey = "files";

}  // namespace

ConfigStatus LoadFolderConfig(const AssetPlace& folder, TagContainer& config) {
  TagContainer loaded;
  config.Clear();
  const ConfigStatus status = ConfigReader().ReadAt(folder, loaded);
  if (status != ConfigStatus::Loaded) return status;
  TagContainer kept;
  loaded.ForEach([&](std::string_view key, const ChunkRef& chunk) {
    kept.Ensure();
    if (key != kFilesKey) kept.Chunk()->AddTag(Zef::PString(key), chunk);
  });
  config = TagContainer::DeepCopy(kept);
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
  config.SetSubContainer(Zef::PString(kFilesKey), files);
  asset = config;
  return true;
}
