// The three words at the start of an index file, shared by its readers.

#pragma once

#include "database/MUKAssetIndex.h"
#include "kernel/standard/File.h"

inline constexpr std::size_t kIndexHeaderSize = 12;

/// Checks the header words in their order and fills the report's sizes.
IndexDamage ReadIndexHeader(Zef::File& file, IndexLoadReport& report);
