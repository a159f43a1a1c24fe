#include "plugin/PatchSet.h"

#include <vector>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "database/ShownName.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/TFile.h"

namespace {

/// What a set holds, each part by shown name. Sorting only these gives the order of the sorted
/// index, because the sort is stable.
struct Changes {
  std::vector<MUKAsset*> deletions;
  std::vector<MUKAsset*> additions;
  /// Records are equal by their identifiers alone, so this stays empty: a changed asset carries
  /// a new version. The file exists for sets that are made some other way.
  std::vector<MUKAsset*> changes;
};

Changes Compare(const MUKAssetIndex& older, const MUKAssetIndex& newer) {
  Changes found;
  for (MUKAsset* record : older.AllRecords()) {
    if (!record->Has(AssetFlag::BuiltIn)) continue;
    MUKAsset* counterpart = newer.Find(record->id);
    if (counterpart == nullptr) {
      found.deletions.push_back(record);
    } else if (!(*counterpart == *record)) {
      found.changes.push_back(counterpart);
    }
  }
  for (MUKAsset* record : newer.AllRecords()) {
    if (record->Has(AssetFlag::BuiltIn) && older.Find(record->id) == nullptr) {
      found.additions.push_back(record);
    }
  }
  SortByShownName(found.deletions);
  SortByShownName(found.additions);
  SortByShownName(found.changes);
  return found;
}

void WriteRecords(Zef::File& file, const std::vector<MUKAsset*>& records) {
  Zef::TFile out(&file, false);
  for (const MUKAsset* record : records) WriteRecord(out, *record);
  out.Close();
}

void WriteIds(Zef::File& file, const std::vector<MUKAsset*>& records) {
  Zef::TFile out(&file, false);
  for (const MUKAsset* record : records) record->id.Write(out);
  out.Close();
}

}  // namespace

bool MakePatchSet(const std::string& indexName, const std::string& oldRoot,
                  const std::string& newRoot, const std::string& outputRoot) {
  MUKAssetIndex older;
  MUKAssetIndex newer;
  const MUKAssetIndex::LoadOptions options{.keepConfigCache = false};
  if (!older.Load(oldRoot + indexName, nullptr, options)) return false;
  if (!newer.Load(newRoot + indexName, nullptr, options)) return false;
  try {
    PatchSetFiles files;
    if (!files.Open(outputRoot + "data/" + indexName, Zef::FileMode::kCreateWrite)) return false;
    const Changes found = Compare(older, newer);
    WriteIds(files.Deletions(), found.deletions);
    WriteRecords(files.Changes(), found.changes);
    WriteRecords(files.Additions(), found.additions);
    files.Close();
  } catch (const Zef::Exception&) {
    return false;
  }
  return true;
}

bool ApplyPatchSet(const std::string& indexName, const std::string& indexRoot,
                   const std::string& patchRoot) {
  const std::string indexPath = indexRoot + "/" + indexName;
  MUKAssetIndex index;
  if (!index.Load(indexPath)) return false;
  std::vector<std::string> replacedFolders;
  try {
    PatchSetFiles files;
    if (!files.Open(patchRoot + "data/" + indexName, Zef::FileMode::kRead)) return false;
    ApplyToIndex(files, index,
                 [&](const std::string& folder) { replacedFolders.push_back(folder); });
    files.Close();
  } catch (const Zef::Exception&) {
    return false;
  }
  // The answer says that the set was applied; a failed save is for the caller to notice. Folders
  // go only when no index on disk names them any more.
  if (!index.Save(indexPath)) return true;
  for (const std::string& folder : replacedFolders) {
    // A folder that cannot be deleted does not keep its asset.
    static_cast<void>(Zef::Platform::DeleteTreeBelow(indexRoot, folder));
  }
  return true;
}
