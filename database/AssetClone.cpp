#include "database/AssetClone.h"

#include <cstdint>
#include <optional>
#include <string>

#include "database/AssetCopy.h"
#include "database/AssetEdit.h"
#include "database/AssetFolder.h"
#include "database/AssetInfo.h"
#include "database/AssetMessages.h"
#include "database/AssetRollback.h"
#include "database/ConfigReader.h"
#include "database/ConfigWriter.h"
#include "database/ContentServices.h"
#include "database/Database.h"
#include "database/FolderClaims.h"
#include "database/FolderSweep.h"
#include "database/MUKLock.h"
#include "database/StagedFolder.h"
#include "environment/ResultsLog.h"

namespace {

constexpr const char* kNotCloned = "$muk_clone_error";

const char* Refusal(const PLID& id, const MUKAssetInfo& info, bool asNewVersion) {
  if (!info.valid || !info.permitEdit) return "$muk_clone_perm";
  if (!asNewVersion) return nullptr;
  if (id.user != BaseUserId()) return "$muk_not_local_owner";
  return info.isLatest ? nullptr : "$muk_asset_out_of_date";
}

/// Null where there is none, and a new asset is to take its place.
PLID NextVersion(const PLID& id) {
  if (id.user < 0 || id.version >= PLID::kNullVersion) return {};
  return {id.user, id.content, id.version + 1};
}

void AppendObsolete(TagContainer& config, const PLID& id) {
  static const Zef::PString tableKey("obsolete-table");
  TagContainer table = config.GetSubContainer(tableKey);
  table.Ensure();
  table.SetPLID(table.NextFreeNumericKey(), id);
  config.SetSubContainer(tableKey, table);
}

/// Fills a folder with the source's files under the clone's identifier, and counts the tags that
/// its config loses. Empty, or the reason.
std::string Fill(const StagedFolder& staged, const MUKAsset& source, const PLID& clone,
                 bool asNewVersion, std::uint64_t& lost) {
  static const Zef::PString idKey("plid");
  if (!staged.IsMade()) return kNotStaged;
  Database& database = Database::Get();
  const std::string& root = database.Settings().productRoot;
  const AssetPlace from = AssetPlaceOf(root, source);
  if (std::string refusal = CopyRefusal(root, database.Index(), source, from); !refusal.empty()) {
    return refusal;
  }
  if (std::string fault = CopyAssetFolder(from, staged.Path()); !fault.empty()) return fault;
  TagContainer config;
  ConfigReader reader;
  if (reader.ReadAt({{}, staged.Path()}, config) != ConfigStatus::Loaded) {
    return "its config cannot be read";
  }
  lost = CountLosses(reader.LastLosses());
  config = TagsWithout(config, idKey.View());
  config.SetPLID(idKey, clone);
  if (asNewVersion && !clone.SameWithoutVersion(source.id)) AppendObsolete(config, source.id);
  const bool isWritten = WriteConfig(config, staged.Path(), ConfigForm::Text, clone, &lost);
  return isWritten ? "" : "its config could not be written so that it can be read again";
}

/// Null when the clone stands, else the message about the source that tells why not; empty when the
/// log has it.
const char* PutInPlace(StagedFolder& staged, MUKAsset& clone, ResultsLog* log,
                       std::string& reason) {
  Database& database = Database::Get();
  const MUKSettings& settings = database.Settings();
  if (MUKOpenAsset(clone.id, true, log).IsNull()) return "";
  const std::string folder = EditPlace(settings.productRoot, clone).path;
  if (!staged.Put(folder)) {
    reason = PlaceFault(settings.productRoot, folder, kNotWritten);
    return kNotCloned;
  }
  database.MarkChanged(kChangeGeneral);
  settings.services->Verify(database.Index(), clone);
  return nullptr;
}

/// The same. Some messages have a reason.
const char* MakeClone(const MUKAsset& source, const PLID& id, bool asNewVersion, ResultsLog* log,
                      std::string& reason) {
  const MUKSettings& settings = Database::Get().Settings();
  MUKAssetIndex& index = Database::Get().Index();
  // Filled before anything is open for edit, which is whole then at every instant.
  std::optional<StagedFolder> staged;
  std::uint64_t lost = 0;
  const bool isFilled = WithRoom([&] {  // what was deleted last may be the room that this needs
    staged.emplace(settings.productRoot, settings.stepObserver);
    reason = Fill(*staged, source, id, asNewVersion, lost);
    return reason.empty();
  });
  if (!isFilled) return kNotCloned;
  AssetRollback rollback(id);
  if (index.Find(id) == nullptr) index.CreateNew(id);
  MUKAsset& clone = *index.Find(id);
  clone.name = source.ShownName();  // the working folder is named by it
  if (!asNewVersion) clone.Set(AssetFlag::IsClone, true);
  const char* const failure = PutInPlace(*staged, clone, log, reason);
  if (failure != nullptr) return failure;
  rollback.Done();
  if (lost != 0) {
    TellOfAsset(log, ResultLevel::kWarning, "$muk_config_tags_lost", clone, std::to_string(lost));
  }
  return nullptr;
}

}  // namespace

PLID MUKCloneAsset(const PLID& source, const PLID& target, bool asNewVersion, ResultsLog* log) {
  const MUKLock guard(true);
  const MUKAssetInfo info = MUKGetAssetInfo(source);
  std::string reason;
  const auto refuse = [&](const char* key) {
    TellOfAsset(log, ResultLevel::kError, key, source, info.name, reason);
    return PLID();
  };
  if (const char* const refusal = Refusal(source, info, asNewVersion)) return refuse(refusal);
  PLID id = asNewVersion ? NextVersion(source) : target;
  if (MUKGetAssetInfo(id).isPresent) {
    if (asNewVersion) return refuse("$muk_asset_out_of_date");
    reason = "there is an asset " + id.TagText() + " already";
    return refuse(kNotCloned);
  }
  if (id.IsNull()) id = Database::Get().NextLocalId();
  if (id.IsNull()) {
    reason = "'Settings/plid.txt' gives no new identifier";
    return refuse(kNotCloned);
  }
  const MUKAsset& record = *Database::Get().Index().Find(source);
  if (const char* const failure = MakeClone(record, id, asNewVersion, log, reason)) {
    return *failure == 0 ? PLID() : refuse(failure);
  }
  TellOfAsset(log, ResultLevel::kDone, "$muk_cloned", source, info.name, id.TagText());
  return id;
}
