// AssetId: asset identifiers as command lines name them.

#pragma once

#include <string>

#include "tagdata/PLID.h"

/// The identifier that a text means, in any spelling. False, with the line of wrong usage printed,
/// for a text that is none.
[[nodiscard]] bool ParseAssetId(const std::string& text, PLID* id);
