#include "database/Accessors.h"

#include <bit>

#include "database/AssetUpdate.h"
#include "database/ContentServices.h"
#include "database/Database.h"
#include "database/MUKLock.h"

namespace {

/// What `read` makes of the record, or `unknown` without one.
template <typename Value, typename Read>
Value Get(const PLID& id, Value unknown, Read read) {
  const MUKLock guard(false);
  if (!guard.IsHeld()) return unknown;
  const MUKAsset* const record = Database::Get().Index().Find(id);
  return record != nullptr ? read(*record) : unknown;
}

std::string GetText(const PLID& id, AssetText MUKAsset::*field) {
  return Get(id, std::string(), [=](const MUKAsset& record) { return (record.*field).String(); });
}

template <typename Value>
Value GetValue(const PLID& id, Value MUKAsset::*field, Value unknown = Value()) {
  return Get(id, unknown, [=](const MUKAsset& record) { return record.*field; });
}

bool GetFlag(const PLID& id, AssetFlag flag) {
  return Get(id, false, [=](const MUKAsset& record) { return record.Has(flag); });
}

/// Runs `change`, which tells whether the record became another one.
template <typename Change>
bool Set(const PLID& id, std::uint32_t mask, Change change) {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return false;
  Database& database = Database::Get();
  MUKAsset* const record = database.Index().Find(id);
  if (record == nullptr) return false;
  if (change(*record)) database.MarkChanged(mask);
  return true;
}

/// Gives a field another value; `after` does what follows from that.
template <typename Field, typename Value, typename After>
bool SetField(const PLID& id, Field MUKAsset::*field, const Value& value, std::uint32_t mask,
              After after) {
  return Set(id, mask, [&](MUKAsset& record) {
    if (record.*field == value) return false;
    record.*field = value;
    after(record);
    return true;
  });
}

template <typename Field, typename Value>
bool SetValue(const PLID& id, Field MUKAsset::*field, const Value& value,
              std::uint32_t mask = kChangeGeneral) {
  return SetField(id, field, value, mask, [](MUKAsset&) {});
}

/// For the fields by which assets are searched.
bool SetSearchedText(const PLID& id, AssetText MUKAsset::*field, std::string_view value) {
  return SetField(id, field, value, kChangeGeneral,
                  [](MUKAsset& record) { Database::Get().Index().ForgetSearchText(record); });
}

/// For the paths, by which others know whether what they depend on is there.
bool SetPlace(const PLID& id, AssetText MUKAsset::*field, std::string_view value) {
  return SetField(id, field, value, kChangeGeneral,
                  [](MUKAsset& record) { UpdateAsset(Database::Get().Index(), record); });
}

/// A bit that `has` fills in under a shared guard.
bool GetCached(const PLID& id, bool (*has)(MUKAssetIndex&, MUKAsset&, bool* changed)) {
  const MUKLock guard(false);
  if (!guard.IsHeld()) return false;
  Database& database = Database::Get();
  MUKAsset* const record = database.Index().Find(id);
  if (record == nullptr) return false;
  const std::lock_guard cache(database.CacheLock());
  bool changed = false;
  const bool result = has(database.Index(), *record, &changed);
  if (changed) database.MarkChanged(kChangeGeneral);
  return result;
}

bool SetFlag(const PLID& id, AssetFlag flag, bool value) {
  return Set(id, kChangeGeneral, [=](MUKAsset& record) {
    if (record.Has(flag) == value) return false;
    record.Set(flag, value);
    return true;
  });
}

bool IsInArchive(MUKAssetIndex& index, MUKAsset& record, bool* changed) {
  if (!record.Has(AssetFlag::InArchiveKnown)) {
    record.Set(AssetFlag::InArchive, index.Companions().archives.Contains(record.id));
    record.Set(AssetFlag::InArchiveKnown, true);
    *changed = true;
  }
  return record.Has(AssetFlag::InArchive);
}

}  // namespace

bool MUKFind(const PLID& id, MUKAsset* record) {
  return Get(id, false, [=](const MUKAsset& held) {
    if (record != nullptr) *record = held;
    return true;
  });
}

PLID MUKCreateNew(const PLID& id) {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return {};
  const MUKAsset* const record = Database::Get().Index().CreateNew(id);
  return record != nullptr ? record->id : PLID();
}

