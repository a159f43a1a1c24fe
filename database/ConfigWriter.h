// ConfigWriter: writes the config of an asset whose folder is being made.
//
// Configs of packages come from others, who may have made tags that no file form holds, or that
// mean something else once they were written. So what was written is read again, the way every
// later look at the asset will read it.
//
// Nothing here throws but std::bad_alloc. Any thread may call.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"

struct TagTextLosses;

/// The tag in which a package holds an asset's folder; all others are those of its config.
inline constexpr std::string_view kFilesTag = "files";

/// A new container with the tags of another one, all but those of a key. The nodes are shared.
TagContainer TagsWithout(const TagContainer& source, std::string_view key);

enum class ConfigForm { Text, Binary };

/// Makes `config` the one config of a folder, a path of the system: "config.txt", or "config.grole"
/// in the binary form. False, with neither file or a damaged one, when it could not be written or
/// does not read as the config of `id`. `lost` may be null: it grows by the number of tags that are
/// not there when it is read again, or without their value, as the text form cannot hold all.
[[nodiscard]] bool WriteConfig(const TagContainer& config, const std::string& folder,
                               ConfigForm form, const PLID& id, std::uint64_t* lost = nullptr);

/// The number of things that reading a config text left behind, and a rewrite drops.
[[nodiscard]] std::uint64_t CountLosses(const TagTextLosses& losses);
