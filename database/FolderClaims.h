// FolderClaims: whose a folder is.
//
// Paths in records come from users, from files that others wrote and from before a crash: two
// records may name one folder, one around the other or one in it, in any spelling and by any road.
// Whoever fills, replaces, moves or deletes a folder asks here first, so that no asset gets the
// files of another, or loses its own to it.
//
// A record claims the folders of all its paths. Of paths that differ in letter case alone the disk
// tells whether they lead to one folder; while either leads nowhere they pass for one. No asset
// lies less than two parts below the product root: a path that ends there claims nothing, or it
// would claim all assets below. Nor does one claim anything that leads nowhere by its text.
//
// Cost: one walk over the records that allocates nothing, with a look at the disk only for working
// folders outside the product root and for other letter cases; one config where there is a claim.
// Under whatever guards the index. Nothing throws but std::bad_alloc.

#pragma once

#include <string>

#include "database/AssetFolder.h"
#include "tagdata/PLID.h"

class MUKAssetIndex;

/// A place below a substitution as a path of the system, if it is a folder on disk below the
/// product root, which `mayChange` wants writable; else as it was.
[[nodiscard]] AssetPlace OnDisk(const std::string& root, const AssetPlace& place, bool mayChange);

/// Whether two places are one folder, or one lies in the other, as their paths say.
[[nodiscard]] bool Overlap(const AssetPlace& a, const AssetPlace& b);
/// Whether two places lead to the same folder, which is there.
[[nodiscard]] bool IsSameFolder(const AssetPlace& a, const AssetPlace& b);

/// The identifier in the config of a folder; null without one.
[[nodiscard]] PLID IdInFolder(const AssetPlace& folder);

/// What records but one name of a folder.
struct FolderClaims {
  bool around = false;  ///< the folder, or one that it lies in
  bool within = false;  ///< one in it

  bool Any() const { return around || within; }
};
/// All false for a place that is no folder on disk. Another record of the same identifier, as an
/// index that others wrote may hold, is no other asset's.
[[nodiscard]] FolderClaims ClaimsOfOthers(const std::string& root, const MUKAssetIndex& index,
                                          const MUKAsset& record, const AssetPlace& folder);

enum class FolderOwner {
  Record,  ///< nobody else claims it, or its config names the record and no other asset lies in it
  Shared,  ///< its config names the record, but another asset lies in it
  Other,
};
[[nodiscard]] FolderOwner OwnerOf(const std::string& root, const MUKAssetIndex& index,
                                  const MUKAsset& record, const AssetPlace& folder);

/// Why what lies in a place of a record is not to be copied, for messages; empty when it may be.
[[nodiscard]] std::string CopyRefusal(const std::string& root, const MUKAssetIndex& index,
                                      const MUKAsset& record, const AssetPlace& place);

/// Clears the `editPath` of other records that claim the record's working folder: it was just made,
/// so they lost theirs.
void ForgetStaleClaims(const std::string& root, MUKAssetIndex& index, const MUKAsset& record);
