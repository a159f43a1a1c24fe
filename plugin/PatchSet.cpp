#include "plugin/PatchSet.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "database/AssetRecord.h"
#include "database/IdMap.h"
#include "database/IndexScan.h"
#include "database/LargeBlock.h"
#include "database/MUKAssetIndex.h"
#include "database/ShownName.h"
#include "database/StoredText.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "plugin/PatchSetFiles.h"

namespace {

constexpr std::size_t kWriteSpan = 1u << 18;

/// What a diff keeps of an older record.
struct Entry {
  PLID id;
  std::uint32_t first = 0;  ///< place plus one of the first entry with this identifier
  bool builtIn = false;
  std::string_view shownName;  ///< of a built-in record; null without storage
};

/// Bytes kept from files that went by. They stay where they are.
class KeptBytes {
 public:
  std::string_view Keep(std::span<const std::byte> bytes) {
    if (bytes.size() > left_) {
      left_ = std::max(kChunk, bytes.size());
      chunks_.push_back(MakeLargeBlock(left_));
      next_ = chunks_.back().get();
    }
    std::byte* kept = std::exchange(next_, next_ + bytes.size());
    left_ -= bytes.size();
    if (!bytes.empty()) std::memcpy(kept, bytes.data(), bytes.size());
    return {reinterpret_cast<const char*>(kept), bytes.size()};
  }

 private:
  static constexpr std::size_t kChunk = 1u << 21;

  std::vector<LargeBlock> chunks_;
  std::byte* next_ = nullptr;
  std::size_t left_ = 0;
};

/// The older index's identifiers with the names of its built-in records.
class OlderRecords {
 public:
  bool Read(const std::string& path) {
    IndexScan scan;
    if (!scan.Open(path)) return false;
    entries_.reserve(scan.CountToReserve());
    byId_.Reserve(scan.CountToReserve());
    const bool whole = scan.Run([this](std::span<const IndexScan::Seen> records) {
      for (const IndexScan::Seen& seen : records) byId_.Prefetch(seen.glance.id);
      for (const IndexScan::Seen& seen : records) Add(seen.glance);
    });
    found_.resize(entries_.size() + 1);
    return whole;
  }
  void Prefetch(const PLID& id) const { byId_.Prefetch(id); }
  /// True when there is a record with this identifier; it stays then.
  bool Find(const PLID& id) {
    const std::uint32_t first = byId_.Find(id);
    found_[first] = 1;
    return first != 0;
  }
  /// Built-in records that were not found, as far as they are sorted and written.
  std::vector<MUKAsset> Missing() const {
    const auto isMissing = [this](const Entry& entry) {
      return entry.builtIn && found_[entry.first] == 0;
    };
    std::vector<MUKAsset> missing;
    missing.reserve(
        static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), isMissing)));
    for (const Entry& entry : entries_) {
      if (!isMissing(entry)) continue;
      MUKAsset& record = missing.emplace_back();
      record.id = entry.id;
      if (entry.shownName.data() == nullptr) continue;
      const std::size_t length = strnlen(entry.shownName.data(), entry.shownName.size());
      record.name.Borrow(entry.shownName.substr(0, length));
    }
    return missing;
  }

 private:
  void Add(const RecordGlance& glance) {
    Entry& entry = entries_.emplace_back();
    entry.id = glance.id;
    entry.builtIn = glance.builtIn;
    if (entry.builtIn && glance.shownName.data() != nullptr) {
      entry.shownName = names_.Keep(std::as_bytes(std::span(glance.shownName)));
    }
    std::uint32_t& first = byId_.Insert(entry.id);
    if (first == 0) first = static_cast<std::uint32_t>(entries_.size());
    entry.first = first;
  }

  std::vector<Entry, LargePages<Entry>> entries_;
  std::vector<std::uint8_t> found_;  // in the newer index, by Entry::first; 0 is for all others
  KeptBytes names_;
  IdMap<std::uint32_t> byId_;
};

/// Built-in records that only the newer index has.
class NewerRecords {
 public:
  bool Read(const std::string& path, OlderRecords& older) {
    IndexScan scan;
    return scan.Open(path) && scan.Run([&](std::span<const IndexScan::Seen> records) {
      for (const IndexScan::Seen& seen : records) older.Prefetch(seen.glance.id);
      for (const IndexScan::Seen& seen : records) {
        if (!older.Find(seen.glance.id) && seen.glance.builtIn) {
          additions_.push_back(kept_.Keep(seen.stored));
        }
      }
    });
  }
  std::vector<MUKAsset> Records() const {
    std::vector<MUKAsset> records(additions_.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      Zef::ByteReader in(additions_[i].data(), additions_[i].size());
      ReadRecord(in, records[i]);
    }
    return records;
  }

 private:
  std::vector<std::string_view> additions_;  // as stored
  KeptBytes kept_;
};

std::vector<MUKAsset*> ByShownName(std::vector<MUKAsset>& records) {
  std::vector<MUKAsset*> order;
  order.reserve(records.size());
  for (MUKAsset& record : records) order.push_back(&record);
  SortByShownName(order);
  return order;
}

void WriteRecords(Zef::File& file, const std::vector<MUKAsset*>& records) {
  Zef::ByteWriter out;
  for (const MUKAsset* record : records) {
    AppendRecord(out, *record);
    if (out.Size() < kWriteSpan) continue;
    file.Write(out.View().data(), 1, out.Size());
    out.Clear();
  }
  file.Write(out.View().data(), 1, out.Size());
}

void WriteIds(Zef::File& file, const std::vector<MUKAsset*>& records) {
  Zef::ByteWriter out;
  for (const MUKAsset* record : records) PutStoredId(out, record->id);
  file.Write(out.View().data(), 1, out.Size());
}

}  // namespace

bool MakePatchSet(const std::string& indexName, const std::string& oldRoot,
                  const std::string& newRoot, const std::string& outputRoot) {
  OlderRecords older;
  NewerRecords newer;
  try {
    if (!older.Read(oldRoot + indexName)) return false;
    if (!newer.Read(newRoot + indexName, older)) return false;
    PatchSetFiles files;
    if (!files.Open(outputRoot + "data/" + indexName, Zef::FileMode::kCreateWrite)) return false;
    std::vector<MUKAsset> deletions = older.Missing();
    std::vector<MUKAsset> additions = newer.Records();
    WriteIds(files.Deletions(), ByShownName(deletions));
    WriteRecords(files.Additions(), ByShownName(additions));
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
  // From here on the answer is that the set was applied; whatever fails, memory included, is for
  // the caller to notice. Folders go only when no index on disk names them any more.
  try {
    if (!index.Save(indexPath)) return true;
    for (const std::string& folder : replacedFolders) {
      // A folder that cannot be deleted does not keep its asset.
      static_cast<void>(Zef::Platform::DeleteTreeBelow(indexRoot, folder));
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): see above
  }
  return true;
}
