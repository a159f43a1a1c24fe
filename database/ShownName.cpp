#include "database/ShownName.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
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

constexpr std::size_t kSpan = 16;

/// Weights from `from` on, eight of them, most significant first. No weight is 0, so the padding
/// of a shorter name sorts it first.
std::uint64_t Weights(std::string_view name, std::size_t from) {
  std::uint64_t weights = 0;
  for (std::size_t i = from; i < from + 8; ++i) {
    weights = (weights << 8) | (i < name.size() ? Weight(name[i]) : 0u);
  }
  return weights;
}

/// A record with the next weights of its name, so that a comparison does not look at the record.
struct SortKey {
  std::uint64_t first;
  std::uint64_t second;
  MUKAsset* record;

  void TakeWeights(std::size_t from) {
    const AssetText& text = record->ShownName();
    first = Weights(text.View(), from);
    second = Weights(text.View(), from + 8);
    if (from == 0 && first == 0 && text.HasStorage()) second = 1;  // behind names without storage
  }
  bool NameGoesOn() const { return (second & 0xFF) != 0 && first != 0; }
  bool SameWeights(const SortKey& b) const { return first == b.first && second == b.second; }
  friend bool operator<(const SortKey& a, const SortKey& b) {
    return a.first != b.first ? a.first < b.first : a.second < b.second;
  }
};

/// Keys whose names are alike up to a place.
struct Run {
  std::span<SortKey> keys;
  std::size_t from;
};

/// Sorts by the next weights; what they leave undecided is left to further runs.
void SortRun(const Run& run, std::vector<Run>& undecided) {
  for (SortKey& key : run.keys) key.TakeWeights(run.from);
  if (!std::is_sorted(run.keys.begin(), run.keys.end())) {
    std::stable_sort(run.keys.begin(), run.keys.end());
  }
  for (std::size_t start = 0, end = 0; start < run.keys.size(); start = end) {
    while (end < run.keys.size() && run.keys[end].SameWeights(run.keys[start])) ++end;
    if (end - start > 1 && run.keys[start].NameGoesOn()) {
      undecided.push_back({run.keys.subspan(start, end - start), run.from + kSpan});
    }
  }
}

}  // namespace

void SortByShownName(std::vector<MUKAsset*>& records) {
  std::vector<SortKey> keys(records.size());
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i].record = records[i];
  std::vector<Run> runs{{keys, 0}};
  while (!runs.empty()) {
    const Run run = runs.back();
    runs.pop_back();
    SortRun(run, runs);
  }
  for (std::size_t i = 0; i < keys.size(); ++i) records[i] = keys[i].record;
}
