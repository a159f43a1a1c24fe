#include "database/IdTable.h"

#include <bit>

namespace {
constexpr std::size_t kSmallestTable = 64;
}

void IdTable::Clear() {
  slots_.clear();
  slots_.shrink_to_fit();
  count_ = 0;
}

void IdTable::Reserve(std::size_t count) {
  const std::size_t wanted = std::bit_ceil(count * 2 + 1);
  if (wanted > slots_.size()) Rehash(wanted < kSmallestTable ? kSmallestTable : wanted);
}

MUKAsset*& IdTable::Insert(const PLID& id) {
  Reserve(count_ + 1);
  Slot& slot = slots_[Locate(id)];
  if (slot.record == nullptr) {
    slot.id = id;
    ++count_;
  }
  return slot.record;
}

void IdTable::Remove(const PLID& id) {
  if (slots_.empty()) return;
  std::size_t hole = Locate(id);
  if (slots_[hole].record == nullptr) return;
  --count_;
  // Closes the gap: an entry behind it moves up unless its home lies past the gap.
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = (hole + 1) & mask; slots_[at].record != nullptr; at = (at + 1) & mask) {
    if (((at - Home(slots_[at].id)) & mask) < ((at - hole) & mask)) continue;
    slots_[hole] = slots_[at];
    hole = at;
  }
  slots_[hole].record = nullptr;
}

void IdTable::Rehash(std::size_t slotCount) {
  std::vector<Slot> old(slotCount);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.record != nullptr) slots_[Locate(slot.id)] = slot;
  }
}
