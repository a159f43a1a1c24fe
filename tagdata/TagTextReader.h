// TagTextReader: reads the tag form that people write by hand, such as "config.txt".
//
// Reading never fails: whatever the text holds becomes tags. It takes one pass over the bytes,
// linear for any input, without recursion; values are copied, so the text may go afterwards.
// docs/format-tagtext.md has the rules.
//
// Not for text from which nothing may be lost: keys are folded, repeated ones replaced, long
// numbers cut, blocks below kMaxTagDepth passed over. TagTextLosses counts what is not read.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tagdata/TagContainer.h"

/// What becomes of a tag.
enum class TagUse {
  Drop,    ///< it is passed over, and its key not interned
  Keep,    ///< it is stored
  Number,  ///< it is stored under a number in place of its key; one of kMostNumbered in a block
};
inline constexpr std::size_t kMostNumbered = 65536;

/// Asked for each outermost tag, with an empty `block`, and for each tag in an outermost block that
/// is kept, with the key of that block. Blocks further in come out empty.
using TagFilter = TagUse (*)(std::string_view block, std::string_view key);

/// What a text says and its tree does not.
struct TagTextLosses {
  std::uint64_t bytesLeft = 0;  ///< behind a top-level "}" or a zero byte, which ends the text
  std::uint64_t replaced = 0;   ///< tags that gave way to a later one of their key
  std::uint64_t cut = 0;        ///< keys and values of which a part is not read
  std::uint64_t tooDeep = 0;    ///< outermost blocks of those below kMaxTagDepth, with all in them

  bool Any() const { return (bytesLeft | replaced | cut | tooDeep) != 0; }
};

/// Replaces the tree by that of a whole file in memory. Without the UTF-8 mark at its start the
/// text is in the code page; the values made are UTF-8. A text without tags gives a null handle.
/// With a filter only what it wants is stored, at less than half the cost; memory and string pool
/// then grow no more than it lets them, whatever keys the text has.
/// `losses` may be null; it tells nothing of what a filter drops.
void ReadTagText(TagContainer& out, std::string_view bytes, TagFilter filter = nullptr,
                 TagTextLosses* losses = nullptr);
