// DependencyTable: which asset depends on which, as pairs in the order of the index file.
//
// Looking up either direction builds an index of the pairs once; changing an asset's
// dependencies keeps it up to date. Not thread-safe: the first lookup builds, so even lookups must
// not run beside each other. Those of the running database hold its cache lock or exclusive guard.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "database/IdMap.h"
#include "tagdata/PLID.h"

namespace Zef {
class ByteReader;
class ByteWriter;
}  // namespace Zef

class DependencyTable {
 public:
  struct Pair {
    PLID asset;
    PLID dependency;
  };

  void Clear();
  std::size_t Count() const { return live_; }

  /// Drops the asset's pairs and appends one for each dependency. Identifiers that cannot be stored
  /// are left out.
  void Replace(const PLID& asset, const std::vector<PLID>& dependencies);

  std::vector<PLID> DependenciesOf(const PLID& asset);
  std::vector<PLID> DependentsOf(const PLID& dependency);
  std::vector<Pair> Pairs() const;

  /// Stored form: a mode word 0, a count, pairs. A null identifier clears the table and fails.
  [[nodiscard]] bool Read(Zef::ByteReader& in);
  /// Moves past the stored form; false for what Read would refuse.
  [[nodiscard]] static bool Skip(Zef::ByteReader& in);
  void Write(Zef::ByteWriter& out) const;

 private:
  /// Pairs of one identifier in order: places in pairs_ plus one, 0 for none.
  struct Chain {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    friend bool operator==(const Chain&, const Chain&) = default;
  };
  struct Links {
    std::uint32_t nextOfAsset = 0;
    std::uint32_t nextOfDependency = 0;
  };

  /// A pair as it lies in the file, so that a table is read and written in one piece.
  struct StoredId {
    std::array<std::uint32_t, 2> words = PLID().Stored();

    bool IsNull() const { return *this == StoredId(); }
    PLID Id() const { return PLID::FromStored(words.data()); }
    friend bool operator==(const StoredId&, const StoredId&) = default;
  };
  struct StoredPair {
    StoredId asset;
    StoredId dependency;
  };
  static_assert(sizeof(StoredPair) == 2 * PLID::kStoredSize);

  void Append(Chain& chain, std::uint32_t Links::*next, std::uint32_t link);
  void BuildIndex();
  void Squeeze();

  std::vector<StoredPair> pairs_;  // dropped pairs stay as holes: a null asset
  std::size_t live_ = 0;
  bool indexed_ = false;
  std::vector<Links> links_;  // of each pair, when indexed
  IdMap<Chain> byAsset_;
  IdMap<Chain> byDependency_;
};
