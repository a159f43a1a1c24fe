#include "kernel/standard/PairCoder.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Zef::PairCoder;

std::optional<Bytes> Decode(const Bytes& coded, std::size_t capacity = 16384) {
  Bytes to(capacity);
  const auto size = PairCoder::Decode(to.data(), static_cast<std::uint32_t>(capacity), coded.data(),
                                      static_cast<std::uint32_t>(coded.size()));
  if (!size) return std::nullopt;
  to.resize(*size);
  return to;
}

Bytes Encode(const Bytes& source) {
  Bytes to(source.size());
  const auto size = static_cast<std::uint32_t>(source.size());
  to.resize(PairCoder().Encode(to.data(), source.data(), size));
  return to;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes Repeat(const Bytes& unit, int count) {
  Bytes result;
  for (int i = 0; i < count; i++) result = result + unit;
  return result;
}

// Twelve of each in turns, with bytes between that occur once.
Bytes Pairs(const Bytes& first, const Bytes& second) {
  Bytes result;
  for (std::uint8_t i = 0; i < 24; i++) {
    result = result + (i % 2 == 0 ? first : second) + Bytes{static_cast<std::uint8_t>(128 + i)};
  }
  return result;
}

TEST(PairCoder, OutputIsTheDocumentedBytes) {
  const std::pair<Bytes, Bytes> cases[] = {
      // Codes from 254 down, each doubling the one before; 128 + 123 plain codes, four rows.
      {Repeat({'a', 'b'}, 16),
       {255, 250, 3, 252, 252, 253, 253, 254, 254, 'a', 'b', 128, 0, 2, 251, 251}},
      // 253 is in use and stands between changed rows: one byte bridges it.
      {Repeat({'a', 253}, 16),
       {255, 249, 4, 251, 251, 252, 252, 254, 254, 253, 'a', 253, 128, 0, 2, 250, 250}},
      // Equal counts: (b,b) lies in slot 0xC22 and wins over (a,a) in 0xC41.
      {Pairs({'a', 'a'}, {'b', 'b'}),
       Bytes{255, 252, 1, 'a', 'a', 'b', 'b', 128, 0, 48} + Pairs({253}, {254})},
      {{}, {}}};
  for (const auto& [source, coded] : cases) {
    EXPECT_EQ(Encode(source), coded);
    EXPECT_EQ(Decode(coded, source.size()), source);
    EXPECT_TRUE(source.empty() || Decode(coded, source.size() - 1) == std::nullopt);
  }
  const Bytes stored = Pairs({'a'}, {'b'});
  EXPECT_EQ(Encode(stored), stored) << "what does not shrink stays as it is";
}

TEST(PairCoder, DecoderRefusesWhatIsMalformed) {
  const std::pair<const char*, Bytes> cases[] = {
      {"ends before the table does", {255}},
      {"ends inside a row", {0}},
      {"ends between left and right", {0, 1}},
      {"plain run past 255", {255, 254, 129, 0, 0}},
      {"rows past 255", {255, 254, 1, 255, 0, 0, 0}},
      {"no length", {255, 255}},
      {"half a length", {255, 255, 0}},
      {"data past the block", {255, 255, 0, 2, 'x'}},
      {"second page cut", {255, 255, 0, 1, 'x', 255}},
      {"cycle that deepens the stack", {1, 1, 1, 0, 0, 255, 253, 0, 1, 0}},
      {"cycle that emits for ever", {0, 2, 0, 255, 254, 0, 1, 0}}};
  for (const auto& [what, coded] : cases) EXPECT_EQ(Decode(coded), std::nullopt) << what;
}

}  // namespace
