// AssetArt: finds the pictures by which assets are shown.
//
// Names of pictures come from configs; one that leads out of the asset's folder finds nothing.
// Links are not followed below it. Work on the running database and take a guard; any thread may
// call. Nothing throws but std::bad_alloc.

#pragma once

#include <string>

#include "database/AssetFolder.h"
#include "tagdata/PLID.h"

/// The picture that was fetched for an asset, a path of the system; empty when there is none.
[[nodiscard]] std::string MUKFindThumbnail(const PLID& id);
/// The preview among an asset's own files: of a texture the picture that its config names, of all
/// others the large art texture or the icon. Nowhere when there is none.
[[nodiscard]] AssetPlace MUKFindArt(const PLID& id);
