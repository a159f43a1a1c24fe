// AdaptiveHuffman: a code that follows what it has coded, equally in writer and reader.
//
// Every symbol starts with weight 1; coding it raises its weight and keeps the tree in order, so
// frequent symbols get short codes. No table is ever stored. Weights are halved when their sum
// reaches 32768, which bounds a code at 22 bits.
//
// Cost: a few steps a bit of the code, up and down. Holds about 4 KiB. Serves one thread.

#pragma once

#include <array>
#include <cstdint>

namespace Zef {

class AdaptiveHuffman {
 public:
  static constexpr std::uint32_t kMaxSymbols = 274;
  static constexpr std::uint32_t kMaxCodeBits = 22;

  struct Code {
    std::uint32_t bits;  ///< the bit next to the root lowest
    std::uint32_t length;
  };
  struct Found {
    std::uint32_t symbol;
    std::uint32_t length;  ///< of its code, in bits
  };

  /// An odd number of symbols is rounded up; the further symbol has a code that nothing uses.
  explicit AdaptiveHuffman(std::uint32_t symbols);

  /// Code of a symbol at this moment.
  Code Find(std::uint32_t symbol) const {
    Code code{0, 0};
    for (std::uint32_t node = parents_[LeafEntry(symbol)]; node != root_; node = parents_[node]) {
      code.bits = (code.bits << 1) | (node & 1);
      ++code.length;
    }
    return code;
  }

  /// The symbol whose code the low end of `bits` holds.
  Found Read(std::uint64_t bits) const {
    std::uint32_t entry = children_[root_];
    std::uint32_t length = 0;
    for (; entry < kFirstLeafEntry; ++length, bits >>= 1) {
      entry = children_[entry + (static_cast<std::uint32_t>(bits) & 1)];
    }
    return {(entry - kFirstLeafEntry) / 2, length};
  }

  /// Raises the weight of a symbol that was written or read.
  void Update(std::uint32_t symbol) {
    if (weights_[root_] >= kRebuildWeight) Rebuild();
    std::uint32_t node = parents_[LeafEntry(symbol)];
    for (;; node = parents_[node]) {
      const std::uint16_t weight = ++weights_[node];
      if (weights_[node + 1] < weight) node = MoveUp(node, weight);
      if (node == root_) return;
    }
  }

 private:
  static constexpr std::uint16_t kRebuildWeight = 32768;
  static constexpr std::uint16_t kSentinelWeight = 0xFFFF;
  static constexpr std::uint32_t kMaxNodes = 2 * kMaxSymbols - 1;
  // An entry is the even number of the first of two child nodes, or stands for a leaf. Leaves take
  // two numbers as well, so that the parent of whatever an entry names is set in one way.
  static constexpr std::uint32_t kFirstLeafEntry = kMaxNodes + 1;

  static constexpr std::uint32_t LeafEntry(std::uint32_t symbol) {
    return kFirstLeafEntry + 2 * symbol;
  }
  void SetEntry(std::uint32_t node, std::uint32_t entry) {
    children_[node] = static_cast<std::uint16_t>(entry);
    parents_[entry] = parents_[entry + 1] = static_cast<std::uint16_t>(node);
  }
  std::uint32_t MoveUp(std::uint32_t node, std::uint16_t weight);
  void Rebuild();
  void JoinPairs();

  std::uint32_t leaves_;
  std::uint32_t root_;
  // Nodes lie in order of weight; behind the root stands a weight that none reaches.
  std::array<std::uint16_t, kMaxNodes + 1> weights_;
  std::array<std::uint16_t, kMaxNodes + 1> children_;
  // By number of a node, or by entry of a leaf: then the node that holds it.
  std::array<std::uint16_t, kFirstLeafEntry + 2 * kMaxSymbols> parents_;
};

}  // namespace Zef
