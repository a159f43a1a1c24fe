// MUKAssetIndex: all asset records in memory, by identifier and in two orders, with the side
// tables of the index file.
//
// The index owns its records and keeps the image of the file they were loaded from, so loading
// costs neither a copy nor an allocation a text. A removed record leaves every table, but its
// pointer stays valid until Clear. Find and Remove do not slow down as the index grows; removed
// records are squeezed out of the orders by the next walk.
//
// Not thread-safe: the running database guards it with a reader/writer lock. What readers derive
// in passing (order by name, search texts, obsolete bits) is guarded inside, so that any number
// of threads may read together.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "database/IdMap.h"
#include "database/IndexCompanions.h"
#include "database/IndexHeader.h"
#include "database/LargeBlock.h"
#include "database/MUKAsset.h"
#include "database/ObsoleteTable.h"

class IndexHost;

namespace Zef {
class ByteReader;
class File;
}  // namespace Zef

/// Kinds of change, as bits of a mask.
inline constexpr std::uint32_t kChangeGeneral = 1;
inline constexpr std::uint32_t kChangeSize = 2;

struct IndexLoadOptions {
  bool keepConfigCache = true;  ///< false skips the largest side table, for read-only use
};

struct IndexSaveOptions {
  bool toDevice = false;  ///< wait for the content before and after the length is set
  /// The file whose owner and permissions the new one gets. Empty: the one it replaces, which may
  /// then not be read-only.
  std::string rightsOf{};
};

class MUKAssetIndex {
 public:
  /// The host is borrowed and may be null (a private index).
  explicit MUKAssetIndex(IndexHost* host = nullptr) : host_(host) {}
  MUKAssetIndex(const MUKAssetIndex&) = delete;
  MUKAssetIndex& operator=(const MUKAssetIndex&) = delete;

  /// Deletes all records, also removed ones, and empties every table.
  void Clear();

  /// Replaces the content by that of an index file. False for a file that cannot be opened or is
  /// damaged anywhere before the station state; the index is then empty. `report` may be null.
  /// Throws std::bad_alloc, empty, when memory runs out.
  [[nodiscard]] bool Load(const std::string& path, IndexLoadReport* report = nullptr,
                          IndexLoadOptions options = {});
  /// Writes the index file; its length word comes last, so a file with a good length was written
  /// to its end. False, with the old file as it was, when it could not be written whole, for want
  /// of memory too; an index of 4 GiB and more cannot.
  [[nodiscard]] bool Save(const std::string& path, const IndexSaveOptions& options = {});

  /// The record of an identifier, or null. With duplicates the first that arrived.
  MUKAsset* Find(const PLID& id) const;
  /// All records of an identifier, in order of arrival.
  std::vector<MUKAsset*> FindAll(const PLID& id) const;
  /// Moves the record in. Looks for no duplicate and marks nothing changed.
  MUKAsset& Add(MUKAsset&& record);
  /// Takes the record that Find gives out and enters anew what the assets it had replaced declare
  /// obsolete.
  void Remove(const PLID& id);
  /// A default record under `id`, or under the next local identifier when that is null. Null
  /// when the identifier is taken, or is null and there is no host to ask.
  MUKAsset* CreateNew(PLID id);
  /// Joins a record into the held one of the same identifier when their places on disk do not
  /// contradict each other; false and nothing changed otherwise.
  bool Merge(const MUKAsset& incoming);

  std::size_t Count() const { return live_; }
  /// All records in order of arrival, which is that of the file.
  std::span<MUKAsset* const> AllRecords() const;
  /// All records by shown name as of the last load or Sort, later arrivals behind.
  std::span<MUKAsset* const> Records() const;
  void Sort();

