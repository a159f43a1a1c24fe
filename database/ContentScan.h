// ContentScan: turns the asset folders below a product root into records of an index.
//
//   MUKAssetIndex index;
//   const ScanReport report = ScanProduct(index, "/srv/product", options);
//
// world/<entry>/<group>/<asset>   built-in content; an entry is a folder or a mounted ".ja" archive
// trains/<group>/<asset>          the older layout
// local/<asset>                   installed assets
// editing/<asset>                 assets open for edit
//
// An asset is a folder with a config that names an identifier. Whatever cannot be read is skipped
// with a reason, and the scan goes on. Folders are taken in the order of their folded names, so
// records, merges and reports repeat. Linked folders are not scanned below the folders named
// literally above.
//
// Cost: each folder is listed once and each config read once; time grows linearly with the number
// of files. One thread, which holds whatever guards the index.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/ContentServices.h"
#include "kernel/platform/FolderReader.h"

class MUKAsset;
class MUKAssetIndex;

/// What became of a folder, or of a part of it.
enum class ScanOutcome {
  Found,             ///< a new record
  Merged,            ///< joined into the record of the same identifier
  Conflict,          ///< the identifier is held with other places
  NoConfig,          ///< a folder in an asset's place without a config
  UnreadableConfig,  ///< cannot be opened or read, or is a link
  LargeConfig,       ///< more than kLargestConfig bytes
  NotTags,           ///< the config holds no tag container
  NoIdentifier,      ///< the config has no "plid", or the null one
  BadPath,           ///< a name that cannot stand in a record
  Unreadable,        ///< a folder that cannot be listed
  LinkedFolder,      ///< a link in an asset's place
  ClosedArchive,     ///< a ".ja" file whose content is not mounted
  PartlyMeasured,    ///< beside Found or Merged: some of its folders were not counted
};
inline constexpr std::size_t kScanOutcomes = 13;

/// A plain phrase for a report, such as "its config has no identifier".
const char* ScanOutcomeText(ScanOutcome outcome);
/// Its short name in lower camel case, for machine-readable reports, such as "noIdentifier".
const char* ScanOutcomeName(ScanOutcome outcome);
/// True for the outcomes that leave a folder out of the index.
bool IsSkipped(ScanOutcome outcome);

/// What a scan found, by kind, and the first paths of each kind that was skipped or cut.
struct ScanReport {
  static constexpr std::size_t kMostMessages = 1000;

  struct Message {
    ScanOutcome outcome = ScanOutcome::Found;
    std::string path;  ///< below the product root
  };

  std::array<std::uint64_t, kScanOutcomes> counts{};
  std::vector<Message> messages;      ///< neither Found nor Merged, in the order of the scan
  std::uint64_t furtherMessages = 0;  ///< left out of `messages`

  std::uint64_t Count(ScanOutcome outcome) const {
    return counts[static_cast<std::size_t>(outcome)];
  }
  /// Folders left out of the index.
  std::uint64_t Skipped() const;
  void Add(ScanOutcome outcome, std::string_view path);
};

enum class ScanMode { Legacy = 0, Local = 1, Editing = 2 };

struct ScanOptions {
  bool archivesOnly = false;  ///< only the ".ja" files in "world", and neither local nor editing
  bool markBuiltIn = false;   ///< what "world" and "trains" hold is the product's own content
  std::int64_t now = 0;       ///< time stamp of updates, seconds since 1970; 0: the system's time
  /// Called before each asset folder with its path below the root, and how many of the folders
  /// listed beside it came before and are there in all. Must not throw.
  std::function<void(const std::string& folder, std::size_t done, std::size_t total)> progress;
};

/// Scans a product root into an index without a host: no running database, no lock, no file
/// written. The root is a path of the system or has a registered prefix. Sorts at the end.
ScanReport ScanProduct(MUKAssetIndex& index, const std::string& productRoot,
                       const ScanOptions& options);

class ContentScan {
 public:
  /// The index is borrowed; the root is a path of the system. `report` may be null. Options are
  /// copied.
  ContentScan(MUKAssetIndex& index, std::string root, ScanOptions options, ScanReport* report);

  /// Reads one asset folder, `folder` below `base` below the root.
  void ScanFolder(std::string_view base, std::string_view folder, ScanMode mode);
  /// Every folder in `subFolder` below `base` as an asset folder.
  void ScanTree(std::string_view base, std::string_view subFolder, ScanMode mode);
  /// Every folder directly in `folder` as a base of legacy assets. One with a config of its own
  /// is an asset too.
  void ScanRoots(std::string_view folder);
  /// The entries of "world".
  void ScanWorld();
  void ScanArea(ContentArea area);

  /// Drops legacy and edit paths whose folders are gone and derives the record's fields anew from
  /// its config. False when the config cannot be read, and for a record that is open for edit
  /// beside another place, which keeps its fields.
  bool Verify(MUKAsset& record);

 private:
  void Tell(ScanOutcome outcome, std::string_view path);
  void ScanListed(const Zef::Platform::FolderReader& parent, std::string_view parentPath,
                  ScanMode mode, bool parentIsAsset);
  ScanOutcome ReadFolder(const Zef::Platform::FolderReader& folder, std::string_view base,
                         std::string_view name, ScanMode mode);
  ScanOutcome Enter(MUKAsset&& record, const TagContainer& config);

  MUKAssetIndex& index_;
  std::string root_;
  ScanOptions options_;
  ScanReport* report_;
  std::string buffer_;
  Zef::Platform::FolderListing listing_;
};
