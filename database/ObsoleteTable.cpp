#include "database/ObsoleteTable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <utility>

#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"

namespace {

/// Rows are stored bucket by bucket of this many, and in order of arrival within a bucket.
constexpr std::uint32_t kStoredBuckets = 97;

/// Groups of rows that are gone may stay this many before they are cleared away.
constexpr std::size_t kSpareGroups = 1024;

/// Rows up to the closing null identifier, of `ids` identifiers each.
std::size_t CountRows(Zef::ByteReader in, std::size_t ids) {
  std::size_t count = 0;
  while (!ReadStoredId(in).IsNull()) {
    in.Skip((ids - 1) * PLID::kStoredSize);
    ++count;
  }
  return count;
}

/// Whether a replacement among `count` rows may stand as the old identifier of one. The table we
/// write has none, as replacements are the ends of their chains. Without any no row can close a
/// circle, which is asked here in a fraction of the time and memory that it takes to enter them.
bool MayChain(Zef::ByteReader rows, std::size_t count, std::size_t ids) {
  const std::size_t bits = std::bit_ceil(count * 8 + 64);
  std::vector<bool> olds(bits);
  const auto place = [bits](const PLID& id) { return std::hash<PLID>()(id) & (bits - 1); };
  const auto forEach = [&](const auto& visit) {
    Zef::ByteReader in = rows;
    for (std::size_t i = 0; i < count; ++i) {
      const PLID replacement = ReadStoredId(in);
      const PLID old = ReadStoredId(in);
      in.Skip((ids - 2) * PLID::kStoredSize);
      visit(replacement, old);
    }
  };
  bool may = false;
  forEach([&](const PLID& replacement, const PLID& old) {
    may |= !replacement.IsStorable() || !old.IsStorable();
    olds[place(old)] = true;
  });
  IdMap<std::uint32_t> suspects;
  forEach([&](const PLID& replacement, const PLID&) {
    if (olds[place(replacement)]) suspects.Insert(replacement) = 1;
  });
  forEach([&](const PLID&, const PLID& old) { may |= suspects.Find(old) != 0; });
  return may;
}

}  // namespace

void ObsoleteTable::Clear() { *this = ObsoleteTable(); }

bool ObsoleteTable::AddRow(const PLID& old, const PLID& given) {
  if (!old.IsStorable() || !given.IsStorable()) return false;
  const PLID replacement = Resolve(given);
  if (replacement == old) return false;
  if (groups_.size() > 2 * Count() + kSpareGroups) Renumber();
  MoveGroup(old, replacement);

  Link& link = rowByOld_.Insert(old);
  if (link == 0) {
    link = TakeRow();
  } else {
    Unlink(link);
  }
  Row& row = RowAt(link);
  row.old = old;
  row.given = given;
  row.arrival = arrivals_++;
  Append(GroupFor(replacement), link);
  return true;
}

PLID ObsoleteTable::ResolveExact(const PLID& id) const {
  const Link row = rowByOld_.Find(id);
  return row == 0 ? PLID() : GroupAt(GroupOf(row)).replacement;
}

PLID ObsoleteTable::Resolve(const PLID& id) const {
  const Link row = rowByOld_.Find(id);
  return row == 0 ? id : GroupAt(GroupOf(row)).replacement;
}

std::vector<PLID> ObsoleteTable::ReplacedBy(const PLID& id) const {
  std::vector<PLID> olds;
  const Link group = groupByReplacement_.Find(id);
  if (group == 0) return olds;
  for (Link row = GroupAt(group).first; row != 0; row = RowAt(row).next) {
    olds.push_back(RowAt(row).old);
  }
  return olds;
}

std::vector<PLID> ObsoleteTable::RemoveReplacedBy(const PLID& id) {
  std::vector<PLID> olds;
  const Link group = groupByReplacement_.Find(id);
  if (group == 0) return olds;
  groupByReplacement_.Remove(id);
  for (Link row = GroupAt(group).first; row != 0; row = RowAt(row).next) {
    olds.push_back(RowAt(row).old);
    rowByOld_.Remove(RowAt(row).old);
    freeRows_.push_back(row);
  }
  for (std::size_t i = freeRows_.size() - olds.size(); i < freeRows_.size(); ++i) {
    RowAt(freeRows_[i]).group = 0;
  }
  return olds;
}

std::vector<ObsoleteTable::RowView> ObsoleteTable::Rows() const {
  std::vector<Link> order;
  order.reserve(Count());
  for (Link link = 1; link <= rows_.size(); ++link) {
    if (RowAt(link).group != 0) order.push_back(link);
  }
  // Reused rows break the order of arrival; a table as loaded has none.
  const auto earlier = [this](Link a, Link b) { return RowAt(a).arrival < RowAt(b).arrival; };
  if (!std::is_sorted(order.begin(), order.end(), earlier)) {
    std::sort(order.begin(), order.end(), earlier);
  }
  std::array<std::size_t, kStoredBuckets + 1> starts{};
  for (const Link link : order) ++starts[RowAt(link).old.Hash() % kStoredBuckets + 1];
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  std::vector<RowView> views(order.size());
  for (const Link link : order) {
    const Row& row = RowAt(link);
    views[starts[row.old.Hash() % kStoredBuckets]++] = {row.old, row.given,
                                                        GroupAt(GroupOf(link)).replacement};
  }
  return views;
}

