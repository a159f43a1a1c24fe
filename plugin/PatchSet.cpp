#include "plugin/PatchSet.h"

#include <vector>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "database/ShownName.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/TFile.h"

namespace {

/// The three files of a set, opened and closed in their documented order.
class SetFiles {
 public:
  bool Open(const std::string& stem, std::uint32_t mode) {
    return additions_.Open((stem + kAddExtension).c_str(), mode) == Zef::RES_OK &&
           deletions_.Open((stem + kDeleteExtension).c_str(), mode) == Zef::RES_OK &&
           changes_.Open((stem + kPatchExtension).c_str(), mode) == Zef::RES_OK;
  }
  void Close() {
    additions_.Close();
    changes_.Close();
    deletions_.Close();
  }
  Zef::File& Additions() { return additions_; }
  Zef::File& Deletions() { return deletions_; }
  Zef::File& Changes() { return changes_; }

 private:
  Zef::File additions_;
  Zef::File deletions_;
  Zef::File changes_;
};

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

/// Calls `step` until the stream is at its end, or stops moving because the file shrank.
template <class Step>
void ForEachEntry(Zef::File& file, Step&& step) {
  Zef::TFile in(&file, false);
  while (!in.AtEnd()) {
    const std::uint64_t before = in.Tell();
    step(in);
    if (in.Tell() == before) break;
  }
}

/// The last identifier of a list is lost, because at the exact end of its stream an identifier
/// reads as null. Existing sets depend on it.
void ApplyDeletions(Zef::File& file, MUKAssetIndex& index) {
  ForEachEntry(file, [&](Zef::TStream& in) {
    PLID id;
    id.Read(in);
    index.Remove(id);
  });
}

void MarkPatched(MUKAsset& record, std::uint8_t keptOfSecondByte) {
  const auto first = static_cast<std::uint8_t>((record.flags.Byte(0) & 0x2F) | 0x90);
  const auto second = static_cast<std::uint8_t>((record.flags.Byte(1) & keptOfSecondByte) | 0x01);
  record.flags.SetByte(0, first);
  record.flags.SetByte(1, second);
}

constexpr std::uint8_t kKeptInAddition = 0xC1;
constexpr std::uint8_t kKeptInChange = 0xE5;  // and what is known of dependencies

void ApplyAddition(MUKAsset&& record, const std::string& indexRoot, MUKAssetIndex& index) {
  if (MUKAsset* existing = index.Find(record.id)) {
    const bool listed = existing->Has(AssetFlag::Listed);
    if (!listed && !existing->IsPresent()) return;
    index.Remove(record.id);
    if (!listed && !existing->legacyPath.IsEmpty()) {
      // A folder that cannot be deleted does not keep its asset.
      static_cast<void>(
          Zef::Platform::DeleteTreeBelow(indexRoot, existing->legacyPath.String()));
    }
  }
  MarkPatched(record, kKeptInAddition);
  index.Add(std::move(record));
}

/// A listed record goes, and its replacement is not put back; an unlisted one stays as it is.
void ApplyChange(MUKAsset&& record, MUKAssetIndex& index) {
  MUKAsset* existing = index.Find(record.id);
  if (existing != nullptr && !existing->Has(AssetFlag::Listed)) return;
  MarkPatched(record, kKeptInChange);
  if (existing != nullptr) {
    index.Remove(record.id);
    return;
  }
  index.Add(std::move(record));
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
    SetFiles files;
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
  try {
    SetFiles files;
    if (!files.Open(patchRoot + "data/" + indexName, Zef::FileMode::kRead)) return false;
    ApplyDeletions(files.Deletions(), index);
    ForEachEntry(files.Additions(), [&](Zef::TStream& in) {
      MUKAsset record;
      ReadRecord(in, record);
      ApplyAddition(std::move(record), indexRoot, index);
    });
    ForEachEntry(files.Changes(), [&](Zef::TStream& in) {
      MUKAsset record;
      ReadRecord(in, record);
      ApplyChange(std::move(record), index);
    });
    files.Close();
  } catch (const Zef::Exception&) {
    return false;
  }
  // The answer says that the set was applied; a failed save is for the caller to notice.
  static_cast<void>(index.Save(indexPath));
  return true;
}
