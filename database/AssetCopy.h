// AssetCopy: copies the folder of an asset, from disk or out of a mounted archive.
//
// Every name must obey the rules for files of assets (FileRules.h); those of picture viewers are
// left out. Links are not followed: one refuses the copy, and so does whatever is neither file nor
// folder. Write times are kept, permissions are not: a copy can be edited. Files below a
// substitution are unpacked.
//
// Cost: one pass; on disk the system copies, and shares blocks where it can. Any thread may call.

#pragma once

#include <string>

struct AssetPlace;
struct AssetWalkFault;

/// Copies into `target`, an existing folder of the system, in which nothing may have the names of
/// what is copied. False at the first entry that is refused or fails, with what was copied so far
/// in place. Throws nothing but std::bad_alloc.
/// `fault` may be null: it receives what the copy ended at, if that was an entry of the source.
[[nodiscard]] bool CopyAssetFolder(const AssetPlace& source, const std::string& target,
                                   AssetWalkFault* fault = nullptr);
/// What a message says of a copy that failed.
[[nodiscard]] std::string CopyFaultText(const AssetWalkFault& fault);
