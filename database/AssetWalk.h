// AssetWalk: goes through all files of an asset's folder that the rules allow.
//
// Entries come in the order of their ASCII-folded names, so what is made of a folder repeats. Each
// is held against the file rules (FileRules.h) before it is shown, and the first one that breaks
// them ends the walk: a bad name or extension, a path of more than kLongestAssetPath bytes, a link,
// what is neither file nor folder, a name that differs from another one in letter case only, a
// folder that cannot be listed, or lies deeper than kDeepestAssetFolder. Ignored files are passed
// over. Nothing is followed out of the folder.
//
// One listing a folder. Throws nothing but what a visitor throws and std::bad_alloc.

#pragma once

#include <functional>
#include <string>

#include "database/AssetFolder.h"

class ResultsLog;

/// A file that a walk came to.
struct WalkedFile {
  const Zef::Platform::FolderReader* folder;  ///< null below a substitution
  const std::string& name;
  const AssetPlace& place;  ///< of the file
};

/// What a walk calls; an empty function is passed over.
struct AssetWalkVisitor {
  std::function<void(const std::string& name)> enterFolder;
  std::function<void()> leaveFolder;
  std::function<bool(const WalkedFile& file)> file;  ///< false ends the walk
};

/// Why a walk ended early: the key of an interface text, and what it is about. No key when it did
/// not, or a visitor ended it.
struct AssetWalkFault {
  const char* key = nullptr;
  AssetPlace place;
};

/// Tells of a fault that there is.
void TellOfFault(ResultsLog* log, const AssetWalkFault& fault);

/// `folderKey` is the key for a folder that cannot be listed.
[[nodiscard]] AssetWalkFault WalkAssetFolder(const AssetPlace& folder, const char* folderKey,
                                             const AssetWalkVisitor& visitor);
