#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "database/AssetCopy.h"
#include "database/AssetEdit.h"
#include "database/AssetMessages.h"
#include "database/AssetOperation.h"
#include "database/AssetWalk.h"
#include "database/ConfigReader.h"
#include "database/ContentServices.h"
#include "database/FileRules.h"
#include "database/FolderClaims.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FolderCopy.h"
#include "kernel/platform/FolderReader.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;

/// Names, sizes and times, to notice that a file was saved.
std::string StampOf(const AssetPlace& folder) {
  std::string stamp;
  AssetWalkVisitor visitor;
  visitor.file = [&](const WalkedFile& file) {
    Zef::FilePath path(file.place.path);
    if (file.folder == nullptr) Zef::SubstList::Get().Qualify(file.place.subst, path);
    Zef::Platform::FileInfo info;
    static_cast<void>(Zef::Platform::GetInfoNoFollow(
        file.folder == nullptr ? std::string(path.View()) : file.place.path, &info));
    stamp.append(file.place.path).append("\n");
    for (const std::uint64_t fact : {info.size, info.serial, info.changed}) {
      stamp.append(std::to_string(fact)).append("\n");
    }
    return true;
  };
  static_cast<void>(WalkAssetFolder(folder, "", visitor));
  return stamp;
}

/// An asset on its way from its working folder to where it is installed.
class Commit {
 public:
  Commit(MUKAsset& record, ResultsLog* log, std::uint32_t flags)
      : record_(record), log_(log), flags_(flags) {}

  /// The key of what went wrong, or null. Some have a reason.
  const char* Run(std::string& reason);

 private:
  bool FindTarget();
  const char* FaultOfFiles(std::string& reason) const;
  /// Empty, or why not.
  std::string PutInPlace();
  bool MoveInPlace();
  /// Empty, or why not.
  std::string CopyInPlace();
  void EnterPlace() noexcept;
  bool DropIgnored(const std::string& folder, std::size_t depth);
  void UpgradeLocation();
  void UpdateRecord();

  bool Keeps() const { return (flags_ & kCommitKeepWorkingFolder) != 0; }

  AssetOperation work_;
  MUKAsset& record_;
  ResultsLog* log_;
  std::uint32_t flags_;
  AssetPlace working_;
  CommitTarget target_;
  bool isNew_ = false;     // the target was made for it
  AssetText installPath_;  // of an asset that had no place on disk, made before anything moves
  AssetText archiveName_;
  bool hasMoved_ = false;
  bool isSaved_ = false;  // while it was copied
};

const char* Commit::Run(std::string& reason) {
  if (!record_.Has(AssetFlag::PermitCommit)) return "$muk_commit_perm";
  ClearLostEditPath(work_, record_, false);
  if (record_.editPath.IsEmpty()) return "$muk_commit_open_for_edit";
  if (!work_.BeginDiskChange()) return "$muk_database_error";
  working_ = EditPlace(work_.root, record_);
  if (!FindTarget()) return "$muk_commit_database_error";
  const char* failure = FaultOfFiles(reason);
  if (failure == nullptr) reason = PutInPlace();
  if (!reason.empty()) failure = "$muk_commit_file_error";
  if (failure != nullptr) {
    // An asset that was nowhere is nowhere again.
    if (isNew_) static_cast<void>(Zef::Platform::RemoveEmptyFolder(target_.place.path));
    return failure;
  }
  if (!hasMoved_ && !Keeps() && !isSaved_) {
    // One that cannot be deleted stays open for edit.
    static_cast<void>(DropWorkingFolder(work_, record_));
  }
  if ((flags_ & kCommitUpgradeLocation) != 0) UpgradeLocation();
  UpdateRecord();
  return nullptr;
}

bool Commit::FindTarget() {
  const std::optional<CommitTarget> found = FindCommitTarget(work_, record_);
  if (found) {
    target_ = *found;
    return true;
  }
  isNew_ = true;
  const std::string made = MakeAssetFolder(work_.root, kLocalArchive, "content ");
  work_.Step("commit: folder made");
  if (made.empty()) return false;
  target_.place.path = work_.root + "/" + made;
  installPath_ = std::string_view(made).substr(kLocalArchive.size() + 1);
  archiveName_ = kLocalArchive;
  return true;
}

const char* Commit::FaultOfFiles(std::string& reason) const {
  const int configs = CountConfigs(working_);
  if (configs < 0) {
    reason = "their folder cannot be read";
    return "$muk_commit_file_error";
  }
  if (configs == 0) return "$muk_commit_missing_config";
  if (configs > 1) return "$muk_commit_duplicate_config";
  return CheckFolder(working_, log_) ? nullptr : "$muk_commit_invalid_files";
}

std::string Commit::PutInPlace() {
  if (target_.place.path.empty()) return "the path of their folder leads nowhere";
  if (target_.isShared) return "the folder they go to holds that of another asset";
  if (Overlap(working_, target_.place)) return "their folder and the one they go to overlap";
  work_.Step("commit: files checked");
  hasMoved_ = MoveInPlace();
  if (hasMoved_) EnterPlace();
  std::string reason;
  const auto copy = [&] {
    reason = CopyInPlace();
    return reason.empty();
  };
  if (!hasMoved_ && !WithRoom(copy)) return reason;
  Zef::Platform::FlushFolder(target_.place.path + "/..");
  return {};
}

