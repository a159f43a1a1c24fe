#include "database/ConfigWriter.h"

#include <vector>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/ConfigReader.h"
#include "kernel/standard/CodePage.h"
#include "tagdata/TagFiles.h"

namespace {

bool DeleteConfigs(const std::string& folder) {
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(folder, &names)) return false;
  for (const std::string& name : names) {
    if (!IsConfigName(name)) continue;
    if (!Zef::Platform::DeleteFile(std::string(folder).append("/").append(name))) return false;
  }
  return true;
}

}  // namespace

TagContainer TagsWithout(const TagContainer& source, std::string_view key) {
  TagContainer rest;
  rest.Ensure();
  source.ForEach([&](std::string_view name, const ChunkRef& chunk) {
    if (name != key) rest.Chunk()->AddTag(Zef::PString(name), chunk);
  });
  return rest;
}

bool WriteConfig(const TagContainer& config, const std::string& folder, ConfigForm form,
                 const PLID& id) {
  static const Zef::PString idKey("plid");
  const char* const name = form == ConfigForm::Binary ? kBinaryConfig : kTextConfig;
  if (!DeleteConfigs(folder) || !SaveTagFile(config, {}, folder + "/" + name)) return false;
  TagContainer written;
  ConfigReader reader;
  return reader.ReadAt({{}, folder}, written, UseOfConfigTag) == ConfigStatus::Loaded &&
         written.GetPLID(idKey) == id;
}
