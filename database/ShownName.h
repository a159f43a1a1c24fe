// ShownName: the order in which people see assets.
//
// By user name, else by name, through a collation in which letters of either case come first,
// then the other bytes, then control characters. A name without storage sorts before an empty
// one, and that before all others. Stable: equal names keep their order.

#pragma once

#include <vector>

class MUKAsset;

/// -1, 0 or 1.
int CompareShownNames(const MUKAsset& a, const MUKAsset& b);

/// Sorts records by shown name. Cost: compares of 8-byte prefixes, whole names only on a tie.
void SortByShownName(std::vector<MUKAsset*>& records);
