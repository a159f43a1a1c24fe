// ObsoleteTable: which identifier replaces which.
//
// A row says that `old` was declared replaced by `given`, and keeps `replacement`, the end of the
// chain behind `given`, up to date. Rows of one replacement form a group; when that replacement
// is itself replaced, the whole group moves at once, so long chains cost nothing a row.
//
// Lookups may run beside each other; the table is guarded with the index that owns it.

#pragma once

#include <cstdint>
#include <vector>

#include "database/IdMap.h"
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
  std::size_t Count() const { return rowByOld_.Count(); }

  /// Adds or replaces the row of `old`. False, and nothing changed, for a null identifier (also
  /// one that would be stored as null) and for a row that would close a circle.
  bool AddRow(const PLID& old, const PLID& given);

  /// The replacement of `id`, or the null identifier.
  PLID ResolveExact(const PLID& id) const;
  /// The replacement of `id`, or `id` itself.
  PLID Resolve(const PLID& id) const;

  /// The old identifiers of all rows whose replacement is `id`, in table order.
  std::vector<PLID> ReplacedBy(const PLID& id) const;
  /// Drops all rows whose replacement is `id`; returns their old identifiers in table order.
  std::vector<PLID> RemoveReplacedBy(const PLID& id);

  /// Rows in the order in which they are stored.
  std::vector<RowView> Rows() const;

  /// Stored form: a mode word, rows, a null identifier. A bad row clears the table and fails.
  [[nodiscard]] bool Read(Zef::ByteReader& in);
  /// Moves past the stored form; false for what Read would refuse.
  [[nodiscard]] static bool Skip(Zef::ByteReader& in);
  void Write(Zef::ByteWriter& out) const;

 private:
  /// Place in rows_ or groups_ plus one; 0 is none.
  using Link = std::uint32_t;

  struct Group {
    PLID replacement;
    Link merged = 0;  ///< the group this one went into
    Link first = 0;
    Link last = 0;
    std::uint32_t weight = 0;  ///< rows that ever came in, merged groups' too
  };
  struct Row {
    PLID old;
    PLID given;
    std::uint64_t arrival = 0;
    Link group = 0;  ///< possibly merged: see GroupOf
    Link previous = 0;
    Link next = 0;
  };

  Row& RowAt(Link link) { return rows_[link - 1]; }
  const Row& RowAt(Link link) const { return rows_[link - 1]; }
  Group& GroupAt(Link link) { return groups_[link - 1]; }
  const Group& GroupAt(Link link) const { return groups_[link - 1]; }
  Link GroupOf(Link row) const;
  void Renumber();
  Link GroupFor(const PLID& replacement);
  Link TakeRow();
  void Reserve(std::size_t rows);
  void MoveGroup(const PLID& from, const PLID& to);
  void Unlink(Link link);
  void Append(Link group, Link link);

  std::vector<Row> rows_;
  std::vector<Link> freeRows_;
  std::vector<Group> groups_;
  IdMap<Link> rowByOld_;
  IdMap<Link> groupByReplacement_;
  std::uint64_t arrivals_ = 0;
};
