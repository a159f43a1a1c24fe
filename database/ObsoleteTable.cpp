#include "database/ObsoleteTable.h"

#include <algorithm>

#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"

namespace {

/// Rows are stored bucket by bucket of this many, and in order of arrival within a bucket.
constexpr std::uint32_t kStoredBuckets = 97;

bool IsUnusable(const PLID& id) { return id.IsNull() || id.PacksToNull(); }

}  // namespace

void ObsoleteTable::Clear() {
  rows_.clear();
  groups_.clear();
  groupStore_.clear();
  arrivals_ = 0;
}

bool ObsoleteTable::AddRow(const PLID& old, const PLID& given) {
  if (IsUnusable(old) || IsUnusable(given)) return false;
  const PLID replacement = Resolve(given);
  if (replacement == old) return false;
  MoveGroup(old, replacement);

  auto [at, added] = rows_.try_emplace(old);
  Row& row = at->second;
  if (!added) Unlink(row);
  row.old = old;
  row.given = given;
  row.arrival = arrivals_++;
  Append(*GroupFor(replacement), row);
  return true;
}

PLID ObsoleteTable::ResolveExact(const PLID& id) const {
  const auto at = rows_.find(id);
  return at == rows_.end() ? PLID() : GroupOf(at->second)->replacement;
}

PLID ObsoleteTable::Resolve(const PLID& id) const {
  const auto at = rows_.find(id);
  return at == rows_.end() ? id : GroupOf(at->second)->replacement;
}

std::vector<PLID> ObsoleteTable::RemoveReplacedBy(const PLID& id) {
  std::vector<PLID> olds;
  const auto at = groups_.find(id);
  if (at == groups_.end()) return olds;
  for (const Row* row = at->second->first; row != nullptr; row = row->next) {
    olds.push_back(row->old);
  }
  groups_.erase(at);
  for (const PLID& old : olds) rows_.erase(old);
  return olds;
}

std::vector<ObsoleteTable::RowView> ObsoleteTable::Rows() const {
  std::vector<const Row*> order;
  order.reserve(rows_.size());
  for (const auto& [old, row] : rows_) order.push_back(&row);
  std::sort(order.begin(), order.end(), [](const Row* a, const Row* b) {
    const std::uint32_t bucketA = a->old.Hash() % kStoredBuckets;
    const std::uint32_t bucketB = b->old.Hash() % kStoredBuckets;
    return bucketA != bucketB ? bucketA < bucketB : a->arrival < b->arrival;
  });
  std::vector<RowView> views;
  views.reserve(order.size());
  for (const Row* row : order) views.push_back({row->old, row->given, GroupOf(*row)->replacement});
  return views;
}

bool ObsoleteTable::Read(Zef::ByteReader& in) {
  Clear();
  const bool withGiven = in.U32() != 0;
  while (!in.Failed()) {
    const PLID replacement = ReadStoredId(in);
    if (replacement.IsNull() && !in.Failed()) return true;
    const PLID old = ReadStoredId(in);
    const PLID given = withGiven ? ReadStoredId(in) : replacement;
    if (in.Failed() || !AddRow(old, replacement)) break;
    rows_.find(old)->second.given = given;
  }
  Clear();
  return false;
}

void ObsoleteTable::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  for (const RowView& row : Rows()) {
    PutStoredId(out, row.replacement);
    PutStoredId(out, row.old);
  }
  PutStoredId(out, PLID());
}

ObsoleteTable::Group* ObsoleteTable::GroupOf(const Row& row) {
  Group* group = row.group;
  while (group->merged != nullptr) {
    if (group->merged->merged != nullptr) group->merged = group->merged->merged;
    group = group->merged;
  }
  return group;
}

ObsoleteTable::Group* ObsoleteTable::GroupFor(const PLID& replacement) {
  Group*& group = groups_[replacement];
  if (group == nullptr) {
    group = &groupStore_.emplace_back();
    group->replacement = replacement;
  }
  return group;
}

void ObsoleteTable::MoveGroup(const PLID& from, const PLID& to) {
  const auto at = groups_.find(from);
  if (at == groups_.end()) return;
  Group* group = at->second;
  groups_.erase(at);
  const auto target = groups_.find(to);
  if (target == groups_.end()) {
    group->replacement = to;
    groups_.emplace(to, group);
    return;
  }
  Group* into = target->second;
  group->merged = into;
  if (group->first == nullptr) return;
  group->first->previous = into->last;
  (into->last != nullptr ? into->last->next : into->first) = group->first;
  into->last = group->last;
  group->first = group->last = nullptr;
}

void ObsoleteTable::Unlink(Row& row) {
  Group* group = GroupOf(row);
  (row.previous != nullptr ? row.previous->next : group->first) = row.next;
  (row.next != nullptr ? row.next->previous : group->last) = row.previous;
  if (group->first == nullptr) groups_.erase(group->replacement);
  row.previous = row.next = nullptr;
}

void ObsoleteTable::Append(Group& group, Row& row) {
  row.group = &group;
  row.previous = group.last;
  (group.last != nullptr ? group.last->next : group.first) = &row;
  group.last = &row;
}
