#include "database/MUKAssetIndex.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "database/CodeList.h"
#include "database/IndexHost.h"
#include "database/ShownName.h"
#include "kernel/standard/PopWord.h"

namespace {

/// Words that searches find beside a record's own, by class code.
constexpr struct {
  const char* code;
  const char* word;
} kClassWords[] = {
    {"ACTV", "interactive"}, {"LOCO", "locomotive"}, {"TEND", "tender"}, {"ROLL", "rollingstock"}};

/// Joins words once each, in order of arrival. A few are looked for in the text; the set keeps
/// hostile keyword lists linear.
class WordList {
 public:
  void Add(std::string_view words) {
    while (!words.empty()) {
      const std::string_view word = Zef::PopWord(words, ';');
      if (word.empty() || !IsNew(word)) continue;
      if (!text_.empty()) text_ += ';';
      text_ += word;
    }
  }
  const std::string& Text() const { return text_; }

 private:
  static constexpr std::size_t kFew = 256;  // bytes

  bool IsNew(std::string_view word) {
    if (seen_.empty() && text_.size() < kFew) return !HasCode(text_, word);
    if (seen_.empty()) Learn(text_);
    return seen_.emplace(word).second;
  }
  void Learn(std::string_view words) {
    while (!words.empty()) seen_.emplace(Zef::PopWord(words, ';'));
  }

  std::set<std::string, std::less<>> seen_;
  std::string text_;
};

bool Compatible(const AssetText& a, const AssetText& b) {
  return a == b || a.IsEmpty() || b.IsEmpty();
}

void TakeIfEmpty(AssetText& held, const AssetText& offered) {
  if (held.IsEmpty()) held = offered;
}

}  // namespace

void MUKAssetIndex::Clear() {
  byId_.Clear();
  obsolete_.Clear();
  companions_.Clear();
  allRecords_.clear();
  records_.clear();
  recordsBuilt_ = false;
  sortedCount_ = 0;
  ordersValid_ = true;
  obsoleteBitsValid_ = false;
  slabs_.clear();
  live_ = 0;
  image_.reset();
}

MUKAsset* MUKAssetIndex::Find(const PLID& id) const {
  if (host_ != nullptr) host_->Touch();
  return byId_.Find(id);
}

std::vector<MUKAsset*> MUKAssetIndex::FindAll(const PLID& id) const {
  std::vector<MUKAsset*> all;
  for (MUKAsset* at = Find(id); at != nullptr; at = at->derived_.nextSameId) all.push_back(at);
  return all;
}

MUKAsset& MUKAssetIndex::NextSlot() {
  if (slabs_.empty() || slabs_.back().Full()) slabs_.emplace_back(kChunk);
  return slabs_.back().Next();
}

void MUKAssetIndex::Enter(MUKAsset& record) {
  MUKAsset*& first = byId_.Insert(record.id);
  if (first == nullptr) {
    first = &record;
  } else {
    first->derived_.lastSameId->derived_.nextSameId = &record;
  }
  first->derived_.lastSameId = &record;
  record.derived_.held = true;
  allRecords_.push_back(&record);
  if (recordsBuilt_) records_.push_back(&record);
  ++live_;
}

MUKAsset& MUKAssetIndex::Add(MUKAsset&& record) {
  MUKAsset& held = NextSlot();
  held = std::move(record);
  Enter(held);
  return held;
}

void MUKAssetIndex::Leave(MUKAsset& record) {
  MUKAsset* next = record.derived_.nextSameId;
  byId_.Remove(record.id);
  if (next != nullptr) {
    byId_.Insert(record.id) = next;
    next->derived_.lastSameId = record.derived_.lastSameId;
  }
  record.derived_.nextSameId = nullptr;
  record.derived_.held = false;
  ordersValid_ = false;
  --live_;
}

void MUKAssetIndex::Remove(const PLID& id) {
  MUKAsset* record = byId_.Find(id);
  if (record == nullptr) return;
  obsoleteBitsValid_ = false;
  RereadAll(obsolete_.RemoveReplacedBy(id));
  Leave(*record);
}

