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

/// What a message says of files that were not written, when no better reason is known.
inline constexpr const char* kNotWritten =
    "they could not be written, maybe for want of room on the disk";

/// Copies into `target`, an existing folder of the system, in which nothing may have the names of
/// what is copied. Empty, or for a message why it ended at the first entry that is refused or
/// fails, with what was copied so far in place. Throws nothing but std::bad_alloc.
[[nodiscard]] std::string CopyAssetFolder(const AssetPlace& source, const std::string& target);
