#include "database/AssetInstall.h"

#include <string_view>

#include "database/AssetEdit.h"
#include "database/AssetFolder.h"
#include "database/AssetInfo.h"
#include "database/AssetMessages.h"
#include "database/AssetRollback.h"
#include "database/ConfigReader.h"
#include "database/ConfigWriter.h"
#include "database/ContentServices.h"
#include "database/Database.h"
#include "database/MUKLock.h"
#include "database/MUKPackage.h"
#include "database/NameRule.h"
#include "database/PackageFolder.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Trace.h"

namespace {

constexpr float kFileNameBuild = 2.5f;  // the first whose assets do without "asset-filename"

const char* Refusal(const MUKAssetInfo& info, std::uint32_t flags) {
  if (!info.valid || !info.isPresent) return nullptr;
  if ((flags & kInstallOverwrite) == 0) return "$muk_already_installed";
  if (info.isOpenForEdit) return "$muk_skipping_open_for_edit";
  if (info.builtIn) return "$muk_skipping_built_in";
  return info.patched ? "$muk_skipping_dls_item" : nullptr;
}

/// Keys are kept to the end of the process: not those of a config that nobody could read again.
bool HasReadableSize(const TagContainer& asset) {
  std::size_t size = 0;
  asset.ForEach([&](std::string_view key, const ChunkRef&) { size += key.size() + 1; });
  return size <= kLargestConfig;
}

/// One asset on its way from a package into the product.
class Installation {
 public:
  Installation(const PLID& id, const TagContainer& asset, const MUKPackage& package,
               ResultsLog* log, std::uint32_t flags)
      : id_(id), asset_(asset), package_(package), log_(log), flags_(flags) {}

  /// Null when it was installed, else the message that tells why not.
  const char* Run();
  /// What the package said of a failure; may be empty.
  const std::string& Detail() const { return detail_; }

 private:
  MUKAsset* Open();
  bool Fill(const StagedFolder& staged);
  const char* PutInPlace();

  const PLID id_;
  const TagContainer& asset_;
  const MUKPackage& package_;
  ResultsLog* const log_;
  const std::uint32_t flags_;
  std::string detail_;
};

const char* Installation::Run() {
  if (id_.IsNull()) return "$muk_write_error";
  AssetRollback rollback(id_);
  const char* const failure = PutInPlace();
  if (failure == nullptr) rollback.Done();
  return failure;
}

MUKAsset* Installation::Open() {
  MUKAssetIndex& index = Database::Get().Index();
  if (index.Find(id_) == nullptr && index.CreateNew(id_) == nullptr) return nullptr;
  return MUKOpenAsset(id_, true, log_).IsNull() ? nullptr : index.Find(id_);
}

bool Installation::Fill(const StagedFolder& staged) {
  if (!staged.IsMade() || !HasReadableSize(asset_)) return false;
  detail_ = package_.ExtractFiles(asset_, staged.Path());
  if (!detail_.empty()) return false;
  const bool isBinary = (flags_ & kInstallBinaryConfig) != 0;
  return WriteConfig(TagsWithout(asset_, kFilesTag), staged.Path(),
                     isBinary ? ConfigForm::Binary : ConfigForm::Text, id_);
}

const char* Installation::PutInPlace() {
  const MUKSettings& settings = Database::Get().Settings();
  MUKAsset* const record = Open();
  if (record == nullptr) return "$muk_write_error";
  // What answers as open for edit is whole at every instant: filled elsewhere, then exchanged.
  StagedFolder staged(settings.productRoot, settings.stepObserver);
  if (!Fill(staged)) return "$muk_failed_install";
  if (!staged.Exchange(EditPlace(settings.productRoot, *record).path)) {
    return (flags_ & kInstallOverwrite) != 0 ? "$muk_overwrite_error" : "$muk_failed_install";
  }
  if (!MUKCommitAssetEdits(id_, log_)) return "$muk_failed_install";
  settings.services->Verify(Database::Get().Index(), *record);
  TellOfAsset(log_, ResultLevel::kDone, "$muk_installed", *record);
  return nullptr;
}

/// The folder's own name, "." and ".." resolved.
std::string BaseName(const AssetPlace& folder) {
  std::string path = folder.subst.IsNull() ? Zef::Platform::CanonicalPath(folder.path) : "";
  if (path.empty()) path = folder.path;
  const std::size_t end = path.find_last_not_of(Zef::FilePath::kSeparators) + 1;
  const std::string_view whole = std::string_view(path).substr(0, end);
  return std::string(whole.substr(whole.find_last_of(Zef::FilePath::kSeparators) + 1));
}

/// Older assets may know their main file by the name of their folder, which an installation
/// changes.
void NameFiles(TagContainer& config, const AssetPlace& folder) {
  static const Zef::PString buildKey("quarle-build");
  static const Zef::PString nameKey("asset-filename");
  if (config.GetFloat(buildKey) >= kFileNameBuild || config.HasTag(nameKey)) return;
  config.SetString(nameKey, BaseName(folder));
}

}  // namespace