bool ObsoleteTable::Read(Zef::ByteReader& in) {
  Clear();
  const bool withGiven = in.U32() != 0;
  Reserve(CountRows(in, withGiven ? 3 : 2));
  while (!in.Failed()) {
    const PLID replacement = ReadStoredId(in);
    if (replacement.IsNull() && !in.Failed()) return true;
    const PLID old = ReadStoredId(in);
    const PLID given = withGiven ? ReadStoredId(in) : replacement;
    if (in.Failed() || !AddRow(old, replacement)) break;
    if (withGiven) RowAt(rowByOld_.Find(old)).given = given;
  }
  Clear();
  return false;
}

bool ObsoleteTable::Skip(Zef::ByteReader& in) {
  Zef::ByteReader rows = in;
  const std::size_t ids = rows.U32() != 0 ? 3 : 2;
  const std::size_t count = CountRows(rows, ids);
  if (MayChain(rows, count, ids)) return ObsoleteTable().Read(in);
  rows.Skip(count * ids * PLID::kStoredSize + PLID::kStoredSize);
  in = rows;
  return !in.Failed();
}

void ObsoleteTable::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  for (const RowView& row : Rows()) {
    PutStoredId(out, row.replacement);
    PutStoredId(out, row.old);
  }
  PutStoredId(out, PLID());
}

void ObsoleteTable::Reserve(std::size_t rows) {
  rows_.reserve(rows);
  groups_.reserve(rows);
  rowByOld_.Reserve(rows);
  groupByReplacement_.Reserve(rows);
}

ObsoleteTable::Link ObsoleteTable::GroupOf(Link row) const {
  Link group = RowAt(row).group;
  while (const Link merged = GroupAt(group).merged) group = merged;
  return group;
}

void ObsoleteTable::Renumber() {
  std::vector<Group> kept;
  std::vector<Link> places(groups_.size() + 1, 0);
  for (Link link = 1; link <= rows_.size(); ++link) {
    if (rowByOld_.Find(RowAt(link).old) != link) continue;
    const Link group = GroupOf(link);
    if (places[group] == 0) {
      kept.push_back(GroupAt(group));
      places[group] = static_cast<Link>(kept.size());
    }
    RowAt(link).group = places[group];
  }
  groups_ = std::move(kept);
  groupByReplacement_.Clear();
  for (Link group = 1; group <= groups_.size(); ++group) {
    groupByReplacement_.Insert(GroupAt(group).replacement) = group;
  }
}

ObsoleteTable::Link ObsoleteTable::GroupFor(const PLID& replacement) {
  Link& group = groupByReplacement_.Insert(replacement);
  if (group == 0) {
    groups_.push_back({.replacement = replacement});
    group = static_cast<Link>(groups_.size());
  }
  return group;
}

ObsoleteTable::Link ObsoleteTable::TakeRow() {
  if (freeRows_.empty()) {
    rows_.emplace_back();
    return static_cast<Link>(rows_.size());
  }
  const Link row = freeRows_.back();
  freeRows_.pop_back();
  return row;
}

void ObsoleteTable::MoveGroup(const PLID& from, const PLID& to) {
  const Link moved = groupByReplacement_.Find(from);
  if (moved == 0) return;
  groupByReplacement_.Remove(from);
  Link& target = groupByReplacement_.Insert(to);
  Group& group = GroupAt(moved);
  if (target == 0) {
    target = moved;
    group.replacement = to;
    return;
  }
  // The root of the larger tree stays, so no path grows beyond the logarithm of its rows.
  Link root = target;
  Link other = moved;
  const Link first = GroupAt(target).first;
  const Link last = GroupAt(target).last;
  if (group.weight > GroupAt(target).weight) std::swap(root, other);
  Group joined = GroupAt(root);
  joined.weight += GroupAt(other).weight;
  joined.replacement = to;
  joined.first = first;
  joined.last = last;
  if (group.first != 0) {
    RowAt(group.first).previous = last;
    (last != 0 ? RowAt(last).next : joined.first) = group.first;
    joined.last = group.last;
  }
  GroupAt(other).merged = root;
  GroupAt(root) = joined;
  target = root;
}

void ObsoleteTable::Unlink(Link link) {
  Group& group = GroupAt(GroupOf(link));
  const Row& row = RowAt(link);
  (row.previous != 0 ? RowAt(row.previous).next : group.first) = row.next;
  (row.next != 0 ? RowAt(row.next).previous : group.last) = row.previous;
}

void ObsoleteTable::Append(Link group, Link link) {
  Group& into = GroupAt(group);
  Row& row = RowAt(link);
  ++into.weight;
  row.group = group;
  row.previous = into.last;
  row.next = 0;
  (into.last != 0 ? RowAt(into.last).next : into.first) = link;
  into.last = link;
}
