// ShownName: the order in which people see assets.
//
// By user name, else by name, through a collation in which letters of either case come first,
// then the other bytes, then control characters. A name without storage sorts before an empty
// one, and that before all others. Stable: equal names keep their order.

#pragma once

#include <vector>

class MUKAsset;

/// Sorts records by shown name. Looks at 16 bytes of each name, and at more only of names that
/// are alike so far.
void SortByShownName(std::vector<MUKAsset*>& records);
