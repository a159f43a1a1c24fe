// AssetEdit: opening assets for edit, committing, reverting and deleting them.
//
// An installed asset's folder is read-only by custom. Opening for edit copies it to a working
// folder below "editing"; a commit makes that the installed state, below "local". Nothing that a
// user typed is lost: a failed commit leaves the working folder, and whatever instant a process
// dies at, an asset's folder is the whole old or the whole new one. docs/asset-life.md tells of the
// states.
//
// Work on the running database, under its guard from beginning to end, files included. Tell their
// user by keyed messages (AssetMessages.h) in `log`, which may be null. Any thread may call.
// Nothing throws but std::bad_alloc.

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tagdata/PLID.h"

class ResultsLog;
struct AssetPlace;

/// An asset that was opened. Names it and holds nothing: look the record up under a guard.
struct MUKAssetHandle {
  PLID id;
  bool forEdit = false;

  bool IsNull() const { return id.IsNull(); }
};

/// For edit: makes the working folder unless there is one. To read: only looks whether there is
/// something committed. A null handle when that fails, and for an unknown asset.
[[nodiscard]] MUKAssetHandle MUKOpenAsset(const PLID& id, bool forEdit, ResultsLog* log);

/// Flags of a commit.
inline constexpr std::uint32_t kCommitKeepWorkingFolder = 1;
/// An asset of the older layout below "local" becomes one of the present layout.
inline constexpr std::uint32_t kCommitUpgradeLocation = 2;

/// Makes the working folder the installed state. False, with all files as they were, when it may
/// not be committed or its files break the rules; an asset whose working folder turns out to be
/// another's is no longer open for edit then.
[[nodiscard]] bool MUKCommitAssetEdits(const PLID& id, ResultsLog* log, std::uint32_t flags = 0);

/// Deletes the working folder; an asset without another place on disk is then deleted. False for a
/// handle that is null or not for edit, and when the folder could not be deleted.
[[nodiscard]] bool MUKRevertAssetEdits(const MUKAssetHandle& handle);

/// Deletes the asset's folders; those of built-in content stay, but for the working folder, and so
/// does what lies in an archive. With `forget` a record that neither catalogue, archive nor product
/// holds goes too. Of an index that others wrote all records of the identifier count.
void MUKDeleteAsset(const PLID& id, bool forget);

/// Writes "KeywordsDump.dat" below the product root: the keywords of all assets, in the text form.
[[nodiscard]] bool MUKDumpKeywords();

/// Judges a committed asset's folder: false marks it faulty. Called under the exclusive guard; must
/// not throw. An empty function, as at first, passes everything. Only a commit asks: a recovery
/// leaves the mark as it was.
using AssetValidator = std::function<bool(const AssetPlace& folder)>;
void SetAssetValidator(AssetValidator validator);
