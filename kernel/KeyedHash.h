// KeyedHash: hashes for tables whose keys come from outside.
//
// The key is drawn once per process, so nobody can choose content that falls into one chain or
// one run of slots. Values differ from run to run: they must never reach a file or an order that
// shows. Cost: one wide multiplication for sixteen bytes. Any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "kernel/platform/System.h"

namespace Zef {

struct HashKey {
  std::uint64_t words[2];
};

/// The process's key.
inline const HashKey& TheHashKey() {
  static const HashKey key = {{Platform::RandomWord(), Platform::RandomWord()}};
  return key;
}

/// Both halves of the 128-bit product, folded.
inline std::uint64_t FoldedProduct(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t KeyedHash(std::uint64_t a, std::uint64_t b) {
  const HashKey& key = TheHashKey();
  return FoldedProduct(FoldedProduct(a ^ key.words[0], b ^ key.words[1]) ^ key.words[1],
                       key.words[0] | 1);
}

inline std::uint64_t KeyedHash(std::string_view text) {
  const HashKey& key = TheHashKey();
  std::uint64_t hash = key.words[1] ^ text.size();
  for (; text.size() > 16; text.remove_prefix(16)) {
    std::uint64_t pair[2];
    std::memcpy(pair, text.data(), sizeof pair);
    hash = FoldedProduct(pair[0] ^ key.words[0], pair[1] ^ hash);
  }
  std::uint64_t pair[2] = {0, 0};
  if (!text.empty()) std::memcpy(pair, text.data(), text.size());
  hash = FoldedProduct(pair[0] ^ key.words[0], pair[1] ^ hash);
  return FoldedProduct(hash ^ key.words[1], key.words[0] | 1);
}

/// For unordered containers keyed by texts.
struct KeyedTextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return KeyedHash(text); }
};

}  // namespace Zef