/// The folder itself goes, as it costs nothing, and an editor that has a file open writes on where
/// it can be found.
bool Commit::MoveInPlace() {
  return !Keeps() && OwnsWorkingFolder(work_, record_) && DropIgnored(working_.path, 0) &&
         Zef::Platform::FlushTree(working_.path) &&
         MoveAssetFolder(work_.root, working_.path, target_.place.path,
                         work_.settings.stepObserver);
}

/// What a commit leaves out. False when that cannot be.
bool Commit::DropIgnored(const std::string& folder, std::size_t depth) {
  const FolderReader reader(folder);
  FolderListing listing;
  if (depth > kDeepestAssetFolder || !reader.IsOpen() || !reader.List(&listing)) return false;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    const std::string path = folder + "/" + listing.Name(at);
    const EntryKind kind = listing.Kind(at);
    if (kind == EntryKind::Folder && !DropIgnored(path, depth + 1)) return false;
    if (kind != EntryKind::File || !Ignored(listing.NameView(at))) continue;
    if (!DeleteAssetFolder(work_.root, path)) return false;
  }
  return true;
}

std::string Commit::CopyInPlace() {
  StagedFolder staged(work_.root, work_.settings.stepObserver);
  const std::string stamp = Keeps() ? "" : StampOf(working_);
  if (!staged.IsMade()) return kNotStaged;
  if (std::string fault = CopyAssetFolder(working_, staged.Path()); !fault.empty()) return fault;
  if (!Zef::Platform::FlushTree(staged.Path())) return kNotWritten;
  const bool isDone = FolderExists(target_.place) ? staged.Exchange(target_.place.path)
                                                  : staged.Put(target_.place.path);
  if (!isDone) return PlaceFault(work_.root, target_.place.path, kNotWritten);
  EnterPlace();
  isSaved_ = !Keeps() && StampOf(working_) != stamp;
  return {};
}

/// At once when the files are in place: should memory run out next, the record tells where they
/// are.
void Commit::EnterPlace() noexcept {
  if (isNew_) {
    record_.installPath = std::move(installPath_);
    record_.archiveName = std::move(archiveName_);
  }
  if (!target_.isLegacy) record_.legacyPath.Clear();
  if (hasMoved_) record_.editPath.Clear();
}

void Commit::UpgradeLocation() {
  const std::string path = record_.legacyPath.String();
  const std::size_t head = kLocalArchive.size();
  if (path.size() < head + 2) return;
  // A recovery may have found it there under its other name.
  if (!record_.installPath.IsEmpty() &&
      !IsSameFolder(LegacyPlace(work_.root, record_), InstallPlace(work_.root, record_))) {
    return;
  }
  if (!Zef::EqualFolded(std::string_view(path).substr(0, head), kLocalArchive)) return;
  if (!Zef::IsSeparator(path[head])) return;
  const std::size_t begin = path.find_first_not_of(Zef::FilePath::kSeparators, head);
  if (begin == std::string::npos) return;
  record_.installPath = std::string_view(path).substr(begin);
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
  const AssetPlace place = CommittedPlace(work_, record_);
  if (IdInFolder(place) != record_.id) {
    Zef::Trace("MUKCommitAssetEdits> the config in \"%s\" names another asset\n",
               PlaceText(place).c_str());
  }
  record_.Set(AssetFlag::Faulty, !IsValid(place));
  work_.services.Update(work_.index, record_);
  work_.index.Sort();
}

}  // namespace

std::optional<CommitTarget> FindCommitTarget(const AssetOperation& work, const MUKAsset& record) {
  for (const bool isLegacy : {true, false}) {
    if ((isLegacy ? record.legacyPath : record.installPath).IsEmpty()) continue;
    const AssetPlace named =
        isLegacy ? LegacyPlace(work.root, record) : InstallPlace(work.root, record);
    const AssetPlace place = OnDisk(work.root, named, true);
    // One in a mounted archive comes to lie beside it: nothing can be put in its place there. So
    // does one whose folders are those of other assets.
    if (!place.subst.IsNull()) continue;
    const FolderOwner owner = OwnerOf(work.root, work.index, record, place);
    if (owner == FolderOwner::Other) continue;
    return CommitTarget{place, isLegacy, owner == FolderOwner::Shared};
  }
  return std::nullopt;
}

bool MUKCommitAssetEdits(const PLID& id, ResultsLog* log, std::uint32_t flags) {
  const MUKLock guard(true);
  MUKAsset* const record = guard.IsHeld() ? Database::Get().Index().Find(id) : nullptr;
  if (record == nullptr) return false;
  std::string reason;
  const char* const failure = Commit(*record, log, flags).Run(reason);
  if (failure != nullptr) TellOfAsset(log, ResultLevel::kError, failure, *record, reason);
  return failure == nullptr;
}

void SetAssetValidator(AssetValidator validator) {
  const std::lock_guard lock(validatorLock);
  Validator() = std::move(validator);
}
