#include "database/AssetInstall.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "database/AssetEdit.h"
#include "database/AssetInfo.h"
#include "database/AssetMessages.h"
#include "database/AssetOperation.h"
#include "database/AssetRollback.h"
#include "database/ConfigReader.h"
#include "database/ConfigWriter.h"
#include "database/ContentServices.h"
#include "database/Database.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/MUKPackage.h"
#include "database/NameRule.h"
#include "database/PackageCheck.h"
#include "database/PackageFolder.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FolderCopy.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Trace.h"

namespace {

constexpr const char* kNotMoved = "its files could not be moved to their folder";
constexpr const char* kNoFolder = "no folder could be made for it";
constexpr std::uint64_t kStepsAnAsset = 1000;
constexpr std::size_t kLongestShown = 200;  // bytes of a name that a package gives
constexpr std::string_view kNewPlace = "/local/content 123456789";
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

/// What keeps an asset from being installed: a message, and for some a reason in it. No key:
/// nothing.
struct Failure {
  const char* key = nullptr;
  std::string reason{};
};

/// One asset on its way from a package into the product.
class Installation {
 public:
  /// `lost` counts what reading the config left behind.
  Installation(const PLID& id, const TagContainer& asset, const MUKPackage& package,
               ResultsLog* log, std::uint32_t flags, std::uint64_t lost)
      : id_(id), asset_(asset), package_(package), log_(log), flags_(flags), lost_(lost) {}

  Failure Run();

 private:
  MUKAsset* Open();
  std::size_t LengthOfPlace() const;
  /// Empty, or the reason.
  std::string Fill(const StagedFolder& staged);
  Failure PutInPlace(StagedFolder& staged);

