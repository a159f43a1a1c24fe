// PackageFolder: an asset's folder as the container that a package takes in.
//
//   TagContainer asset;
//   if (ReadAssetFolder(package, folder, asset, log)) error = package.Add(asset);
//
// Any thread may call.

#pragma once

#include <cstdint>

#include "tagdata/TagContainer.h"

class MUKPackage;
class ResultsLog;
struct AssetPlace;

/// The config in a folder as a tree of its own, without a tag "files": that name belongs to the
/// folder's content. False, with a null handle and the reason in `log`, which may be null, when
/// there is none that can be read, or two. `lost`, unless null, grows by what reading it left
/// behind.
[[nodiscard]] bool LoadFolderConfig(const AssetPlace& folder, TagContainer& config, ResultsLog* log,
                                    std::uint64_t* lost = nullptr);

/// Config and files of a folder. False, with a null handle and the reason in `log`, when that
/// config cannot be had or a file cannot be taken.
[[nodiscard]] bool ReadAssetFolder(const MUKPackage& package, const AssetPlace& folder,
                                   TagContainer& asset, ResultsLog* log);
