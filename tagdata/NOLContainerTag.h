// NOLContainerTag: the heap form of a container, an ordered list of keys and counted nodes.
//
// Small lists are searched from the front by identity of the key; one that has grown past
// kIndexedSize keeps a table of its keys beside it. Removing leaves a hole, squeezed out when
// half of the list is holes, so that replacing tags one by one stays linear.

#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kernel/KeyedHash.h"
#include "tagdata/HCSChunk.h"

class NOLContainerTag final : public HCSChunk {
 public:
  static constexpr std::uint32_t kIndexedSize = 32;

  ChunkRef GetTag(const Zef::PString& key) const override;
  ChunkRef FindTag(std::string_view key) const override;
  std::uint32_t GetCount() const override;
  Zef::PString GetKey(std::uint32_t index) const override;
  std::int32_t GetIndex(const Zef::PString& key) const override;
  void SortTags() override;
  /// Of a value that is there twice the last place counts.
  void SwapTags(const ChunkRef& a, const ChunkRef& b) override;
  void AddTag(const Zef::PString& key, const ChunkRef& chunk) override;
  void RemoveTag(const ChunkRef& chunk) override;
  void RemoveKey(const Zef::PString& key) override;
  void RemoveAllTags() override;
  ChunkRef CreateTag(std::int32_t type, const CoreRef& core) const override;
  std::int32_t GetType() const override { return TagSoup; }
  std::unique_ptr<TagCursor> Tags() const override;

  /// RemoveKey and AddTag in one, for a chunk that is not null and not this container.
  void Put(const Zef::PString& key, ChunkRef chunk);

 private:
  struct Pair {
    Zef::PString key;
    ChunkRef chunk;  ///< null: a hole
    std::uint32_t nextSame;
  };
  /// Positions of the pairs whose keys have the same bytes, linked through nextSame.
  struct Chain {
    std::uint32_t first, last;
  };
  class Cursor;

  std::uint32_t Position(const Zef::PString& key) const;
  void Squeeze();
  void RemoveAt(std::uint32_t position);
  void Append(const Zef::PString& key, ChunkRef chunk);
  void Link(std::uint32_t position);
  void Unlink(std::uint32_t position);
  void Reindex();

  std::vector<Pair> pairs_;
  std::uint32_t holes_ = 0;
  /// Empty while the list is small.
  std::unordered_map<std::string_view, Chain, Zef::KeyedTextHash> byKey_;
};