  const PLID id_;
  const TagContainer& asset_;
  const MUKPackage& package_;
  ResultsLog* const log_;
  const std::uint32_t flags_;
  std::uint64_t lost_;
};

Failure Installation::Run() {
  if (id_.IsNull()) return {"$muk_write_error", "it has no identifier"};
  const MUKSettings& settings = Database::Get().Settings();
  const MUKAsset* const known = Database::Get().Index().Find(id_);
  if (known != nullptr && !known->Has(AssetFlag::PermitEdit)) {
    TellOfAsset(log_, ResultLevel::kError, "$muk_edit_perm", *known);
    return {"$muk_write_error", "it may not be edited"};
  }
  // Filled before anything is open for edit, which is whole then at every instant.
  std::optional<StagedFolder> staged;
  std::string reason;
  const bool isFilled = WithRoom([&, lost = lost_] {  // what goes may be the room that this needs
    lost_ = lost;
    staged.emplace(settings.productRoot, settings.stepObserver);
    reason = staged->IsMade() ? Fill(*staged) : "";
    return staged->IsMade() && reason.empty();
  });
  if (!staged->IsMade()) return {"$muk_write_error", kNoFolder};
  if (!isFilled) return {"$muk_failed_install", std::move(reason)};
  AssetRollback rollback(id_);
  Failure failure = PutInPlace(*staged);
  if (failure.key == nullptr) rollback.Done();
  return failure;
}

MUKAsset* Installation::Open() {
  MUKAssetIndex& index = Database::Get().Index();
  if (index.Find(id_) == nullptr && index.CreateNew(id_) == nullptr) return nullptr;
  return OpenEmptyForEdit(id_, log_).IsNull() ? nullptr : index.Find(id_);
}

/// Of the path at which the files will lie, which is not where they are filled in.
std::size_t Installation::LengthOfPlace() const {
  const AssetOperation work;
  const MUKAsset* const known = work.index.Find(id_);
  std::optional<CommitTarget> target;
  if (known != nullptr) target = FindCommitTarget(work, *known);
  const std::size_t length = target ? target->place.path.size() : 0;
  return length == 0 ? work.root.size() + kNewPlace.size() : length;
}

std::string Installation::Fill(const StagedFolder& staged) {
  if (!HasReadableSize(asset_)) return "its config is too large";
  if (std::string error = package_.ExtractFiles(asset_, staged.Path(), LengthOfPlace());
      !error.empty()) {
    return error;
  }
  const bool isBinary = (flags_ & kInstallBinaryConfig) != 0;
  const bool isDone = WriteConfig(TagsWithout(asset_, kFilesTag), staged.Path(),
                                  isBinary ? ConfigForm::Binary : ConfigForm::Text, id_, &lost_);
  if (!isDone) return "its config could not be written so that it can be read again";
  return Zef::Platform::FlushTree(staged.Path()) ? "" : "its files could not be written";
}

Failure Installation::PutInPlace(StagedFolder& staged) {
  const MUKSettings& settings = Database::Get().Settings();
  MUKAsset* const record = Open();
  if (record == nullptr) return {"$muk_write_error", kNoFolder};
  const std::string folder = EditPlace(settings.productRoot, *record).path;
  if (!staged.Put(folder)) {
    if ((flags_ & kInstallOverwrite) != 0) return {"$muk_overwrite_error"};
    return {"$muk_failed_install", PlaceFault(settings.productRoot, folder, kNotMoved)};
  }
  if (!MUKCommitAssetEdits(id_, log_)) return {"$muk_failed_install", "it was not committed"};
  settings.services->Verify(Database::Get().Index(), *record);
  if (lost_ != 0) {
    TellOfAsset(log_, ResultLevel::kWarning, "$muk_config_tags_lost", *record,
                std::to_string(lost_));
  }
  TellOfAsset(log_, ResultLevel::kDone, "$muk_installed", *record);
  return {};
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

bool InstallPacked(const TagContainer& asset, const MUKPackage& package, ResultsLog* log,
                   std::uint32_t flags, std::uint64_t lost) {
  static const Zef::PString idKey("plid");
  const MUKLock guard(true);
  const PLID id = asset.GetPLID(idKey);
  const MUKAssetInfo info = MUKGetAssetInfo(id);
  std::string name = info.valid ? info.name : ConfigName(MUKAsset(), asset);
  name.resize(std::min(name.size(), kLongestShown));
  Failure failure{"$muk_write_error", "the database cannot be opened"};
  if (guard.IsHeld()) failure = {Refusal(info, flags)};
  if (failure.key == nullptr) failure = Installation(id, asset, package, log, flags, lost).Run();
  if (failure.key == nullptr) return true;
  TellOfAsset(log, ResultLevel::kError, failure.key, id, name, failure.reason);
  return false;
}

}  // namespace

bool MUKInstallAsset(const TagContainer& asset, const MUKPackage& package, ResultsLog* log,
                     std::uint32_t flags) {
  return InstallPacked(asset, package, log, flags, 0);
}

bool MUKInstallFolder(const AssetPlace& folder, ResultsLog* log, std::uint32_t flags) {
  static const Zef::PString filesKey(kFilesTag);
  TagContainer asset;
  std::uint64_t lost = 0;
  if (!LoadFolderConfig(folder, asset, log, &lost)) return false;
  NameFiles(asset, folder);
  MUKPackage package;
  package.Tags().SetString("compression", "");  // nobody keeps it
  TagContainer files;
  files.Ensure();
  const bool isRead = package.ImportFolder(folder, files, log);
  if (isRead) asset.SetSubContainer(filesKey, files);
  if (!isRead || !package.Add(asset).empty()) {
    TellOfFile(log, ResultLevel::kWarning, "$muk_skipping_asset_at", PlaceText(folder),
               isRead ? "its config has no identifier" : "its files could not be packed");
    return false;
  }
  return InstallPacked(asset, package, log, flags, lost);
}

bool MUKInstallFile(const std::string& path, ResultsLog* log, std::uint32_t flags,
                    const InstallProgress& progress) {
  const std::size_t name = path.find_last_of(Zef::FilePath::kSeparators) + 1;
  if (IsConfigName(std::string_view(path).substr(name))) {
    const std::size_t end = name > 1 ? name - 1 : name;
    return MUKInstallFolder({{}, name == 0 ? "." : path.substr(0, end)}, log, flags);
  }
  MUKPackage package;
  if (const std::string error = package.Open(path, "kpx"); !error.empty()) {
    Zef::Trace("MUKInstallFile> \"%s\": %s\n", path.c_str(), error.c_str());
    TellOfFile(log, ResultLevel::kError, "$muk_unreadable_kpx", path);
    return false;
  }
  bool all = true;
  const std::uint64_t total = kStepsAnAsset * package.Count();
  for (std::uint32_t at = 0; at < package.Count(); ++at) {
    const TagContainer asset = package.Get(at);
    const std::uint64_t before = kStepsAnAsset * at;
    if (progress) {
      const std::uint64_t size = MeasurePackageFiles(asset, package.Compression()).bytes;
      package.SetProgress([&progress, before, size, total](std::uint64_t bytes) {
        progress(before + (size == 0 ? 0 : kStepsAnAsset * std::min(bytes, size) / size), total);
      });
    }
    if (!MUKInstallAsset(asset, package, log, flags)) all = false;
    if (progress) progress(before + kStepsAnAsset, total);
  }
  return all;
}
