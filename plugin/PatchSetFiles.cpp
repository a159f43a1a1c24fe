#include "plugin/PatchSetFiles.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <utility>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"

namespace {

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

void SetFlags(MUKAsset& record, std::initializer_list<AssetFlag> flags, bool on) {
  for (const AssetFlag flag : flags) record.Set(flag, on);
}

void MarkPatched(MUKAsset& record) {
  SetFlags(record,
           {AssetFlag::Listed, AssetFlag::MissingDependency, AssetFlag::Faulty,
            AssetFlag::FaultyDependency},
           false);
  SetFlags(record, {AssetFlag::InArchive, AssetFlag::Patched, AssetFlag::BuiltIn}, true);
}

/// What was known elsewhere of the dependencies of an addition does not hold here.
void ForgetDependencies(MUKAsset& record) {
  SetFlags(record, {AssetFlag::MissingDependencyKnown, AssetFlag::FaultyDependencyKnown}, false);
}

void ApplyAddition(MUKAsset&& record, MUKAssetIndex& index, const ReplacedFolder& onReplaced) {
  if (MUKAsset* existing = index.Find(record.id)) {
    const bool listed = existing->Has(AssetFlag::Listed);
    if (!listed && !existing->IsPresent()) return;
    index.Remove(record.id);
    if (!listed && !existing->legacyPath.IsEmpty()) onReplaced(existing->legacyPath.String());
  }
  MarkPatched(record);
  ForgetDependencies(record);
  index.Add(std::move(record));
}

/// A listed record goes, and its replacement is not put back; an unlisted one stays as it is.
void ApplyChange(MUKAsset&& record, MUKAssetIndex& index) {
  MUKAsset* existing = index.Find(record.id);
  if (existing != nullptr && !existing->Has(AssetFlag::Listed)) return;
  MarkPatched(record);
  if (existing != nullptr) {
    index.Remove(record.id);
    return;
  }
  index.Add(std::move(record));
}

}  // namespace

bool PatchSetFiles::Open(const std::string& stem, std::uint32_t mode) {
  return additions_.Open((stem + kAddExtension).c_str(), mode) == Zef::RES_OK &&
         deletions_.Open((stem + kDeleteExtension).c_str(), mode) == Zef::RES_OK &&
         changes_.Open((stem + kPatchExtension).c_str(), mode) == Zef::RES_OK;
}

void PatchSetFiles::Close() {
  additions_.Close();
  changes_.Close();
  deletions_.Close();
}

void ApplyToIndex(PatchSetFiles& files, MUKAssetIndex& index, const ReplacedFolder& onReplaced) {
  ApplyDeletions(files.Deletions(), index);
  ForEachEntry(files.Additions(), [&](Zef::TStream& in) {
    MUKAsset record;
    ReadRecord(in, record);
    ApplyAddition(std::move(record), index, onReplaced);
  });
  ForEachEntry(files.Changes(), [&](Zef::TStream& in) {
    MUKAsset record;
    ReadRecord(in, record);
    ApplyChange(std::move(record), index);
  });
}

PatchFileReport ForEachDeletion(Zef::File& file,
                                const std::function<void(const PLID& id, bool effective)>& visit) {
  PatchFileReport report;
  report.size = static_cast<std::uint64_t>(file.Size());
  ForEachEntry(file, [&](Zef::TStream& in) {
    const std::uint64_t start = in.Tell();
    std::array<std::byte, PLID::kStoredSize> bytes{};
    if (in.ReadRaw(bytes.data(), bytes.size()) != bytes.size()) {
      report.whole = false;
      report.cutAt = start;
      return;
    }
    ++report.entries;
    visit(PLID::FromStored(bytes.data()), !in.AtEnd());
  });
  return report;
}

PatchFileReport ForEachRecord(
    Zef::File& file, const std::function<void(const MUKAsset& record, bool whole)>& visit) {
  PatchFileReport report;
  report.size = static_cast<std::uint64_t>(file.Size());
  ForEachEntry(file, [&](Zef::TStream& in) {
    const std::uint64_t start = in.Tell();
    MUKAsset record;
    ReadRecord(in, record);
    if (in.ShortRead()) {
      report.whole = false;
      report.cutAt = start;
    } else {
      ++report.entries;
    }
    visit(record, report.whole);
  });
  return report;
}
