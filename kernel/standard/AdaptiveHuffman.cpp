#include "kernel/standard/AdaptiveHuffman.h"

#include <cstring>

namespace Zef {

AdaptiveHuffman::AdaptiveHuffman(std::uint32_t symbols)
    : leaves_((symbols + 1) & ~1u), root_(2 * leaves_ - 2), weights_{}, children_{}, parents_{} {
  for (std::uint32_t symbol = 0; symbol < leaves_; ++symbol) {
    weights_[symbol] = 1;
    SetEntry(symbol, LeafEntry(symbol));
  }
  for (std::uint32_t node = leaves_; node <= root_; ++node) {
    const std::uint32_t pair = 2 * (node - leaves_);
    weights_[node] = static_cast<std::uint16_t>(weights_[pair] + weights_[pair + 1]);
    SetEntry(node, pair);
  }
  weights_[root_ + 1] = kSentinelWeight;
}

// The node changes places with the last one that is lighter now; all between weigh the same. That
// is never its parent, which weighs at least one more than the node did.
std::uint32_t AdaptiveHuffman::MoveUp(std::uint32_t node, std::uint16_t weight) {
  std::uint32_t last = node + 1;
  while (weights_[last + 1] < weight) ++last;
  weights_[node] = weights_[last];
  weights_[last] = weight;
  const std::uint32_t entry = children_[node];
  SetEntry(node, children_[last]);
  SetEntry(last, entry);
  return last;
}

void AdaptiveHuffman::Rebuild() {
  std::uint32_t kept = 0;
  for (std::uint32_t node = 0; node <= root_; ++node) {
    if (children_[node] < kFirstLeafEntry) continue;
    weights_[kept] = static_cast<std::uint16_t>((weights_[node] + 1) / 2);
    children_[kept++] = children_[node];
  }
  JoinPairs();
  for (std::uint32_t node = 0; node <= root_; ++node) SetEntry(node, children_[node]);
}

// Gives the leaves, which lie in order of weight, their inner nodes; the sum of a pair goes behind
// all nodes that weigh as much.
void AdaptiveHuffman::JoinPairs() {
  std::uint32_t pair = 0;
  for (std::uint32_t count = leaves_; count <= root_; ++count, pair += 2) {
    const auto sum = static_cast<std::uint16_t>(weights_[pair] + weights_[pair + 1]);
    std::uint32_t place = count;
    while (weights_[place - 1] > sum) --place;
    const std::size_t moved = (count - place) * sizeof(std::uint16_t);
    std::memmove(&weights_[place + 1], &weights_[place], moved);
    std::memmove(&children_[place + 1], &children_[place], moved);
    weights_[place] = sum;
    children_[place] = static_cast<std::uint16_t>(pair);
  }
}

}  // namespace Zef
