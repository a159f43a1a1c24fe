// IndexCompanions: what an index file carries beside its records and its obsolete table, each
// part with its stored form. An index owns one of each by value.
//
// Read takes the part's bytes from the reader and fails on a damaged table, leaving the part
// empty. Texts borrow from the reader's memory.

#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "database/AssetText.h"
#include "database/DependencyTable.h"
#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"

namespace Zef {
class ByteReader;
class ByteWriter;
}  // namespace Zef

/// Names of the users who made assets.
struct UserNameTable {
  struct Entry {
    AssetText name;
    std::uint32_t profileId = 0;
    std::int32_t userId = 0;
  };
  std::vector<Entry> entries;

  void Clear() { entries.clear(); }
  [[nodiscard]] bool Read(Zef::ByteReader& in);
  void Write(Zef::ByteWriter& out) const;
};

/// Archives that hold copies of assets. The files themselves are not touched here.
class ArchiveList {
 public:
  struct Archive {
    std::uint8_t flag = 0;  ///< carried unread
    std::uint32_t id = 0;
    AssetText path;
    AssetText name;
    std::uint32_t stamp = 0;   ///< carried unread
    bool persistent = true;    ///< only these are stored
    std::vector<PLID> assets;  ///< in stored order
  };

  void Clear();
  const std::vector<Archive>& All() const { return archives_; }
  /// Identifiers that cannot be stored are left out.
  void Add(Archive&& archive);
  /// Takes an archive out and hands back its assets; false for an id that is not there.
  bool Drop(std::uint32_t id, std::vector<PLID>* assets);
  /// True when an archive holds the asset. The first call after a change collects the
  /// identifiers, so calls must not run beside each other.
  bool Contains(const PLID& id) const;
  [[nodiscard]] bool Read(Zef::ByteReader& in);
  void Write(Zef::ByteWriter& out) const;

 private:
  std::vector<Archive> archives_;
  mutable std::unordered_set<PLID> held_;  // of all archives, when collected_
  mutable bool collected_ = false;
};

/// Configs of assets that are not on disk, as one tag tree keyed by identifier.
class ConfigCache {
 public:
  void Clear();
  /// Null handle when there is none.
  const TagContainer& Tags() const { return tags_; }
  void Set(const TagContainer& tags) { tags_ = tags; }

  /// Takes one binary tag file; `keep` false only moves past it. A file without a valid image
  /// gives no tags; only one that is cut short fails.
  [[nodiscard]] bool Read(Zef::ByteReader& in, bool keep);
  [[nodiscard]] bool Write(Zef::ByteWriter& out) const;

 private:
  TagContainer tags_;
};

/// What the download station remembers between runs.
struct StationState {
  AssetText lastReceivedFile;        ///< stamp of the last valid answer
  std::uint64_t lastSearchTime = 0;  ///< seconds since 1970
  std::vector<AssetText> urlQueue;   ///< lists still to fetch, head first

  void Clear() { *this = StationState(); }
  /// A time of the last search later than `now` is forgotten. False for an unknown version, of
  /// which nothing further is read.
  bool Read(Zef::ByteReader& in, std::uint64_t now);
  void Write(Zef::ByteWriter& out) const;
};

struct IndexCompanions {
  DependencyTable dependencies;
  UserNameTable users;
  ConfigCache configCache;
  ArchiveList archives;
  StationState station;
  std::uint32_t storedValue = 1;  ///< carried for the host
  float storedFloat = 0.0f;       ///< carried for the host, bit-exact

  void Clear() { *this = IndexCompanions(); }
};
