// ObsoleteTable: which identifier replaces which.
//
// A row says that `old` was declared replaced by `given`, and keeps `replacement`, the end of the
// chain behind `given`, up to date. Rows of one replacement form a group; when that replacement
// is itself replaced, the whole group moves at once, so long chains cost nothing a row.
//
// Not thread-safe: guarded with the index that owns it.

#pragma once

#include <cstdint>
#include <deque>
#include <unordered_map>
#include <vector>

#include "tagdata/PLID.h"

namespace Zef {
class ByteReader;
class ByteWriter;
}  // namespace Zef

class ObsoleteTable {
 public:
  struct RowView {
    PLID old;
    PLID given;
    PLID replacement;
  };

  void Clear();
  std::size_t Count() const { return rows_.size(); }

  /// Adds or replaces the row of `old`. False, and nothing changed, for a null identifier (also
  /// one that would be stored as null) and for a row that would close a circle.
  bool AddRow(const PLID& old, const PLID& given);

  /// The replacement of `id`, or the null identifier.
  PLID ResolveExact(const PLID& id) const;
  /// The replacement of `id`, or `id` itself.
  PLID Resolve(const PLID& id) const;

  /// Drops all rows whose replacement is `id`; returns their old identifiers in table order.
  std::vector<PLID> RemoveReplacedBy(const PLID& id);

  /// Rows in the order in which they are stored.
  std::vector<RowView> Rows() const;

  /// Stored form: a mode word, rows, a null identifier. A bad row clears the table and fails.
  [[nodiscard]] bool Read(Zef::ByteReader& in);
  void Write(Zef::ByteWriter& out) const;

 private:
  struct Row;
  struct Group {
    PLID replacement;
    Group* merged = nullptr;  ///< the group this one went into
    Row* first = nullptr;
    Row* last = nullptr;
  };
  struct Row {
    PLID old;
    PLID given;
    std::uint64_t arrival = 0;
    Group* group = nullptr;  ///< possibly merged: see GroupOf
    Row* previous = nullptr;
    Row* next = nullptr;
  };

  static Group* GroupOf(const Row& row);
  Group* GroupFor(const PLID& replacement);
  void MoveGroup(const PLID& from, const PLID& to);
  void Unlink(Row& row);
  static void Append(Group& group, Row& row);

  std::unordered_map<PLID, Row> rows_;  // by old; nodes do not move
  std::unordered_map<PLID, Group*> groups_;
  std::deque<Group> groupStore_;
  std::uint64_t arrivals_ = 0;
};