bool MUKMerge(const MUKAsset& record) {
  const MUKLock guard(true);
  if (!guard.IsHeld()) return false;
  Database& database = Database::Get();
  MUKAssetIndex& index = database.Index();
  if (!index.Merge(record)) return false;
  database.MarkChanged(kChangeGeneral);
  database.Settings().services->Verify(index, *index.Find(record.id));
  return true;
}

PLID MUKResolve(const PLID& id) {
  const MUKLock guard(false);
  return guard.IsHeld() ? Database::Get().Index().Resolve(id) : id;
}

std::string MUKGetCategory(const PLID& id) { return GetText(id, &MUKAsset::category); }
std::string MUKGetRegion(const PLID& id) { return GetText(id, &MUKAsset::region); }
std::string MUKGetEra(const PLID& id) { return GetText(id, &MUKAsset::era); }
std::string MUKGetName(const PLID& id) { return GetText(id, &MUKAsset::name); }
std::string MUKGetUserName(const PLID& id) { return GetText(id, &MUKAsset::userName); }
std::string MUKGetKeywords(const PLID& id) { return GetText(id, &MUKAsset::keywords); }
std::string MUKGetDescription(const PLID& id) { return GetText(id, &MUKAsset::description); }
std::string MUKGetEditPath(const PLID& id) { return GetText(id, &MUKAsset::editPath); }
std::string MUKGetInstallPath(const PLID& id) { return GetText(id, &MUKAsset::installPath); }
std::string MUKGetArchiveName(const PLID& id) { return GetText(id, &MUKAsset::archiveName); }
std::string MUKGetLegacyPath(const PLID& id) { return GetText(id, &MUKAsset::legacyPath); }

std::string MUKGetSearchText(const PLID& id) {
  return Get(id, std::string(), [](const MUKAsset& record) {
    return std::string(Database::Get().Index().SearchText(record).View());
  });
}

std::uint32_t MUKGetSizeBytes(const PLID& id) { return GetValue(id, &MUKAsset::sizeBytes); }
float MUKGetBuild(const PLID& id) { return GetValue(id, &MUKAsset::build); }
std::uint64_t MUKGetUploadTime(const PLID& id) { return GetValue(id, &MUKAsset::uploadTime); }
std::uint64_t MUKGetModifyTime(const PLID& id) { return GetValue(id, &MUKAsset::modifyTime); }
PLID MUKGetMapId(const PLID& id) { return GetValue(id, &MUKAsset::mapId); }

std::int32_t MUKGetRating(const PLID& id) {
  return Get(id, -1, [](const MUKAsset& record) { return std::int32_t{record.rating}; });
}

bool MUKGetMarked(const PLID& id) { return GetFlag(id, AssetFlag::Marked); }
bool MUKGetEnabled(const PLID& id) { return GetFlag(id, AssetFlag::Enabled); }
bool MUKGetIsClone(const PLID& id) { return GetFlag(id, AssetFlag::IsClone); }
bool MUKGetIsReskin(const PLID& id) { return GetFlag(id, AssetFlag::IsReskin); }
bool MUKGetListed(const PLID& id) { return GetFlag(id, AssetFlag::Listed); }
bool MUKGetPatched(const PLID& id) { return GetFlag(id, AssetFlag::Patched); }
bool MUKGetBuiltIn(const PLID& id) { return GetFlag(id, AssetFlag::BuiltIn); }
bool MUKGetFaulty(const PLID& id) { return GetFlag(id, AssetFlag::Faulty); }
bool MUKGetPermitCommit(const PLID& id) { return GetFlag(id, AssetFlag::PermitCommit); }
bool MUKGetPermitEdit(const PLID& id) { return GetFlag(id, AssetFlag::PermitEdit); }
bool MUKGetPermitListing(const PLID& id) { return GetFlag(id, AssetFlag::PermitListing); }

bool MUKGetObsolete(const PLID& id) {
  return Get(id, false,
             [](const MUKAsset& record) { return Database::Get().Index().IsObsolete(record); });
}

bool MUKGetInArchive(const PLID& id) { return GetCached(id, IsInArchive); }
bool MUKGetMissingDependency(const PLID& id) { return GetCached(id, HasMissingDependency); }
bool MUKGetFaultyDependency(const PLID& id) { return GetCached(id, HasFaultyDependency); }

