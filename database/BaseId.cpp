#include "database/BaseId.h"

#include <limits>

#include "database/MUKAssetIndex.h"
#include "kernel/platform/FileSystem.h"
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

bool IsTaken(const MUKAssetIndex& index, const PLID& id) {
  for (std::int32_t version = 0; version <= PLID::kNullVersion; ++version) {
    if (index.Find({id.user, id.content, version}) != nullptr) return true;
  }
  return false;
}

}  // namespace

void BaseIdSettings::LoadBaseId(const std::string& root) {
  const std::lock_guard lock(lock_);
  root_ = root;
  base_ = PLID();
  if (root_.empty()) return;
  TagContainer settings;
  const std::string path = Zef::Platform::ResolveCase(root_, kFile);
  if (!LoadTagFileSafe(settings, {}, path)) return;
  base_ = settings.GetPLID(BaseKey());
  if (!base_.IsNull()) SetBaseUserId(base_.user);
}

PLID BaseIdSettings::Get() const {
  const std::lock_guard lock(lock_);
  return base_;
}

bool BaseIdSettings::SetBaseId(const PLID& id) {
  const std::lock_guard lock(lock_);
  return !id.IsNull() && Store(id);
}

bool BaseIdSettings::Store(const PLID& id) {
  base_ = id;
  if (root_.empty()) return true;
  TagContainer settings;
  settings.SetPLID(BaseKey(), id);
  const std::string path = Zef::Platform::ResolveCase(root_, kFile);
  const bool hasFolder = Zef::Platform::MakeFolders(path.substr(0, path.rfind('/')));
  if (hasFolder && SaveTagFileSafe(settings, {}, path)) return true;
  Zef::Trace("Unable to write 'Settings/plid.txt' file.\n");
  return false;
}

std::int32_t BaseIdSettings::GetBaseUser() {
  const std::lock_guard lock(lock_);
  return User();
}

std::int32_t BaseIdSettings::User() {
  const std::int32_t user = BaseUserId();
  if (base_.user != user) {
    const PLID first = FirstVersion(user, kFirstContent);
    if (first.IsNull()) {
      base_ = first;
    } else {
      Store(first);
    }
  }
  const bool isReserved = base_.user <= 0 && base_.user >= kLastReservedUser;
  return base_.IsNull() || isReserved ? kNoUser : base_.user;
}

PLID BaseIdSettings::NextLocalId(const MUKAssetIndex& index) {
  const std::lock_guard lock(lock_);
  std::int32_t user = User();
  if (user == kNoUser) user = base_.user;
  std::int32_t content = base_.content;
  // No more numbers can be taken than there are records, so the walk ends.
  while (content < std::numeric_limits<std::int32_t>::max()) {
    const PLID id = FirstVersion(user, content++);
    if (id.IsNull()) break;
    if (IsTaken(index, id)) continue;
    Store({base_.user, content, base_.version});
    return id;
  }
  return {};
}
