// IndexFiles: index files and patch sets as command lines name them.

#pragma once

#include <string>
#include <string_view>

#include "apps/quarle/Output.h"
#include "database/MUKAssetIndex.h"

/// A path that is a file name and nothing else: a relative one whose first folder holds a ':'
/// gets "./" in front, so that it is not taken for a mounted source.
std::string ExactPath(const std::string& path);
/// ExactPath with a closing slash.
std::string FolderPath(const std::string& path);

/// What the files of a set are called, up to their extensions.
std::string SetStem(const std::string& set, const std::string& indexName);

/// Loads an index, showing progress. False, with the failure's line printed, when it does not.
[[nodiscard]] bool LoadIndex(const std::string& path, const CommonOptions& common,
                             MUKAssetIndex& index, IndexLoadReport* report = nullptr,
                             IndexLoadOptions options = {});

/// One line: which file does not load, why, and what to do.
std::string LoadFailure(const std::string& path, const IndexLoadReport& report);
/// Why it does not load, with the place in the file where that is known.
std::string DamageText(const std::string& path, const IndexLoadReport& report);
