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
// literally above; an archive may be a link.
//
// Cost: each folder is listed once and each config read once; time grows linearly with the number
// of files. Folders are read by some threads at a time; the caller's alone touches the index, under
// whatever guards that, and runs the callback.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/ConfigReader.h"
#include "database/ContentServices.h"
#include "database/ScanItem.h"
#include "database/ScanReport.h"
#include "kernel/OrderedWork.h"

class MUKAsset;
class MUKAssetIndex;

struct ScanOptions {
  bool archivesOnly = false;  ///< of "world" only the ".ja" files; neither local nor editing
  std::size_t threads = 0;    ///< that read folders; 0: one a processor, and four at most
  bool markBuiltIn = false;   ///< what "world" and "trains" hold is the product's own content
  std::int64_t now = 0;       ///< time stamp of updates, seconds since 1970; 0: the system's time
  /// Borrowed, may be null. Once it is true the scan ends where it is, and enters nothing more.
  const std::atomic<bool>* stop = nullptr;
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
  /// Index and reader are borrowed; the reader knows the root. `report` may be null.
  ContentScan(MUKAssetIndex& index, ConfigReader& configs, ScanOptions options, ScanReport* report);

  /// Reads one asset folder, `folder` below `base` below the root.
  void ScanFolder(std::string_view base, std::string_view folder, ScanMode mode);
  /// Every folder in `subFolder` below `base` as an asset folder.
  void ScanTree(std::string_view base, std::string_view subFolder, ScanMode mode);
  /// Every folder directly in `folder` as a base of legacy assets.
  void ScanRoots(std::string_view folder);
  /// The entries of "world".
  void ScanWorld();
  void ScanArea(ContentArea area);

 private:
  struct OpenedFolder;

  using Batch = std::vector<ScanItem>;
  static constexpr std::size_t kBatch = 16;  // items that one thread reads in a row
  static constexpr std::size_t kAhead = 6;   // batches between the walk and the index

  bool IsStopped() const { return options_.stop != nullptr && *options_.stop; }
  bool Open(OpenedFolder& folder);
  bool List(OpenedFolder& folder);
  static Zef::Platform::EntryKind KindBehindLinks(const OpenedFolder& parent, std::size_t at);
  bool AcceptFolder(const OpenedFolder& parent, std::size_t at);
  static ScanItem ItemOf(const OpenedFolder& parent, std::size_t at, ScanMode mode);
  void PostRoots(std::string_view folder);
  void PostChildren(const OpenedFolder& parent, ScanMode mode);
  void Post(ScanItem&& item);
  void Tell(ScanOutcome outcome, std::string_view base, std::string_view folder);
  void PostBatch(std::size_t ahead);
  void Finish() { PostBatch(0); }
  void Enter(ScanItem& item);
  bool FitToHeld(ScanItem& item, MUKAsset& held) const;
  ScanOutcome EnterRecord(ScanItem& item);

  MUKAssetIndex& index_;
  ConfigReader& configs_;
  ScanOptions options_;
  ScanReport* report_;
  std::unordered_set<PLID> known_;  // what the index held at the start
  std::vector<ScanScratch> scratch_;
  Batch batch_;  // not yet posted
  Zef::OrderedWork<Batch> work_;
};
