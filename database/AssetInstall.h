// AssetInstall: takes assets out of packages and folders into the product.
//
// Each goes through a working folder and a commit, so whatever instant a process dies at, an asset
// is installed whole or not at all. Work on the running database under the exclusive guard and tell
// their user in `log`, which may be null (AssetMessages.h). Any thread may call. Nothing throws but
// std::bad_alloc.

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tagdata/PLID.h"

class MUKPackage;
class ResultsLog;
class TagContainer;
struct AssetPlace;

/// Flags of an installation.
inline constexpr std::uint32_t kInstallOverwrite = 1;
inline constexpr std::uint32_t kInstallBinaryConfig = 4;  ///< "config.grole" instead of ".txt"

/// Called while files come out of a package, and after each asset, with what is done of all there
/// is. Must not throw.
using InstallProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Installs an asset, a container of `package`. False when it was not installed, for whatever
/// reason the log has.
bool MUKInstallAsset(const TagContainer& asset, const MUKPackage& package, ResultsLog* log,
                     std::uint32_t flags = 0);
/// Installs an asset from its folder, which stays as it is.
bool MUKInstallFolder(const AssetPlace& folder, ResultsLog* log, std::uint32_t flags = 0);
/// Installs all assets of a ".kpx" file, or the asset whose config file is named; both paths of the
/// system. False unless all were installed.
bool MUKInstallFile(const std::string& path, ResultsLog* log, std::uint32_t flags = 0,
                    const InstallProgress& progress = {});
