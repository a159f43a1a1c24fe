// TagChanges: what became of a tag tree that went through a file.
//
// Compares the tree that was written with the one that reads back, tag by tag. The order of tags is
// not compared. Linear; of a container that is lost its own tags are not told.

#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

class TagContainer;

/// Receives one tag that is not what it was: its keys from the root on with "/" between, without
/// the middle where they are many, and what happened. Both are fit for a terminal.
using TagChangeFound = std::function<void(std::string_view path, std::string_view change)>;

/// Gives the number of changes.
std::size_t FindTagChanges(const TagContainer& before, const TagContainer& after,
                           const TagChangeFound& found);
