// TagTextReader: reads the tag form that people write by hand, such as "config.txt".
//
// Reading never fails: whatever the text holds becomes tags. It takes one pass over the bytes,
// linear for any input, without recursion; values are copied, so the text may go afterwards. Blocks
// below kMaxTagDepth are passed over. docs/format-tagtext.md has the rules.
//
// Not for text from which nothing may be lost: keys are folded, repeated ones replaced, long
// numbers cut.

#pragma once

#include <string_view>

#include "tagdata/TagContainer.h"

/// Whether what an outermost block of this key holds is of interest.
using TagBlockFilter = bool (*)(std::string_view key);

/// Replaces the tree by that of a whole file in memory. Without the UTF-8 mark at its start the
/// text is in the code page; the values made are UTF-8. A text without tags gives a null handle.
/// With a filter the blocks that it refuses come out empty, at half the cost.
void ReadTagText(TagContainer& out, std::string_view bytes, TagBlockFilter isWanted = nullptr);