MUKAsset* MUKAssetIndex::CreateNew(PLID id) {
  MarkChanged(kChangeGeneral);
  if (id.IsNull()) {
    if (host_ != nullptr) id = host_->NextLocalId();
    if (id.IsNull()) return nullptr;
  } else if (byId_.Find(id) != nullptr) {
    return nullptr;
  }
  MUKAsset record;
  record.id = id;
  record.category = "?";
  record.name = "New Asset";
  return &Add(std::move(record));
}

bool MUKAssetIndex::Merge(const MUKAsset& incoming) {
  MUKAsset* existing = byId_.Find(incoming.id);
  if (existing == nullptr) return false;
  if (!Compatible(existing->editPath, incoming.editPath) ||
      !Compatible(existing->legacyPath, incoming.legacyPath) ||
      !Compatible(existing->installPath, incoming.installPath) ||
      !Compatible(existing->archiveName, incoming.archiveName)) {
    return false;
  }
  TakeIfEmpty(existing->editPath, incoming.editPath);
  TakeIfEmpty(existing->legacyPath, incoming.legacyPath);
  TakeIfEmpty(existing->archiveName, incoming.archiveName);
  TakeIfEmpty(existing->installPath, incoming.installPath);
  for (const AssetFlag flag : {AssetFlag::Listed, AssetFlag::Patched, AssetFlag::BuiltIn}) {
    if (incoming.Has(flag)) existing->Set(flag, true);
  }
  existing->Set(AssetFlag::InArchiveKnown, false);
  return true;
}

std::span<MUKAsset* const> MUKAssetIndex::AllRecords() const {
  if (!ordersValid_) {
    const std::lock_guard lock(derivedLock_);
    SqueezeLocked();
  }
  return allRecords_;
}

std::span<MUKAsset* const> MUKAssetIndex::Records() const {
  const std::lock_guard lock(derivedLock_);
  SqueezeLocked();
  if (!recordsBuilt_) {
    const auto sorted = allRecords_.begin() + static_cast<std::ptrdiff_t>(sortedCount_);
    records_.assign(allRecords_.begin(), sorted);
    SortByShownName(records_);
    records_.insert(records_.end(), sorted, allRecords_.end());
    recordsBuilt_ = true;
  }
  return records_;
}

void MUKAssetIndex::Sort() {
  const std::lock_guard lock(derivedLock_);
  SqueezeLocked();
  sortedCount_ = allRecords_.size();
  records_.clear();
  recordsBuilt_ = false;
  if (host_ != nullptr) host_->Touch();
}

void MUKAssetIndex::SqueezeLocked() const {
  if (ordersValid_) return;
  const auto removed = [](const MUKAsset* record) { return !record->derived_.held; };
  const auto sorted = allRecords_.begin() + static_cast<std::ptrdiff_t>(sortedCount_);
  sortedCount_ -= static_cast<std::size_t>(std::count_if(allRecords_.begin(), sorted, removed));
  std::erase_if(records_, removed);
  std::erase_if(allRecords_, removed);
  ordersValid_ = true;
}

bool MUKAssetIndex::AddObsoleteRow(const PLID& old, const PLID& given) {
  obsoleteBitsValid_ = false;
  return obsolete_.AddRow(old, given);
}

bool MUKAssetIndex::MayDeclareObsolete(const MUKAsset& asset, const PLID& old) {
  if (old.SameWithoutVersion(asset.id)) return false;
  return asset.id.user < 0 || old.user == asset.id.user;
}

void MUKAssetIndex::RereadObsolete(const MUKAsset& asset) {
  std::vector<PLID> list;
  if (host_ != nullptr) list = host_->ReadObsoleteList(asset);
  EnterObsolete(asset, list, nullptr);
}

std::vector<PLID> MUKAssetIndex::ReplaceObsolete(const MUKAsset& asset,
                                                 const std::vector<PLID>& list, bool enter) {
  std::vector<PLID> olds = obsolete_.RemoveReplacedBy(asset.id);
  const std::size_t dropped = olds.size();
  if (enter) EnterObsolete(asset, list, &olds);
  RereadAll({olds.begin(), olds.begin() + static_cast<std::ptrdiff_t>(dropped)});
  obsoleteBitsValid_ = false;
  return olds;
}

