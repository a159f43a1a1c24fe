#include "kernel/standard/LZSSCompress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "kernel/standard/AdaptiveHuffman.h"

namespace {

using namespace Zef;
using Bytes = std::vector<std::uint8_t>;

Bytes Text(const char* text) { return {text, text + std::strlen(text)}; }

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class Sink : public ByteSink {
 public:
  bool Write(const void* from, std::uint32_t size) override {
    if (writesLeft-- <= 0) return false;
    const auto* const first = static_cast<const std::uint8_t*>(from);
    bytes.insert(bytes.end(), first, first + size);
    return true;
  }
  Bytes bytes;
  int writesLeft = 1 << 30;
};

using Step = bool (LZSSCompress::*)(const void*, std::size_t);

bool Feed(LZSSCompress& coder, Step step, const Bytes& data, std::size_t piece) {
  for (std::size_t at = 0; at < data.size(); at += piece) {
    if (!(coder.*step)(data.data() + at, std::min(piece, data.size() - at))) return false;
  }
  return true;
}

Bytes Pack(const Bytes& data, std::uint32_t level, std::size_t piece = 1 << 20) {
  const Ref<Sink> sink(new Sink);
  LZSSCompress coder;
  EXPECT_TRUE(coder.BeginCompress(sink, level));
  EXPECT_TRUE(Feed(coder, &LZSSCompress::Compress, data, piece) && coder.EndCompress());
  return sink->bytes;
}

struct Unpacked {
  Bytes bytes;
  LzssFinding finding = LzssFinding::Whole;
  friend bool operator==(const Unpacked&, const Unpacked&) = default;
};

Unpacked Unpack(const Bytes& packed, std::size_t piece) {
  const Ref<Sink> sink(new Sink);
  LZSSCompress coder;
  EXPECT_TRUE(coder.BeginDecompress(sink));
  const bool read = Feed(coder, &LZSSCompress::Decompress, packed, piece);
  EXPECT_EQ(read, coder.EndDecompress());
  return {sink->bytes, coder.Finding()};
}

// Into a block of exactly the size, so that a sanitizer sees a byte too many.
Unpacked UnpackBlock(const Bytes& packed, std::size_t capacity) {
  Bytes block(capacity);
  LZSSCompress coder;
  const std::size_t size = coder.Decompress(block.data(), capacity, packed.data(), packed.size());
  EXPECT_LE(size, capacity);
  block.resize(std::min(size, capacity));
  return {block, coder.Finding()};
}

// Texts with repeats of all distances and lengths, some longer than an item can say.
Bytes Mixed(std::size_t size) {
  Bytes bytes;
  std::uint32_t state = 1;
  const auto next = [&](std::uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  while (bytes.size() < size) {
    const std::uint32_t kind = next(8);
    const std::uint32_t count = next(16) == 0 ? next(2000) : next(24);
    const auto back = bytes.empty() ? 0 : next(static_cast<std::uint32_t>(bytes.size())) + 1;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (kind < 3 || back == 0) {
        bytes.push_back(static_cast<std::uint8_t>(next(kind == 0 ? 256 : 40)));
      } else {
        bytes.push_back(
            kind == 3 ? 0 : bytes[bytes.size() - (kind > 5 ? back : (back - 1) % 3000 + 1)]);
      }
    }
  }
  bytes.resize(size);
  return bytes;
}

std::uint32_t Digest(const Bytes& bytes) {
  return std::accumulate(
      bytes.begin(), bytes.end(), 2166136261u,
      [](std::uint32_t sum, std::uint8_t byte) { return (sum ^ byte) * 16777619u; });
}

TEST(Lzss, SmallStreamsAreTheDocumentedBytes) {
  // Four of each letter, and how flag words have them coded.
  const auto fours = [](const char* letters) {
    std::pair<Bytes, Bytes> pair;
    for (const std::uint8_t letter : Text(letters)) {
      pair.first = pair.first + Bytes(4, letter);
      pair.second = pair.second + Bytes{letter, 1, 0};
    }
    return pair;
  };
  const auto [tenFours, tenCoded] = fours("bcdefghijk");
  const auto [elevenFours, elevenCoded] = fours("bcdefghijkl");
  const struct {
    const char* what;
    std::uint32_t level;
    Bytes plain, packed;
  } cases[] = {
      {"nothing, Huffman", 9, {}, {0x29, 0x37, 0}},
      {"nothing, flag words", 6, {}, {0x26}},
      {"level 0 is taken as 1", 0, {}, {0x11}},
      {"a level above 9 as 9", 10, {}, {0x29, 0x37, 0}},
      {"five literals", 1, Text("abcde"), Bytes{0x11, 0, 0, 0, 0} + Text("abcde")},
      {"six are a run", 1, Text("abcdef"), Bytes{0x11, 2, 0, 0, 0, 3} + Text("abcdef")},
      {"length in the word", 3, Bytes(10, 'a'), {0x13, 4, 0, 0, 0, 'a', 1, 0x60}},
      {"length behind the word", 4, Bytes(10, 'a'), {0x24, 4, 0, 0, 0, 'a', 1, 0xC0, 6}},
      {"the longest match and one byte more",
       1,
       Bytes(260, 'a'),
       {0x11, 4, 0, 0, 0, 'a', 1, 0xF0, 0xFF, 'a'}},
      {"a match in two items", 1, Bytes(262, 'a'), {0x11, 12, 0, 0, 0, 'a', 1, 0xF0, 0xFF, 1, 0}},
      // 1 + 30 flags, then a literal with one flag in either word: its data is behind the second.
      // The first item is the tail of a long match, the only one with a single flag.
      {"a literal across two words", 1, Bytes(262, 'a') + tenFours,
       Bytes{0x11, 0x4C, 0x92, 0x24, 0x49, 'a', 1, 0xF0, 0xFF, 1, 0} +
           Bytes(tenCoded.begin(), tenCoded.end() - 3) + Bytes{2, 0, 0, 0, 'k', 1, 0}},
      // 30 flags, then a literal with the last two: its data is ahead of the next word.
      {"a literal that ends a word", 1, elevenFours,
       Bytes{0x11, 0x24, 0x49, 0x92, 0x24} + Bytes(elevenCoded.begin(), elevenCoded.end() - 2) +
           Bytes{1, 0, 0, 0, 1, 0}}};
  for (const auto& c : cases) {
    EXPECT_EQ(Pack(c.plain, c.level), c.packed) << c.what;
    EXPECT_EQ(UnpackBlock(c.packed, c.plain.size()), Unpacked{c.plain}) << c.what;
    for (std::size_t room = 0; room < c.plain.size(); ++room) {
      Bytes block(room);
      EXPECT_EQ(LZSSCompress().Decompress(block.data(), room, c.packed.data(), c.packed.size()),
                room + 1);
      EXPECT_TRUE(std::equal(block.begin(), block.end(), c.plain.begin())) << room;
    }
  }
}

// Digests of streams that a plain model of the format made of the same input.
TEST(Lzss, StreamsAreThoseOfEveryWriterHoweverTheInputIsCut) {
  const std::map<std::uint32_t, std::uint32_t> digests = {
      {1, 0x79C7FA8Du}, {2, 0x74667FB7u}, {3, 0xAF5029D5u}, {4, 0x86B01847u}, {5, 0xE456D0EFu},
      {6, 0xCAD967F8u}, {7, 0xE409DEDFu}, {8, 0xFCC23F7Du}, {9, 0x5C6DBE06u}};
  const Bytes plain = Mixed(150'000);
  for (const auto& [level, digest] : digests) {
    const Bytes packed = Pack(plain, level);
    EXPECT_EQ(Digest(packed), digest) << "level " << level;
    for (const std::size_t piece : {1, 259, 8708, 33285}) {
      EXPECT_EQ(Pack(plain, level, piece), packed) << level << ", pieces of " << piece;
    }
  }
}

TEST(Lzss, RoundTripsAtEveryBoundary) {
  std::mt19937 random(3);
  const auto noise = [&](std::size_t size) {
    Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
  };
  std::vector<std::size_t> sizes = {1, 2, 3, 4};
  // Run, lookahead, windows, buffers of both kinds, and where they slide.
  for (const std::size_t at : {261, 518, 4096, 8192, 8450, 8708, 16384, 32768, 33026, 33284}) {
    for (const std::size_t size : {at - 3, at - 1, at, at + 1, at + 258}) sizes.push_back(size);
  }
  for (const std::size_t size : sizes) {
    for (const Bytes& content : {Bytes(size), Mixed(size), noise(size)}) {
      const Unpacked plain{content};
      const std::uint32_t level = 1 + static_cast<std::uint32_t>(random() % 9);
      const Bytes packed = Pack(content, level);
      ASSERT_EQ(UnpackBlock(packed, size), plain) << size << " level " << level;
      for (const std::size_t piece : {std::size_t{1}, std::size_t{300}, packed.size()}) {
        ASSERT_EQ(Unpack(packed, piece), plain) << size << " level " << level << " by " << piece;
      }
    }
  }
}

// What no writer of ours makes, but readers must know or survive.
TEST(Lzss, OddStreamsYieldTheDocumentedBytes) {
  constexpr auto kWhole = LzssFinding::Whole;
  constexpr auto kCut = LzssFinding::CutShort;
  constexpr auto kBefore = LzssFinding::BeforeStart;
  constexpr auto kNone = LzssFinding::NoStream;
  constexpr auto kBehind = LzssFinding::BytesBehindEnd;
  const Bytes farMatch = Text("x") + Bytes(68, 'a') + Text("xaaa");
  const Bytes twoFours = Text("abcdabcdx");
  const struct {
    const char* what;
    Bytes packed, plain;
    LzssFinding finding;
  } cases[] = {
      {"no byte", {}, {}, kNone},
      {"kind 3", {0x31, 0, 0, 0, 0, 'a'}, {}, kNone},
      {"level 10", {0x2A, 0, 0, 0, 0, 'a'}, {}, kNone},
      {"stored", Bytes{0x20} + Text("stored"), Text("stored"), kWhole},
      {"window of 256: one flag a literal, four a match",
       Bytes{0x01, 0x10 | 0x20, 0, 0, 0} + Text("abcd") + Bytes{4} + Text("x"), twoFours, kWhole},
      {"the same, length behind the flags",
       Bytes{0x06, 0xF0, 0, 0, 0} + Text("abcd") + Bytes{1, 4} + Text("x"), twoFours, kWhole},
      {"and cut behind it", Bytes{0x06, 0xF0, 0, 0, 0} + Text("abcd") + Bytes{1}, Text("abcd"),
       kCut},
      {"Huffman codes in a window of 256: two literals, two matches",
       {0x08, 0x2A, 0xBC, 0x17, 0x0F, 0xB1, 0x2B, 0xC5, 0x0B},
       farMatch,
       kWhole},
      {"the same in one of 4096",
       {0x18, 0x2A, 0xBC, 0x17, 0x0F, 0x04, 0xBB, 0x60, 0xC1, 0x0B, 0},
       farMatch,
       kWhole},
      {"distance 0",
       {0x11, 4, 0, 0, 0, 'a', 0, 0x10, 'b', 'c'},
       Bytes{'a', 0, 0, 0, 0} + Text("bc"),
       kBefore},
      {"distance beyond the start",
       {0x11, 4, 0, 0, 0, 'a', 3, 0x20},
       {'a', 0, 0, 'a', 0, 0},
       kBefore},
      {"match at the start", {0x24, 1, 0, 0, 0, 0xFF, 0x3F}, {0, 0, 0}, kBefore},
      {"cut in the flag word", {0x11, 4, 0, 0}, {}, kCut},
      {"cut in a match", {0x11, 4, 0, 0, 0, 'a', 1}, Text("a"), kCut},
      {"cut before the length", {0x11, 4, 0, 0, 0, 'a', 1, 0xF0}, Text("a"), kCut},
      {"cut before the count of a run", {0x11, 8, 0, 0, 0, 'a'}, Text("a"), kCut},
      {"cut in a run", Bytes{0x11, 2, 0, 0, 0, 3} + Text("abcde"), {}, kCut},
      {"a match that is not there", {0x11, 0x10, 0, 0, 0, 'a'}, Text("a"), kCut},
      {"cut in the end mark", {0x29}, {}, kCut},
      {"the mark that has no meaning", {0x29, 0xB7, 0}, {}, kCut},
      {"a byte behind the end", {0x29, 0x37, 0, 0}, {}, kBehind},
      {"half of the padding", {0x29, 0x37}, {}, kCut},
      {"padding that is not zero", {0x29, 0x37, 1}, {}, kBehind}};
  for (const auto& c : cases) {
    const Unpacked expected{c.plain, c.finding};
    EXPECT_EQ(UnpackBlock(c.packed, 100), expected) << c.what;
    EXPECT_EQ(Unpack(c.packed, 1), expected) << c.what;
    EXPECT_EQ(Unpack(c.packed, 100), expected) << c.what;
  }
}

TEST(Lzss, FailuresOfTheSinkEndTheWork) {
  const Bytes plain = Mixed(200'000);
  const Bytes packed = Pack(plain, 6);
  LZSSCompress coder;
  EXPECT_FALSE(coder.Compress("a", 1) || coder.EndCompress());
  EXPECT_FALSE(coder.Decompress("a", 1) || coder.EndDecompress());
  EXPECT_FALSE(coder.BeginCompress(nullptr, 6) || coder.Compress("a", 1));
  EXPECT_FALSE(coder.BeginDecompress(nullptr) || coder.Decompress("a", 1));
  const Ref<Sink> sink(new Sink);
  for (const int writes : {0, 1, 3}) {
    sink->writesLeft = writes;
    coder.BeginCompress(sink, 6);
    EXPECT_FALSE(Feed(coder, &LZSSCompress::Compress, plain, 5000)) << writes;
    EXPECT_FALSE(coder.Compress("a", 1) || coder.EndCompress());
    sink->writesLeft = writes;
    coder.BeginDecompress(sink);
    EXPECT_FALSE(Feed(coder, &LZSSCompress::Decompress, packed, 5000)) << writes;
    EXPECT_FALSE(coder.Decompress("a", 1) || coder.EndDecompress());
    EXPECT_EQ(sink->References(), 1) << "the sink is held after the end";
  }
  sink->writesLeft = 1;  // for the last bytes
  coder.BeginCompress(sink, 1);
  coder.BeginDecompress(sink);
  EXPECT_EQ(sink->References(), 3);
  EXPECT_TRUE(coder.Compress("a", 1) && coder.EndCompress());
  EXPECT_TRUE(coder.Decompress("\x11\0\0\0\0a", 6));
  EXPECT_FALSE(coder.EndDecompress());
  coder.BeginCompress(sink, 1);
  coder.FreeBuffers();
  EXPECT_EQ(sink->References(), 1);
}

// Both sides hold together over several rebuilds, with weights from flat to steep.
TEST(AdaptiveHuffman, EveryCodeReadsBackWhateverTheWeights) {
  std::mt19937 random(5);
  for (const std::uint32_t symbols : {16u, 64u, 273u}) {
    AdaptiveHuffman tree(symbols);
    std::uint32_t longest = 0;
    for (std::uint32_t round = 0; round < 200'000; ++round) {
      // Fibonacci-like shares make the deepest trees.
      std::uint32_t symbol = 0;
      while (symbol + 1 < symbols && random() % 8 < 3) ++symbol;
      tree.Update(round % 50'000 < 1000 ? random() % symbols : symbol);
      if (round % 997 != 0) continue;
      double room = 0;
      for (std::uint32_t each = 0; each < ((symbols + 1) & ~1u); ++each) {
        const AdaptiveHuffman::Code code = tree.Find(each);
        const AdaptiveHuffman::Found found =
            tree.Read(code.bits | (std::uint64_t{random()} << code.length));
        ASSERT_EQ(found.symbol, each);
        ASSERT_EQ(found.length, code.length);
        longest = std::max(longest, code.length);
        room += 1.0 / static_cast<double>(1u << code.length);
      }
      ASSERT_EQ(room, 1.0) << "codes are missing or too short";
    }
    EXPECT_LE(longest, AdaptiveHuffman::kMaxCodeBits);
  }
}

}  // namespace