  /// The replacement of an obsolete identifier, else the identifier itself.
  PLID Resolve(const PLID& id) const { return obsolete_.Resolve(id); }
  /// The replacement, or the null identifier.
  PLID ResolveExact(const PLID& id) const { return obsolete_.ResolveExact(id); }
  /// Dependencies are resolved by Resolve alone: the look for an installed replacement finds
  /// none and hands the identifier back.
  PLID ResolveInstalled(const PLID& id) const { return id; }
  const ObsoleteTable& Obsolete() const { return obsolete_; }
  bool AddObsoleteRow(const PLID& old, const PLID& given);
  /// Whether a config of the asset may make that identifier obsolete: a user only his own, and
  /// nobody other versions, which need no saying.
  static bool MayDeclareObsolete(const MUKAsset& asset, const PLID& old);
  /// Enters what the asset's config and its own version make obsolete.
  void RereadObsolete(const MUKAsset& asset);
  /// Drops all rows that the asset replaces and, if `enter`, enters those of the list and of its
  /// own version in their place; then what the assets that lost their row declare. Returns the
  /// identifiers whose replacement may be another one now.
  std::vector<PLID> ReplaceObsolete(const MUKAsset& asset, const std::vector<PLID>& list,
                                    bool enter);
  /// To be called when records came to be there or gone by other ways than Add and Remove.
  void ForgetObsoleteBits() { obsoleteBitsValid_ = false; }

  /// True when another, real identifier replaces the record's.
  bool IsObsolete(const MUKAsset& asset) const;
  /// Lower-case words by which the asset is searched; empty for a record outside an index.
  Zef::SharedText SearchText(const MUKAsset& asset) const;
  /// To be called when a record's names, keywords or category changed.
  void ForgetSearchText(MUKAsset& asset) const;

  /// Enters an archive in the place of one with the same id; its assets are then in an archive.
  void AddArchive(ArchiveList::Archive archive);
  /// False for an id that is not there. Who reads an asset's archive bit next asks all archives.
  bool DropArchive(std::uint32_t archiveId);

  IndexCompanions& Companions() { return companions_; }
  const IndexCompanions& Companions() const { return companions_; }
  void SetStoredValues(std::uint32_t value, float number);

 private:
  bool ReadTables(Zef::ByteReader& in, const IndexLoadOptions& options, IndexLoadReport& report);
  bool ReadRecords(Zef::ByteReader& in);
  void ReadStation(Zef::ByteReader& in);
  bool WriteTables(Zef::File& file, bool toDevice) const;
  MUKAsset& NextSlot();
  void Enter(MUKAsset& record);
  void Leave(MUKAsset& record);
  void RereadAll(const std::vector<PLID>& olds);
  void EnterObsolete(const MUKAsset& asset, const std::vector<PLID>& list,
                     std::vector<PLID>* entered);
  void SqueezeLocked() const;
  void MarkChanged(std::uint32_t mask);

  static constexpr std::size_t kChunk = 512;

  /// Records side by side; they stay where they are until Clear.
  class Slab {
   public:
    explicit Slab(std::size_t capacity)
        : memory_(MakeLargeBlock(capacity * sizeof(MUKAsset))), capacity_(capacity) {}
    Slab(Slab&& other) noexcept
        : memory_(std::move(other.memory_)),
          capacity_(other.capacity_),
          used_(std::exchange(other.used_, 0)) {}
    ~Slab() { std::destroy_n(reinterpret_cast<MUKAsset*>(memory_.get()), used_); }
    bool Full() const { return used_ == capacity_; }
    MUKAsset& Next() { return *new (memory_.get() + sizeof(MUKAsset) * used_++) MUKAsset(); }

   private:
    LargeBlock memory_;
    std::size_t capacity_;
    std::size_t used_ = 0;
  };

  IndexHost* host_;
  LargeBlock image_;  // declared before the records that borrow from it
  std::vector<Slab> slabs_;
  std::size_t live_ = 0;
  IdMap<MUKAsset*> byId_;  // the first that arrived; later ones are chained behind it
  ObsoleteTable obsolete_;
  IndexCompanions companions_;

  // Orders, derived on demand under derivedLock_ unless their flag says they stand.
  mutable std::mutex derivedLock_;
  mutable std::vector<MUKAsset*> allRecords_;
  mutable std::vector<MUKAsset*> records_;  // empty until asked for
  mutable bool recordsBuilt_ = false;
  mutable std::size_t sortedCount_ = 0;  // leading entries of allRecords_ that the last sort saw
  mutable std::atomic<bool> ordersValid_{true};
  mutable std::atomic<bool> obsoleteBitsValid_{false};
};