bool MUKInstallAsset(const TagContainer& asset, const MUKPackage& package, ResultsLog* log,
                     std::uint32_t flags) {
  static const Zef::PString idKey("plid");
  const MUKLock guard(true);
  const PLID id = asset.GetPLID(idKey);
  const MUKAssetInfo info = MUKGetAssetInfo(id);
  const std::string name = info.valid ? info.name : ConfigName(MUKAsset(), asset);
  const char* failure = guard.IsHeld() ? Refusal(info, flags) : "$muk_write_error";
  std::string detail;
  if (failure == nullptr) {
    Installation installation(id, asset, package, log, flags);
    failure = installation.Run();
    detail = installation.Detail();
  }
  if (failure != nullptr) TellOfAsset(log, ResultLevel::kError, failure, id, name, detail);
  return failure == nullptr;
}

bool MUKInstallFolder(const AssetPlace& folder, ResultsLog* log, std::uint32_t flags) {
  static const Zef::PString filesKey(kFilesTag);
  TagContainer asset;
  if (LoadFolderConfig(folder, asset) != ConfigStatus::Loaded) {
    TellOfFile(log, ResultLevel::kWarning, "$muk_unable_read_config_at", PlaceText(folder));
    return false;
  }
  NameFiles(asset, folder);
  MUKPackage package;
  TagContainer files;
  files.Ensure();
  const bool isRead = package.ImportFolder(folder, files, log);
  if (isRead) asset.SetSubContainer(filesKey, files);
  if (!isRead || !package.Add(asset).empty()) {
    TellOfFile(log, ResultLevel::kWarning, "$muk_skipping_asset_at", PlaceText(folder));
    return false;
  }
  return MUKInstallAsset(asset, package, log, flags);
}

bool MUKInstallFile(const std::string& path, ResultsLog* log, std::uint32_t flags,
                    const InstallProgress& progress) {
  const std::size_t name = path.find_last_of(Zef::FilePath::kSeparators) + 1;
  if (IsConfigName(std::string_view(path).substr(name))) {
    const std::size_t end = name > 1 ? name - 1 : name;
    return MUKInstallFolder({{}, name == 0 ? "." : path.substr(0, end)}, log, flags);
  }
  MUKPackage package;
  if (const std::string error = package.Open(path); !error.empty()) {
    Zef::Trace("MUKInstallFile> \"%s\": %s\n", path.c_str(), error.c_str());
    TellOfFile(log, ResultLevel::kError, "$muk_unreadable_kpx", path);
    return false;
  }
  bool all = true;
  for (std::uint32_t at = 0; at < package.Count(); ++at) {
    if (!MUKInstallAsset(package.Get(at), package, log, flags)) all = false;
    if (progress) progress(at + 1, package.Count());
  }
  return all;
}
