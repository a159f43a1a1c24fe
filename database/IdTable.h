// IdTable: identifier to the first record that arrived under it.
//
// An open table that doubles before it is half full, so a lookup is one probe at any size and a
// file with chosen identifiers cannot slow it down. The documented 4093 buckets are the number
// that reports show. Later records under an identifier are chained by the index itself.

#pragma once

#include <cstddef>
#include <vector>

#include "tagdata/PLID.h"

class MUKAsset;

class IdTable {
 public:
  static constexpr std::uint32_t kReportedBuckets = 4093;

  std::size_t Count() const { return count_; }
  void Clear();
  void Reserve(std::size_t count);

  MUKAsset* Find(const PLID& id) const {
    if (slots_.empty()) return nullptr;
    const std::size_t at = Locate(id);
    return slots_[at].record;
  }
  /// The place of `id`'s record: holds null when the identifier is new, to be filled at once.
  MUKAsset*& Insert(const PLID& id);
  void Remove(const PLID& id);

 private:
  struct Slot {
    PLID id;
    MUKAsset* record = nullptr;  ///< null: free
  };

  std::size_t Home(const PLID& id) const { return std::hash<PLID>()(id) & (slots_.size() - 1); }
  /// Slot of `id`, or the free slot where it would stand.
  std::size_t Locate(const PLID& id) const {
    std::size_t at = Home(id);
    while (slots_[at].record != nullptr && slots_[at].id != id) at = (at + 1) & (slots_.size() - 1);
    return at;
  }
  void Rehash(std::size_t slotCount);

  std::vector<Slot> slots_;  // a power of two, or none
  std::size_t count_ = 0;
};