bool MUKSetCategory(const PLID& id, std::string_view value) {
  return SetSearchedText(id, &MUKAsset::category, value);
}
bool MUKSetRegion(const PLID& id, std::string_view value) {
  return SetValue(id, &MUKAsset::region, value);
}
bool MUKSetEra(const PLID& id, std::string_view value) {
  return SetValue(id, &MUKAsset::era, value);
}
bool MUKSetName(const PLID& id, std::string_view value) {
  return SetSearchedText(id, &MUKAsset::name, value);
}
bool MUKSetUserName(const PLID& id, std::string_view value) {
  return SetSearchedText(id, &MUKAsset::userName, value);
}
bool MUKSetKeywords(const PLID& id, std::string_view value) {
  return SetSearchedText(id, &MUKAsset::keywords, value);
}
bool MUKSetDescription(const PLID& id, std::string_view value) {
  return SetValue(id, &MUKAsset::description, value);
}
bool MUKSetEditPath(const PLID& id, std::string_view value) {
  return SetPlace(id, &MUKAsset::editPath, value);
}
bool MUKSetInstallPath(const PLID& id, std::string_view value) {
  return SetPlace(id, &MUKAsset::installPath, value);
}
bool MUKSetArchiveName(const PLID& id, std::string_view value) {
  return SetValue(id, &MUKAsset::archiveName, value);
}
bool MUKSetLegacyPath(const PLID& id, std::string_view value) {
  return SetPlace(id, &MUKAsset::legacyPath, value);
}

bool MUKSetSizeBytes(const PLID& id, std::uint32_t value) {
  return SetValue(id, &MUKAsset::sizeBytes, value, kChangeGeneral | kChangeSize);
}

bool MUKSetBuild(const PLID& id, float value) {
  return Set(id, kChangeGeneral, [=](MUKAsset& record) {
    // By bits: a value that is no number equals itself here.
    if (std::bit_cast<std::uint32_t>(record.build) == std::bit_cast<std::uint32_t>(value)) {
      return false;
    }
    record.build = value;
    return true;
  });
}

bool MUKSetRating(const PLID& id, std::uint32_t value) {
  constexpr std::uint32_t kRatings = 6;
  return value < kRatings && SetValue(id, &MUKAsset::rating, static_cast<std::uint8_t>(value));
}

bool MUKSetMapId(const PLID& id, const PLID& value) {
  return SetValue(id, &MUKAsset::mapId, value);
}
bool MUKSetUploadTime(const PLID& id, std::uint64_t value) {
  return SetValue(id, &MUKAsset::uploadTime, value);
}
bool MUKSetModifyTime(const PLID& id, std::uint64_t value) {
  return SetValue(id, &MUKAsset::modifyTime, value);
}

bool MUKSetMarked(const PLID& id, bool value) {
  const MUKLock guard(false);
  MUKAsset* const record = guard.IsHeld() ? Database::Get().Index().Find(id) : nullptr;
  if (record != nullptr) record->Set(AssetFlag::Marked, value);
  return record != nullptr;
}

bool MUKSetEnabled(const PLID& id, bool value) { return SetFlag(id, AssetFlag::Enabled, value); }
bool MUKSetIsClone(const PLID& id, bool value) { return SetFlag(id, AssetFlag::IsClone, value); }
bool MUKSetIsReskin(const PLID& id, bool value) { return SetFlag(id, AssetFlag::IsReskin, value); }
bool MUKSetListed(const PLID& id, bool value) { return SetFlag(id, AssetFlag::Listed, value); }
bool MUKSetPatched(const PLID& id, bool value) { return SetFlag(id, AssetFlag::Patched, value); }
bool MUKSetBuiltIn(const PLID& id, bool value) { return SetFlag(id, AssetFlag::BuiltIn, value); }
bool MUKSetFaulty(const PLID& id, bool value) {
  return Set(id, kChangeGeneral, [=](MUKAsset& record) {
    if (record.Has(AssetFlag::Faulty) == value) return false;
    record.Set(AssetFlag::Faulty, value);
    UpdateAsset(Database::Get().Index(), record);
    return true;
  });
}
bool MUKSetPermitCommit(const PLID& id, bool value) {
  return SetFlag(id, AssetFlag::PermitCommit, value);
}
bool MUKSetPermitEdit(const PLID& id, bool value) {
  return SetFlag(id, AssetFlag::PermitEdit, value);
}
bool MUKSetPermitListing(const PLID& id, bool value) {
  return SetFlag(id, AssetFlag::PermitListing, value);
}
