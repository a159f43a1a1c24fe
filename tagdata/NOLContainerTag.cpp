#include "tagdata/NOLContainerTag.h"

#include <algorithm>
#include <utility>

#include "tagdata/TagKeyIndex.h"

namespace {

constexpr std::uint32_t kNone = TagKeyIndex::kNone;
constexpr std::size_t kFirstCapacity = 8;

std::uint32_t IdentityHash(const Zef::PString& key) {
  return static_cast<std::uint32_t>((key.Key() * 0x9E3779B97F4A7C15u) >> 32);
}

}  // namespace

/// Walks a copy of the list, so that the container may change meanwhile.
class NOLContainerTag::Cursor final : public TagCursor {
 public:
  explicit Cursor(const NOLContainerTag& container) {
    tags_.reserve(container.GetCount());
    for (const Pair& pair : container.pairs_) {
      if (pair.chunk) tags_.emplace_back(pair.key, pair.chunk);
    }
    std::vector<std::uint32_t> hashes;
    hashes.reserve(tags_.size());
    for (const auto& tag : tags_) hashes.push_back(IdentityHash(tag.first));
    index_ = TagKeyIndex(hashes);
  }

  bool Next(std::string_view& key, ChunkRef& chunk) override {
    if (at_ == tags_.size()) return false;
    const Zef::PString& tagKey = tags_[at_++].first;
    key = tagKey.IsNull() ? std::string_view() : tagKey.View();
    first_ = index_.Find(IdentityHash(tagKey),
                         [&](std::uint32_t position) { return tags_[position].first == tagKey; });
    chunk = tags_[first_].second;
    return true;
  }

  bool IsFirst() const override { return first_ + 1 == at_; }

 private:
  std::vector<std::pair<Zef::PString, ChunkRef>> tags_;
  TagKeyIndex index_;
  std::size_t at_ = 0;
  std::size_t first_ = 0;  ///< of the key at at_ - 1
};

std::uint32_t NOLContainerTag::Position(const Zef::PString& key) const {
  if (!byKey_.empty()) {
    const auto chain = byKey_.find(key.View());
    std::uint32_t at = chain == byKey_.end() ? kNone : chain->second.first;
    while (at != kNone && !(pairs_[at].key == key)) at = pairs_[at].nextSame;
    return at;
  }
  for (std::uint32_t at = 0; at < pairs_.size(); ++at) {
    if (pairs_[at].key == key && pairs_[at].chunk) return at;
  }
  return kNone;
}

ChunkRef NOLContainerTag::GetTag(const Zef::PString& key) const {
  const std::uint32_t at = Position(key);
  return at == kNone ? NullChunk() : pairs_[at].chunk;
}

ChunkRef NOLContainerTag::FindTag(std::string_view key) const {
  if (!byKey_.empty()) {
    const auto chain = byKey_.find(key);
    return chain == byKey_.end() ? NullChunk() : pairs_[chain->second.first].chunk;
  }
  for (const Pair& pair : pairs_) {
    if (pair.chunk && pair.key.View() == key) return pair.chunk;
  }
  return NullChunk();
}

std::uint32_t NOLContainerTag::GetCount() const {
  return static_cast<std::uint32_t>(pairs_.size()) - holes_;
}

Zef::PString NOLContainerTag::GetKey(std::uint32_t index) const {
  if (index >= GetCount()) return {};
  if (holes_ == 0) return pairs_[index].key;
  auto pair = pairs_.begin();
  for (;; ++pair) {
    if (pair->chunk && index-- == 0) return pair->key;
  }
}

std::int32_t NOLContainerTag::GetIndex(const Zef::PString& key) const {
  const std::uint32_t at = Position(key);
  if (at == kNone) return -1;
  if (holes_ == 0) return static_cast<std::int32_t>(at);
  return static_cast<std::int32_t>(
      std::count_if(pairs_.begin(), pairs_.begin() + at,
                    [](const Pair& pair) { return static_cast<bool>(pair.chunk); }));
}

void NOLContainerTag::SortTags() {
  Squeeze();
  std::stable_sort(pairs_.begin(), pairs_.end(),
                   [](const Pair& a, const Pair& b) { return a.key.View() < b.key.View(); });
  Reindex();
}

