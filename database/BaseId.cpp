#include "database/BaseId.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "database/MUKAssetIndex.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderWriter.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Trace.h"
#include "tagdata/TagContainer.h"
#include "tagdata/TagFiles.h"

namespace {

constexpr const char* kFile = "Settings/plid.txt";
constexpr std::int32_t kNoUser = -1;
constexpr std::int32_t kLastReservedUser = -9;  // -9 to 0 stand for no particular user

const Zef::PString& BaseKey() {
  static const Zef::PString key("base-plid");
  return key;
}

/// An identifier of a user, in the version that such a user's first assets have.
PLID FirstVersion(std::int32_t user, std::int32_t content) {
  return {user, content, user < 0 ? PLID::kNullVersion : 0};
}

std::uint32_t Number(const PLID& id) { return static_cast<std::uint32_t>(id.content); }

bool IsTaken(const MUKAssetIndex& index, const PLID& id) {
  for (std::int32_t version = 0; version <= PLID::kNullVersion; ++version) {
    if (index.Find({id.user, id.content, version}) != nullptr) return true;
  }
  return false;
}

/// The numbers of a user that records have, sorted.
std::vector<std::int32_t> TakenNumbers(const MUKAssetIndex& index, std::int32_t user) {
  std::vector<std::int32_t> taken;
  for (const MUKAsset* const record : index.AllRecords()) {
    if (record->id.user == user) taken.push_back(record->id.content);
  }
  std::sort(taken.begin(), taken.end());
  return taken;
}

}  // namespace

void BaseIdSettings::LoadBaseId(const std::string& root) {
  const std::lock_guard lock(lock_);
  root_ = root;
  base_ = PLID();
  givenUser_ = BaseUserId();
  isUnread_ = false;
  isUnsaved_ = false;
  Read();
}

void BaseIdSettings::Reload() {
  const std::lock_guard lock(lock_);
  Read();
}

std::string BaseIdSettings::Path() const {
  return IsPlain() ? Zef::Platform::ResolveCase(root_, kFile) : root_ + '/' + kFile;
}

/// False for a root inside what is mounted under a name.
bool BaseIdSettings::IsPlain() const { return Zef::Platform::IsRooted(root_); }

void BaseIdSettings::Read() {
  if (root_.empty()) return;
  TagContainer settings;
  const std::string path = Path();
  const bool isRead = LoadTagFileSafe(settings, {}, path);
  const bool isGone = IsPlain() ? Zef::Platform::IsGone(path)  //
                                : Zef::File::Exists(path.c_str()) != Zef::RES_OK;
  isUnread_ = !isRead && !isGone;
  if (!isRead) return;
  const PLID stored = settings.GetPLID(BaseKey());
  const bool isBehind = isUnsaved_ && stored.user == base_.user && Number(stored) < Number(base_);
  if (stored.IsNull() || isBehind) return;
  base_ = stored;
  isUnsaved_ = false;
  if (BaseUserId() != givenUser_) return;
  givenUser_ = stored.user;
  SetBaseUserId(givenUser_);
}

PLID BaseIdSettings::Get() const {
  const std::lock_guard lock(lock_);
  return base_;
}

bool BaseIdSettings::SetBaseId(const PLID& id) {
  const std::lock_guard lock(lock_);
  if (id.IsNull()) return false;
  if (isUnread_) Read();
  return Store(id);
}

bool BaseIdSettings::Store(const PLID& id) {
  base_ = id;
  isUnsaved_ = !root_.empty();
  if (!isUnsaved_) return true;
  if (isUnread_) {
    Zef::Trace("Unable to read '%s' file, which is left as it is.\n", kFile);
    return false;
  }
  TagContainer settings;
  settings.SetPLID(BaseKey(), id);
  const std::string path = Path();
  const std::string folder = path.substr(0, path.rfind('/'));
  const bool hasFolder =
      IsPlain() ? Zef::Platform::MakeFoldersAsAbove(folder) : Zef::File::MakeFolder(folder.c_str());
  isUnsaved_ = !(hasFolder && SaveTagFileSafe(settings, {}, path));
  if (isUnsaved_) Zef::Trace("Unable to write '%s' file.\n", kFile);
  return !isUnsaved_;
}

std::int32_t BaseIdSettings::GetBaseUser() {
  const std::lock_guard lock(lock_);
  return User();
}

std::int32_t BaseIdSettings::User() {
  if (isUnread_) Read();
  const std::int32_t user = BaseUserId();
  const PLID current = base_.user == user ? base_ : FirstVersion(user, kFirstContent);
  if (current.IsNull()) {
    base_ = current;
  } else if (isUnsaved_ || !(current == base_)) {
    Store(current);
  }
  const bool isReserved = base_.user <= 0 && base_.user >= kLastReservedUser;
  return base_.IsNull() || isReserved ? kNoUser : base_.user;
}

PLID BaseIdSettings::NextLocalId(const MUKAssetIndex& index) {
  const std::lock_guard lock(lock_);
  std::int32_t user = User();
  if (user == kNoUser) user = base_.user;
  // Numbers from elsewhere than the file may be given to others already.
  if (base_.IsNull() || isUnread_) return {};
  std::uint32_t number = Number(base_);
  std::optional<std::vector<std::int32_t>> taken;  // gathered only if the first number is not free
  // No more numbers are taken than there are records; one of user -1 spells no identifier.
  for (std::uint64_t left = std::uint64_t{index.Count()} + 2; left > 0; --left) {
    const PLID id = FirstVersion(user, static_cast<std::int32_t>(number++));
    if (id.IsNull()) continue;
    if (!taken && IsTaken(index, id)) taken = TakenNumbers(index, user);
    if (taken && std::binary_search(taken->begin(), taken->end(), id.content)) continue;
    Store({base_.user, static_cast<std::int32_t>(number), base_.version});
    return id;
  }
  return {};
}
