#include "database/ShownName.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "database/MUKAsset.h"

namespace {

constexpr std::array<std::uint8_t, 256> MakeWeights() {
  std::array<std::uint8_t, 256> weights{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const unsigned letter = (byte | 0x20u) - 'a';
    weights[byte] = static_cast<std::uint8_t>(byte < 32 ? 255 : byte);
    if (byte < 128 && letter < 26) weights[byte] = static_cast<std::uint8_t>(letter + 1);
  }
  return weights;
}

constexpr auto kWeights = MakeWeights();

std::uint8_t Weight(char character) { return kWeights[static_cast<unsigned char>(character)]; }

/// The first eight weights, most significant first. No weight is 0, so the padding of a shorter
/// name sorts it first.
std::uint64_t Prefix(std::string_view name) {
  std::uint64_t prefix = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    prefix = (prefix << 8) | (i < name.size() ? Weight(name[i]) : 0u);
  }
  return prefix;
}

struct SortKey {
  std::uint64_t prefix;
  MUKAsset* record;
};

}  // namespace

int CompareShownNames(const MUKAsset& a, const MUKAsset& b) {
  const AssetText& textA = a.ShownName();
  const AssetText& textB = b.ShownName();
  if (textA.HasStorage() != textB.HasStorage()) return textA.HasStorage() ? 1 : -1;
  const std::string_view nameA = textA.View();
  const std::string_view nameB = textB.View();
  const std::size_t common = std::min(nameA.size(), nameB.size());
  for (std::size_t i = 0; i < common; ++i) {
    const int difference = Weight(nameA[i]) - Weight(nameB[i]);
    if (difference != 0) return difference < 0 ? -1 : 1;
  }
  if (nameA.size() == nameB.size()) return 0;
  return nameA.size() < nameB.size() ? -1 : 1;
}

void SortByShownName(std::vector<MUKAsset*>& records) {
  std::vector<SortKey> keys;
  keys.reserve(records.size());
  for (MUKAsset* record : records) keys.push_back({Prefix(record->ShownName().View()), record});
  const auto before = [](const SortKey& a, const SortKey& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    return CompareShownNames(*a.record, *b.record) < 0;
  };
  if (std::is_sorted(keys.begin(), keys.end(), before)) return;
  std::stable_sort(keys.begin(), keys.end(), before);
  for (std::size_t i = 0; i < keys.size(); ++i) records[i] = keys[i].record;
}
