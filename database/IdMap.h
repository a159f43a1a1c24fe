// IdMap: identifier to a small value, in an open table.
//
// Doubles before it is half full, so a lookup is one probe at any size, and spreads identifiers
// by a 64-bit mix, so a file with chosen identifiers cannot slow it down. The value T{} (null, 0)
// means "nothing here" and cannot be stored.

#pragma once

#include <bit>
#include <cstddef>
#include <vector>

#include "database/LargeBlock.h"
#include "tagdata/PLID.h"

template <class T>
class IdMap {
 public:
  std::size_t Count() const { return count_; }

  void Clear() {
    slots_ = {};
    count_ = 0;
  }
  void Reserve(std::size_t count) {
    const std::size_t wanted = std::bit_ceil(count * 2 + 1);
    if (wanted > slots_.size()) Rehash(wanted < kSmallest ? kSmallest : wanted);
  }

  /// Has the place of `id` fetched. A few dozen of these ahead of as many lookups save most of
  /// the wait for a table that no cache holds.
  void Prefetch(const PLID& id) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[Home(id)]);
  }
  T Find(const PLID& id) const { return slots_.empty() ? T{} : slots_[Locate(id)].value; }

  /// The value of `id`: T{} when the identifier is new, to be filled in at once.
  T& Insert(const PLID& id) {
    Reserve(count_ + 1);
    Slot& slot = slots_[Locate(id)];
    if (slot.value == T{}) {
      slot.id = id;
      ++count_;
    }
    return slot.value;
  }

  void Remove(const PLID& id) {
    if (slots_.empty()) return;
    std::size_t hole = Locate(id);
    if (slots_[hole].value == T{}) return;
    --count_;
    // Closes the gap: an entry behind it moves up unless its home lies past the gap.
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t at = (hole + 1) & mask; slots_[at].value != T{}; at = (at + 1) & mask) {
      if (((at - Home(slots_[at].id)) & mask) < ((at - hole) & mask)) continue;
      slots_[hole] = slots_[at];
      hole = at;
    }
    slots_[hole].value = T{};
  }

 private:
  static constexpr std::size_t kSmallest = 64;

  struct Slot {
    PLID id;
    T value{};  ///< T{}: free
  };
  using Slots = std::vector<Slot, LargePages<Slot>>;

  std::size_t Home(const PLID& id) const { return std::hash<PLID>()(id) & (slots_.size() - 1); }
  /// Slot of `id`, or the free slot where it would stand.
  std::size_t Locate(const PLID& id) const {
    std::size_t at = Home(id);
    while (slots_[at].value != T{} && slots_[at].id != id) at = (at + 1) & (slots_.size() - 1);
    return at;
  }
  void Rehash(std::size_t slotCount) {
    Slots old(slotCount);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.value != T{}) slots_[Locate(slot.id)] = slot;
    }
  }

  Slots slots_;  // a power of two, or none
  std::size_t count_ = 0;
};
