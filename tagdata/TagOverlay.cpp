#include "tagdata/TagOverlay.h"

#include <iterator>
#include <new>

void TagOverlay::Hide(Soup soup, const std::byte* payload) {
  modified_ = true;
  edits_[soup].hidden.insert(payload);
}

bool TagOverlay::IsHidden(Soup soup, const std::byte* payload) const {
  const Edits* edits = Find(soup);
  return edits != nullptr && edits->hidden.contains(payload);
}

std::uint32_t TagOverlay::HiddenCount(Soup soup) const {
  const Edits* edits = Find(soup);
  return edits != nullptr ? static_cast<std::uint32_t>(edits->hidden.size()) : 0;
}

void TagOverlay::Add(Soup soup, const Zef::PString& key, ChunkRef chunk) {
  modified_ = true;
  Edits& edits = edits_[soup];
  const HCSChunk* const identity = chunk.Get();
  if (edits.byChunk.contains(identity)) return;
  const Slot slot = NextSlot();
  try {
    edits.added.emplace(slot, Added{key, std::move(chunk)});
    edits.byKey.emplace(key.View(), slot);
    edits.byChunk.emplace(identity, slot);
  } catch (const std::bad_alloc&) {
    edits.byKey.erase({key.View(), slot});
    edits.added.erase(slot);
    throw;
  }
  TakeSlot(slot);
}

bool TagOverlay::Drop(Soup soup, const HCSChunk* chunk) {
  const auto edits = edits_.find(soup);
  if (edits == edits_.end()) return false;
  const auto found = edits->second.byChunk.find(chunk);
  if (found == edits->second.byChunk.end()) return false;
  const Slot slot = found->second;
  const auto added = edits->second.added.find(slot);
  edits->second.byKey.erase({added->second.key.View(), slot});
  edits->second.byChunk.erase(found);
  edits->second.added.erase(added);
  FreeSlot(slot);
  return true;
}

std::uint32_t TagOverlay::AddedCount(Soup soup) const {
  const Edits* edits = Find(soup);
  return edits != nullptr ? static_cast<std::uint32_t>(edits->added.size()) : 0;
}

std::vector<TagOverlay::Added> TagOverlay::AddedTags(Soup soup) const {
  std::vector<Added> tags;
  const Edits* edits = Find(soup);
  if (edits == nullptr) return tags;
  tags.reserve(edits->added.size());
  for (const auto& [slot, added] : edits->added) tags.push_back(added);
  return tags;
}

Zef::PString TagOverlay::AddedKey(Soup soup, std::uint32_t index) const {
  if (index >= AddedCount(soup)) return {};
  return std::next(Find(soup)->added.begin(), index)->second.key;
}

ChunkRef TagOverlay::FindAdded(Soup soup, const Zef::PString& key) const {
  const Edits* edits = Find(soup);
  if (edits == nullptr) return NullChunk();
  auto at = edits->byKey.lower_bound({key.View(), 0});
  // A null key and the key "" have the same bytes but are not the same key.
  for (; at != edits->byKey.end() && at->first == key.View(); ++at) {
    const Added& added = edits->added.at(at->second);
    if (added.key == key) return added.chunk;
  }
  return NullChunk();
}

ChunkRef TagOverlay::FindAdded(Soup soup, std::string_view key) const {
  const Edits* edits = Find(soup);
  if (edits == nullptr) return NullChunk();
  const auto at = edits->byKey.lower_bound({key, 0});
  if (at == edits->byKey.end() || at->first != key) return NullChunk();
  return edits->added.at(at->second).chunk;
}

const TagOverlay::Edits* TagOverlay::Find(Soup soup) const {
  if (!modified_) return nullptr;
  const auto found = edits_.find(soup);
  return found != edits_.end() ? &found->second : nullptr;
}

TagOverlay::Slot TagOverlay::NextSlot() const {
  return freeSlots_.empty() ? slotCount_ : *freeSlots_.begin();
}

void TagOverlay::TakeSlot(Slot next) {
  if (freeSlots_.erase(next) == 0) ++slotCount_;
}

void TagOverlay::FreeSlot(Slot slot) {
  freeSlots_.insert(slot);
  while (slotCount_ > 0 && freeSlots_.erase(slotCount_ - 1) > 0) --slotCount_;
}
