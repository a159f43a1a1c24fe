// ScanItem: one folder in an asset's place, on its way from the disk to the index.
//
// The walk over a product makes items, ReadScanItem reads their folders on whatever thread, and
// ContentScan enters them in the order of the walk. Reading touches no index. An item that has
// been read holds no tags, unless its record only has to be joined to one that is held.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_set>

#include "database/AssetUpdate.h"
#include "database/ConfigReader.h"
#include "database/MUKAsset.h"
#include "database/ScanReport.h"
#include "kernel/platform/FolderReader.h"

enum class ScanMode { Legacy = 0, Local = 1, Editing = 2 };

struct ScanItem {
  // What the walk says.
  std::string base;
  std::string folder;  ///< below `base`, which is below the root
  std::string disk;    ///< path on disk
  ScanMode mode = ScanMode::Legacy;
  std::shared_ptr<const Zef::Platform::FolderReader> parent;  ///< null: opened by `disk`
  bool isRead = false;   ///< `outcome` stands already; there is nothing to read
  std::size_t done = 0;  ///< for the progress callback
  std::size_t total = 0;

  // What was found; Found means that the record can be entered.
  ScanOutcome outcome = ScanOutcome::Unreadable;
  bool partlyMeasured = false;
  MUKAsset record;
  AssetRelations relations;
  TagContainer config;  ///< of a known identifier, whose record is not filled in; null if large

  std::string Path() const;
};

/// `folder` and `name` with a '/' between, where both are there.
std::string JoinPath(std::string_view folder, std::string_view name);

/// Scratch memory of one thread.
struct ScanScratch {
  ConfigReader configs;
  Zef::Platform::FolderListing entries;
};

/// Reads the item's folder. `known` are identifiers that the index holds; `markBuiltIn` marks
/// legacy records as the product's own content.
void ReadScanItem(ScanItem& item, ScanScratch& scratch, const std::unordered_set<PLID>& known,
                  bool markBuiltIn);