/// Enters anew what assets declare that are there.
void MUKAssetIndex::RereadAll(const std::vector<PLID>& olds) {
  for (const PLID& old : olds) {
    const MUKAsset* const asset = byId_.Find(old);
    if (asset == nullptr) continue;
    if (!asset->installPath.IsEmpty() || !asset->legacyPath.IsEmpty()) RereadObsolete(*asset);
  }
}

/// `entered` may be null; the identifiers of the rows are appended to it.
void MUKAssetIndex::EnterObsolete(const MUKAsset& asset, const std::vector<PLID>& list,
                                  std::vector<PLID>* entered) {
  const auto enter = [&](const PLID& old) {
    if (obsolete_.AddRow(old, asset.id) && entered != nullptr) entered->push_back(old);
  };
  for (const PLID& entry : list) {
    if (MayDeclareObsolete(asset, entry)) enter(entry);
  }
  const std::int32_t versions = std::min(asset.id.version, PLID::kNullVersion);
  for (std::int32_t version = 0; version < versions; ++version) {
    enter(PLID(asset.id.user, asset.id.content, version));
  }
  obsoleteBitsValid_ = false;
}

bool MUKAssetIndex::IsObsolete(const MUKAsset& asset) const {
  if (!obsoleteBitsValid_) {
    const auto all = AllRecords();
    const std::lock_guard lock(derivedLock_);
    if (!obsoleteBitsValid_) {
      for (MUKAsset* record : all) {
        const PLID resolved = obsolete_.Resolve(record->id);
        record->derived_.obsolete = !resolved.IsNull() && resolved != record->id;
      }
      obsoleteBitsValid_ = true;
    }
  }
  return asset.derived_.obsolete;
}

Zef::SharedText MUKAssetIndex::SearchText(const MUKAsset& asset) const {
  if (!asset.derived_.held) return {};
  const std::lock_guard lock(derivedLock_);
  auto& derived = const_cast<MUKAsset&>(asset).derived_;  // NOLINT: filled in by the first reader
  if (derived.searchTextValid) return derived.searchText;
  WordList words;
  words.Add(KeywordForm(asset.ShownName().View()));
  words.Add(asset.keywords.View());
  for (const auto& row : kClassWords) {
    if (MatchCodes(asset.category.View(), row.code)) words.Add(row.word);
  }
  derived.searchText = words.Text().c_str();
  derived.searchTextValid = true;
  return derived.searchText;
}

void MUKAssetIndex::ForgetSearchText(MUKAsset& asset) const {
  const std::lock_guard lock(derivedLock_);
  asset.derived_.searchTextValid = false;
}

void MUKAssetIndex::AddArchive(ArchiveList::Archive archive) {
  DropArchive(archive.id);
  for (const PLID& id : archive.assets) {
    MUKAsset* const asset = byId_.Find(id);
    if (asset == nullptr) continue;
    asset->Set(AssetFlag::InArchive, true);
    asset->Set(AssetFlag::InArchiveKnown, true);
  }
  companions_.archives.Add(std::move(archive));
  MarkChanged(kChangeGeneral);
}

bool MUKAssetIndex::DropArchive(std::uint32_t archiveId) {
  std::vector<PLID> dropped;
  if (!companions_.archives.Drop(archiveId, &dropped)) return false;
  for (const PLID& id : dropped) {
    if (MUKAsset* const asset = byId_.Find(id)) asset->Set(AssetFlag::InArchiveKnown, false);
  }
  MarkChanged(kChangeGeneral);
  return true;
}

void MUKAssetIndex::SetStoredValues(std::uint32_t value, float number) {
  companions_.storedValue = value;
  companions_.storedFloat = number;
  MarkChanged(kChangeGeneral);
}

void MUKAssetIndex::MarkChanged(std::uint32_t mask) {
  if (host_ != nullptr) host_->MarkChanged(mask);
}
