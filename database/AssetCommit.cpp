#include <mutex>
#include <utility>

#include "database/AssetCopy.h"
#include "database/AssetEdit.h"
#include "database/AssetMessages.h"
#include "database/AssetOperation.h"
#include "database/ContentServices.h"
#include "database/FileRules.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FolderReader.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Trace.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;

constexpr std::string_view kConfigs[] = {"config.txt", "config.grole"};

/// Whether files lie in a folder or below that a commit leaves out. True for one too deep to tell.
bool HasIgnored(const FolderReader& folder, std::size_t depth = 0) {
  FolderListing listing;
  if (depth > kDeepestAssetFolder || !folder.IsOpen() || !folder.List(&listing)) return true;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    if (Ignored(listing.NameView(at))) return true;
    const bool isFolder = listing.Kind(at) == EntryKind::Folder;
    if (isFolder && HasIgnored(folder.OpenFolder(listing.Name(at)), depth + 1)) return true;
  }
  return false;
}

/// An asset on its way from its working folder to where it is installed.
class Commit {
 public:
  Commit(MUKAsset& record, ResultsLog* log, std::uint32_t flags)
      : record_(record), log_(log), flags_(flags) {}

  /// The key of what went wrong, or null.
  const char* Run();

 private:
  bool FindTarget();
  const char* FaultOfFiles() const;
  bool PutInPlace();
  bool CopyInPlace();
  void UpgradeLocation();
  void UpdateRecord();

  bool Keeps() const { return (flags_ & kCommitKeepWorkingFolder) != 0; }

  AssetOperation work_;
  MUKAsset& record_;
  ResultsLog* log_;
  std::uint32_t flags_;
  AssetPlace working_;
  AssetPlace target_;
  std::string madeFolder_;  // below "local", of an asset that had no place
};

const char* Commit::Run() {
  if (!record_.Has(AssetFlag::PermitCommit)) return "$muk_commit_perm";
  if (record_.editPath.IsEmpty()) return "$muk_commit_open_for_edit";
  working_ = EditPlace(work_.root, record_);
  if (!FindTarget()) return "$muk_commit_database_error";
  const char* failure = FaultOfFiles();
  if (failure == nullptr && !PutInPlace()) failure = "$muk_commit_file_error";
  if (failure != nullptr) {
    // An asset that was nowhere is nowhere again.
    if (!madeFolder_.empty()) static_cast<void>(Zef::Platform::RemoveEmptyFolder(target_.path));
    return failure;
  }
  if (!madeFolder_.empty()) {
    record_.installPath = std::string_view(madeFolder_).substr(kLocalArchive.size() + 1);
    record_.archiveName = kLocalArchive;
  }
  // One that cannot be deleted stays open for edit.
  if (!Keeps()) static_cast<void>(DropWorkingFolder(work_, record_));
  if ((flags_ & kCommitUpgradeLocation) != 0) UpgradeLocation();
  UpdateRecord();
  return nullptr;
}

bool Commit::FindTarget() {
  if (!record_.legacyPath.IsEmpty() || !record_.installPath.IsEmpty()) {
    target_ = CommittedPlace(work_, record_);
    return true;
  }
  madeFolder_ = MakeAssetFolder(work_.root, kLocalArchive, "content ");
  target_.path = work_.root + "/" + madeFolder_;
  work_.Step("commit: folder made");
  return !madeFolder_.empty();
}

const char* Commit::FaultOfFiles() const {
  const int configs = CountConfigs(working_);
  if (configs == 0) return "$muk_commit_missing_config";
  if (configs > 1) return "$muk_commit_duplicate_config";
  return CheckFolder(working_, log_) ? nullptr : "$muk_commit_invalid_files";
}

/// Nothing can be put in the place of a part of an archive, or of what lies outside the product.
bool Commit::PutInPlace() {
  if (!target_.subst.IsNull() || target_.path.empty() || Overlap(working_, target_)) return false;
  work_.MarkChanged();
  work_.Step("commit: files checked");
  // The folder itself goes, as it costs nothing, and an editor that has a file open writes on where
  // it can be found.
  const bool mayMove = !Keeps() && working_.subst.IsNull() &&
                       !PathBelow(work_.root, working_.path).empty() &&
                       !HasIgnored(FolderReader(working_.path));
  const auto observer = work_.settings.stepObserver;
  return (mayMove && MoveAssetFolder(work_.root, working_.path, target_.path, observer)) ||
         CopyInPlace();
}

bool Commit::CopyInPlace() {
  AwaitSweeps();  // what was deleted last may be the room that this needs
  StagedFolder staged(work_.root, work_.settings.stepObserver);
  if (!staged.IsMade() || !CopyAssetFolder(working_, staged.Path())) return false;
  return FolderExists(target_) ? staged.Exchange(target_.path) : staged.Put(target_.path);
}

void Commit::UpgradeLocation() {
  const std::string path = record_.legacyPath.String();
  const std::size_t head = kLocalArchive.size();
  if (!record_.installPath.IsEmpty() || path.size() < head + 2) return;
  if (!Zef::EqualFolded(std::string_view(path).substr(0, head), kLocalArchive)) return;
  if (!Zef::IsSeparator(path[head])) return;
  record_.installPath = std::string_view(path).substr(head + 1);
  record_.archiveName = kLocalArchive;
  record_.legacyPath.Clear();
}

AssetValidator& Validator() {
  static auto& validator = *new AssetValidator;
  return validator;
}

std::mutex validatorLock;

bool IsValid(const AssetPlace& folder) {
  AssetValidator validator;
  {
    const std::lock_guard lock(validatorLock);
    validator = Validator();
  }
  return !validator || validator(folder);
}

void Commit::UpdateRecord() {
  work_.MarkChanged();
  work_.Step("commit: in place");
  if (!work_.Verify(record_)) {
    Zef::Trace("MUKCommitAssetEdits> unable to update asset info\n");
  }
  record_.Set(AssetFlag::Faulty, !IsValid(CommittedPlace(work_, record_)));
  work_.services.Update(work_.index, record_);
  work_.index.Sort();
}

}  // namespace

int CountConfigs(const AssetPlace& place) {
  int count = 0;
  if (!place.subst.IsNull()) {
    for (const std::string_view name : kConfigs) {
      const std::string file = place.path + "/" + std::string(name);
      if (Zef::File::Exists(place.subst, file.c_str()) == Zef::RES_OK) ++count;
    }
    return count;
  }
  const FolderReader folder(place.path);
  FolderListing listing;
  if (!folder.IsOpen() || !folder.List(&listing)) return 0;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    for (const std::string_view name : kConfigs) {
      if (Zef::EqualFolded(listing.NameView(at), name)) ++count;
    }
  }
  return count;
}

bool MUKCommitAssetEdits(const PLID& id, ResultsLog* log, std::uint32_t flags) {
  const MUKLock guard(true);
  MUKAsset* const record = guard.IsHeld() ? Database::Get().Index().Find(id) : nullptr;
  if (record == nullptr) return false;
  const char* const failure = Commit(*record, log, flags).Run();
  if (failure != nullptr) TellOfAsset(log, ResultLevel::kError, failure, *record);
  return failure == nullptr;
}

void SetAssetValidator(AssetValidator validator) {
  const std::lock_guard lock(validatorLock);
  Validator() = std::move(validator);
}
