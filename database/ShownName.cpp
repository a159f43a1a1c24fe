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

constexpr std::size_t kPrefix = 16;

/// Weights from `from` on, eight of them, most significant first. No weight is 0, so the padding
/// of a shorter name sorts it first.
std::uint64_t Weights(std::string_view name, std::size_t from) {
  std::uint64_t weights = 0;
  for (std::size_t i = from; i < from + 8; ++i) {
    weights = (weights << 8) | (i < name.size() ? Weight(name[i]) : 0u);
  }
  return weights;
}

/// The first sixteen weights spare the comparison most looks at the records themselves.
struct SortKey {
  std::uint64_t first;
  std::uint64_t second;
  MUKAsset* record;
};

/// Compares names that are alike up to `from`.
int CompareFrom(std::size_t from, const MUKAsset& a, const MUKAsset& b) {
  const AssetText& textA = a.ShownName();
  const AssetText& textB = b.ShownName();
  if (textA.HasStorage() != textB.HasStorage()) return textA.HasStorage() ? 1 : -1;
  const std::string_view nameA = textA.View();
  const std::string_view nameB = textB.View();
  const std::size_t common = std::min(nameA.size(), nameB.size());
  for (std::size_t i = from; i < common; ++i) {
    const int difference = Weight(nameA[i]) - Weight(nameB[i]);
    if (difference != 0) return difference < 0 ? -1 : 1;
  }
  if (nameA.size() == nameB.size()) return 0;
  return nameA.size() < nameB.size() ? -1 : 1;
}

}  // namespace

int CompareShownNames(const MUKAsset& a, const MUKAsset& b) { return CompareFrom(0, a, b); }

void SortByShownName(std::vector<MUKAsset*>& records) {
  std::vector<SortKey> keys;
  keys.reserve(records.size());
  for (MUKAsset* record : records) {
    const std::string_view name = record->ShownName().View();
    keys.push_back({Weights(name, 0), Weights(name, 8), record});
  }
  const auto before = [](const SortKey& a, const SortKey& b) {
    if (a.first != b.first) return a.first < b.first;
    if (a.second != b.second) return a.second < b.second;
    return CompareFrom(kPrefix, *a.record, *b.record) < 0;
  };
  if (std::is_sorted(keys.begin(), keys.end(), before)) return;
  std::stable_sort(keys.begin(), keys.end(), before);
  for (std::size_t i = 0; i < keys.size(); ++i) records[i] = keys[i].record;
}
