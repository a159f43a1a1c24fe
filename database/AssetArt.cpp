#include "database/AssetArt.h"

#include <string_view>
#include <vector>

#include "database/CodeList.h"
#include "database/ConfigReader.h"
#include "database/Database.h"
#include "database/FileRules.h"
#include "database/MUKLock.h"
#include "kernel/standard/FilePath.h"

namespace {

constexpr const char* kThumbnails = "cache/thumbnails/";
constexpr std::string_view kTextureClass = "TX";
constexpr const char* kTextureKeys[] = {"icon-texture", "face-texture"};
constexpr const char* kArtFolder = "_art/";
constexpr const char* kArtEndings[] = {"_art_512.texture", "_art_icon.texture", ".texture"};

std::string_view LastPart(std::string_view path) {
  path = path.substr(0, path.find_last_not_of(Zef::FilePath::kSeparators) + 1);
  return path.substr(path.find_last_of(Zef::FilePath::kSeparators) + 1);
}

/// Paths below the asset's folder, the best first.
std::vector<std::string> Candidates(const MUKAsset& record, const TagContainer& config,
                                    const AssetPlace& folder) {
  const auto text = [&](const char* key) {
    return std::string(config.GetText(Zef::PString(key)).View());
  };
  std::vector<std::string> paths;
  if (MatchCodes(record.category.View(), kTextureClass)) {
    for (const char* key : kTextureKeys) paths.push_back(text(key));
  }
  std::string name = text("asset-filename");
  if (name.empty()) name = LastPart(folder.path);
  for (const char* ending : kArtEndings) {
    paths.push_back(name + kArtFolder + std::string(LastPart(name)) + ending);
    paths.push_back(name + ending);
  }
  return paths;
}

bool StaysBelow(std::string_view path) {
  for (;;) {
    const std::size_t end = path.find_first_of(Zef::FilePath::kSeparators);
    if (!ValidName(path.substr(0, end))) return false;
    if (end == std::string_view::npos) return true;
    path.remove_prefix(end + 1);
  }
}

/// A file that is reached without a link on the way from its asset's folder.
bool IsPlainBelow(const std::string& folder, const std::string& path) {
  Zef::Platform::FileInfo info;
  std::size_t end = folder.size();
  while ((end = path.find_first_of(Zef::FilePath::kSeparators, end + 1)) != std::string::npos) {
    if (!Zef::Platform::GetInfoNoFollow(path.substr(0, end), &info) || !info.folder) return false;
  }
  return FileExists({{}, path});
}

/// The file of this path, or nowhere.
AssetPlace FileBelow(const AssetPlace& folder, const std::string& path) {
  if (!StaysBelow(path)) return {};
  AssetPlace file{folder.subst, folder.path + "/" + path};
  if (!file.subst.IsNull()) return FileExists(file) ? file : AssetPlace();
  file.path = Zef::Platform::ResolveCase(folder.path, path);
  return IsPlainBelow(folder.path, file.path) ? file : AssetPlace();
}

}  // namespace

std::string MUKFindThumbnail(const PLID& id) {
  const MUKLock guard(false);
  if (!guard.IsHeld() || id.IsNull()) return {};
  const std::string& root = Database::Get().Settings().productRoot;
  if (root.empty()) return {};
  std::string path = Zef::Platform::ResolveCase(root, kThumbnails + id.ToWords() + ".jpg");
  return FileExists({{}, path}) ? path : std::string();
}

AssetPlace MUKFindArt(const PLID& id) {
  const MUKLock guard(false);
  const MUKAsset* const record = guard.IsHeld() ? Database::Get().Index().Find(id) : nullptr;
  if (record == nullptr) return {};
  const std::string& root = Database::Get().Settings().productRoot;
  const AssetPlace folder = AssetPlaceOf(root, *record);
  TagContainer config;
  if (folder.IsNowhere() || !LoadConfig(root, *record, config)) return {};
  for (const std::string& path : Candidates(*record, config, folder)) {
    AssetPlace file = FileBelow(folder, path);
    if (!file.IsNowhere()) return file;
  }
  return {};
}
