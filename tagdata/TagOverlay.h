// TagOverlay: the edits made to a tree that lies in a file image.
//
// The image is never changed. The overlay says which of its records are hidden and which tags
// were added to which of its containers; a container is known by the address of its run in the
// image, a record by that of its payload. All lookups cost a hash or a tree of the edits.
//
// Shared by all views of one loaded file; belongs to the thread that edits them. A view of the
// same file that is added to its own tree holds the overlay that holds it: such a tree lives to
// the end of the process. Add a copy instead.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kernel/Containers.h"
#include "tagdata/HCSChunk.h"

class TagOverlay final : public Zef::ReferenceCountMP {
 public:
  using Soup = const std::byte*;
  struct Added {
    Zef::PString key;
    ChunkRef chunk;
  };

  /// True from the first edit on, also after it was taken back.
  bool IsModified() const { return modified_; }

  void Hide(Soup soup, const std::byte* payload);
  bool IsHidden(Soup soup, const std::byte* payload) const;
  std::uint32_t HiddenCount(Soup soup) const;

  /// Adds a tag, unless the container carries this very chunk already. A tag takes the place of
  /// the first one dropped before it, in whatever container that was, and else the last place.
  void Add(Soup soup, const Zef::PString& key, ChunkRef chunk);
  /// Drops the added tag that holds the chunk; false if there is none.
  bool Drop(Soup soup, const HCSChunk* chunk);

  std::uint32_t AddedCount(Soup soup) const;
  /// The added tags of a container in order.
  std::vector<Added> AddedTags(Soup soup) const;
  /// Key of the added tag at a position; null past the end.
  Zef::PString AddedKey(Soup soup, std::uint32_t index) const;
  /// The first added tag with this very key, or with these key bytes; else the null chunk.
  ChunkRef FindAdded(Soup soup, const Zef::PString& key) const;
  ChunkRef FindAdded(Soup soup, std::string_view key) const;

 private:
  using Slot = std::uint32_t;
  struct Edits {
    std::unordered_set<const std::byte*> hidden;
    std::map<Slot, Added> added;
    std::set<std::pair<std::string_view, Slot>> byKey;
    std::unordered_map<const HCSChunk*, Slot> byChunk;
  };

  const Edits* Find(Soup soup) const;
  Slot NextSlot() const;
  void TakeSlot(Slot next);
  void FreeSlot(Slot slot);

  std::unordered_map<Soup, Edits> edits_;
  std::set<Slot> freeSlots_;  ///< all below slotCount_
  Slot slotCount_ = 0;
  bool modified_ = false;
};