void NOLContainerTag::SwapTags(const ChunkRef& a, const ChunkRef& b) {
  Pair* first = nullptr;
  Pair* second = nullptr;
  for (Pair& pair : pairs_) {
    if (!pair.chunk) continue;
    if (pair.chunk == a) first = &pair;
    if (pair.chunk == b) second = &pair;
  }
  if (first != nullptr && second != nullptr) std::swap(first->chunk, second->chunk);
}

void NOLContainerTag::AddTag(const Zef::PString& key, const ChunkRef& chunk) {
  if (chunk && chunk.Get() != this) Append(key, chunk);
}

void NOLContainerTag::Put(const Zef::PString& key, ChunkRef chunk) {
  RemoveKey(key);
  Append(key, std::move(chunk));
}

void NOLContainerTag::Append(const Zef::PString& key, ChunkRef chunk) {
  if (pairs_.empty()) pairs_.reserve(kFirstCapacity);
  pairs_.push_back({key, std::move(chunk), kNone});
  if (!byKey_.empty()) {
    Link(static_cast<std::uint32_t>(pairs_.size() - 1));
  } else if (pairs_.size() > kIndexedSize) {
    Squeeze();
    Reindex();
  }
}

void NOLContainerTag::RemoveTag(const ChunkRef& chunk) {
  if (!chunk) return;
  const auto found = std::find_if(pairs_.begin(), pairs_.end(),
                                  [&](const Pair& pair) { return pair.chunk == chunk; });
  if (found != pairs_.end()) RemoveAt(static_cast<std::uint32_t>(found - pairs_.begin()));
}

void NOLContainerTag::RemoveKey(const Zef::PString& key) {
  const std::uint32_t at = Position(key);
  if (at == kNone) return;
  // A node that nobody else holds cannot stand under an earlier key as well.
  if (pairs_[at].chunk->References() == 1) {
    RemoveAt(at);
  } else {
    RemoveTag(ChunkRef(pairs_[at].chunk));
  }
}

void NOLContainerTag::RemoveAllTags() {
  const std::vector<Pair> dropped = std::move(pairs_);
  pairs_.clear();
  byKey_.clear();
  holes_ = 0;
}

ChunkRef NOLContainerTag::CreateTag(std::int32_t type, const CoreRef& core) const {
  return NewHeapTag(type, core);
}

std::unique_ptr<TagCursor> NOLContainerTag::Tags() const { return std::make_unique<Cursor>(*this); }

void NOLContainerTag::RemoveAt(std::uint32_t position) {
  Unlink(position);
  pairs_[position].chunk = nullptr;
  pairs_[position].key = Zef::PString();
  ++holes_;
  const bool small = pairs_.size() <= kIndexedSize;
  if (!small && holes_ <= pairs_.size() / 2) return;
  Squeeze();
  if (!small) Reindex();
}

void NOLContainerTag::Squeeze() {
  if (holes_ == 0) return;
  std::erase_if(pairs_, [](const Pair& pair) { return !pair.chunk; });
  holes_ = 0;
}

void NOLContainerTag::Link(std::uint32_t position) {
  const auto [chain, isNew] =
      byKey_.try_emplace(pairs_[position].key.View(), Chain{position, position});
  if (isNew) return;
  pairs_[chain->second.last].nextSame = position;
  chain->second.last = position;
}

void NOLContainerTag::Unlink(std::uint32_t position) {
  const auto chain = byKey_.find(pairs_[position].key.View());
  if (chain == byKey_.end()) return;
  Chain& ends = chain->second;
  const std::uint32_t after = pairs_[position].nextSame;
  if (ends.first == position) {
    if (after == kNone) {
      byKey_.erase(chain);
    } else {
      ends.first = after;
    }
    return;
  }
  std::uint32_t before = ends.first;
  while (pairs_[before].nextSame != position) before = pairs_[before].nextSame;
  pairs_[before].nextSame = after;
  if (ends.last == position) ends.last = before;
}

void NOLContainerTag::Reindex() {
  byKey_.clear();
  for (Pair& pair : pairs_) pair.nextSame = kNone;
  if (pairs_.size() <= kIndexedSize) return;
  byKey_.reserve(pairs_.size());
  for (std::uint32_t at = 0; at < pairs_.size(); ++at) Link(at);
}
