// TagKeyIndex: finds the first of many keys by hash, in the order in which they were given.
//
// Built once over the hashes of all keys; the keys themselves stay with the owner, who compares
// them. Lookup costs one short chain; the table takes 8 to 12 bytes a key.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kernel/KeyedHash.h"

class TagKeyIndex {
 public:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  static std::uint32_t Hash(std::string_view key) {
    return static_cast<std::uint32_t>(Zef::KeyedHash(key));
  }

  TagKeyIndex() = default;
  explicit TagKeyIndex(const std::vector<std::uint32_t>& hashes)
      : next_(hashes.size()), heads_(std::bit_ceil(hashes.size()), kNone) {
    // Backward, so that each chain leads from the first position to the last.
    for (std::size_t i = hashes.size(); i-- > 0;) {
      std::uint32_t& head = heads_[hashes[i] & (heads_.size() - 1)];
      next_[i] = head;
      head = static_cast<std::uint32_t>(i);
    }
  }

  /// The first position that `match(position)`, which compares the key, accepts; or kNone.
  template <class Match>
  std::uint32_t Find(std::uint32_t hash, const Match& match) const {
    if (heads_.empty()) return kNone;
    std::uint32_t at = heads_[hash & (heads_.size() - 1)];
    while (at != kNone && !match(at)) at = next_[at];
    return at;
  }

 private:
  std::vector<std::uint32_t> next_;
  std::vector<std::uint32_t> heads_;
};
