// AssetRollback: takes back an operation that was to make an asset present.
//
// Remembers the record as it was before, so that a failed installation or clone leaves the index as
// it found it. Under the exclusive guard of the running database, from the start of the operation
// to its end. Nothing throws but std::bad_alloc.

#pragma once

#include "database/MUKAsset.h"
#include "tagdata/PLID.h"

class AssetRollback {
 public:
  /// Of an asset that is not open for edit, and may be unknown.
  explicit AssetRollback(const PLID& id);
  /// Unless the operation is done: deletes the working folder, of an asset that was not present all
  /// its folders, and of one that was unknown the record.
  ~AssetRollback();
  AssetRollback(const AssetRollback&) = delete;
  AssetRollback& operator=(const AssetRollback&) = delete;

  void Done() { isDone_ = true; }

 private:
  void Run();

  PLID id_;
  MUKAsset before_;
  bool isKnown_;
  bool isDone_ = false;
};
