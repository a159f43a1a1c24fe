// IndexHost: what an asset index asks of the database that runs it.
//
// A private index has no host: it then logs nothing, stamps nothing, reads no configs and touches
// no file but the one it is told to. Called on the thread that uses the index, under whatever
// guard that thread holds.

#pragma once

#include <cstdint>
#include <vector>

#include "tagdata/PLID.h"

class MUKAsset;

class IndexHost {
 public:
  virtual ~IndexHost() = default;

  /// The index was used: a busy database is not written while it is being read.
  virtual void Touch() = 0;
  /// Something changed; `mask` says what kind (bit 0 general, bit 1 size information).
  virtual void MarkChanged(std::uint32_t mask) = 0;
  /// A save is about to begin: the time to bring the settings file up to date.
  virtual void BeforeSave() = 0;
  /// Seconds since 1970.
  virtual std::int64_t UnixTime() = 0;
  /// The identifiers that the asset's config declares obsolete; empty without a readable config.
  virtual std::vector<PLID> ReadObsoleteList(const MUKAsset& asset) = 0;
  /// The next free identifier of the local user.
  virtual PLID NextLocalId() = 0;
};
