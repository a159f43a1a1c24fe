#include "database/AssetInfo.h"

#include "database/Accessors.h"
#include "database/ClassTables.h"
#include "database/Database.h"
#include "database/MUKLock.h"

namespace {

constexpr std::uint8_t kMarks = 0x0F;

bool IsLatest(const MUKAssetIndex& index, const MUKAsset& record) {
  if (record.IsPresent() || record.id.user < 0 || record.id.version == 0) return true;
  const PLID latest = index.Resolve({record.id.user, record.id.content, 0});
  return latest.IsNull() || latest == record.id;
}

}  // namespace

MUKAssetInfo MUKGetAssetInfo(const PLID& id) {
  MUKAssetInfo info;
  const MUKLock guard(false);
  if (!guard.IsHeld()) return info;
  const MUKAssetIndex& index = Database::Get().Index();
  const MUKAsset* const record = index.Find(id);
  if (record == nullptr) return info;
  info.name = record->ShownName().String();
  info.isLatest = IsLatest(index, *record);
  info.isLegacy = !record->legacyPath.IsEmpty();
  info.isPresent = record->IsPresent();
  info.builtIn = record->Has(AssetFlag::BuiltIn);
  info.patched = record->Has(AssetFlag::Patched);
  info.listed = record->Has(AssetFlag::Listed);
  info.inArchive = MUKGetInArchive(id);
  info.isOpenForEdit = !record->editPath.IsEmpty();
  info.faulty = record->Has(AssetFlag::Faulty);
  info.missingDependency = MUKGetMissingDependency(id);
  info.permitEdit = record->Has(AssetFlag::PermitEdit);
  info.permitCommit = record->Has(AssetFlag::PermitCommit);
  info.permitListing = record->Has(AssetFlag::PermitListing);
  info.region = record->region.String();
  info.era = record->era.String();
  info.sizeBytes = record->sizeBytes;
  info.classKey = ClassKey(record->category.View());
  info.category = record->category.String();
  info.marks = record->flags.Byte(0) & kMarks;
  info.rating = record->rating;
  info.uploadTime = record->uploadTime;
  info.modifyTime = record->modifyTime;
  info.valid = true;
  return info;
}
