// TagTextReader: reads the tag form that people write by hand, such as "config.txt".
//
// Reading never fails: whatever the text holds becomes tags. It takes one pass over the bytes,
// linear for any input, without recursion; values are copied, so the text may go afterwards.
// docs/format-tagtext.md has the rules.
//
// Not for text from which nothing may be lost: keys are folded, repeated ones replaced, long
// numbers cut, blocks below kMaxTagDepth passed over. TagTextLosses counts what is not read.

#pragma once

#include <cstdint>
#include <string_view>

#include "tagdata/TagContainer.h"

/// Whether what an outermost block of this key holds is of interest.
using TagBlockFilter = bool (*)(std::string_view key);

/// What a text says and its tree does not.
struct TagTextLosses {
  std::uint64_t bytesLeft = 0;  ///< behind a "}" at the top level, which ends the text
  std::uint64_t replaced = 0;   ///< tags that gave way to a later one of their key
  std::uint64_t cut = 0;        ///< keys and values of which a part is not read
  std::uint64_t tooDeep = 0;    ///< outermost blocks of those below kMaxTagDepth, with all in them

  bool Any() const { return (bytesLeft | replaced | cut | tooDeep) != 0; }
};

/// Replaces the tree by that of a whole file in memory. Without the UTF-8 mark at its start the
/// text is in the code page; the values made are UTF-8. A text without tags gives a null handle.
/// With a filter the blocks that it refuses come out empty, at half the cost. `losses` may be null;
/// it tells nothing of refused blocks.
void ReadTagText(TagContainer& out, std::string_view bytes, TagBlockFilter isWanted = nullptr,
                 TagTextLosses* losses = nullptr);
