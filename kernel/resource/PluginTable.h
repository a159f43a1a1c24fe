// PluginTable: the small hash table of the plug-in system, 97 buckets of lists in order of arrival.
//
// Owns nothing. Not thread-safe.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernel/Containers.h"

namespace Zef {

template <typename Item>
class PluginTable {
 public:
  static constexpr std::size_t kBuckets = 97;

  void Add(std::uint64_t hash, Item& item) { buckets_[hash % kBuckets].PushBack(&item); }
  void Remove(std::uint64_t hash, Item& item) { buckets_[hash % kBuckets].Remove(&item); }

  /// The first that came for which `matches(item)` holds, or null.
  template <typename Matches>
  Item* First(std::uint64_t hash, Matches matches) const {
    for (Item* item : buckets_[hash % kBuckets]) {
      if (matches(*item)) return item;
    }
    return nullptr;
  }

 private:
  std::array<ChunkList<Item*>, kBuckets> buckets_;
};

}  // namespace Zef
