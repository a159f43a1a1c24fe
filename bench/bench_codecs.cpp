// Speed of the coders on a mixed corpus, in bytes of content a second, with zlib beside them.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>
#ifdef QUARLE_BENCH_ZLIB
#include <zlib.h>
#endif

#include "bench/Corpus.h"
#include "kernel/standard/LZSSCompress.h"
#include "kernel/standard/PairCoder.h"

namespace {

using Zef::ByteSink;
using Zef::LZSSCompress;
using Zef::PairCoder;
using Zef::Ref;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kCorpusBytes = 8'000'000;
constexpr std::size_t kBlock = 16384;

const Bytes& Corpus() {
  static const Bytes corpus = [] {
    const std::string text = MixedCorpus(1, kCorpusBytes);
    return Bytes(text.begin(), text.end());
  }();
  return corpus;
}

class Collected : public ByteSink {
 public:
  bool Write(const void* from, std::uint32_t size) override {
    const auto* const first = static_cast<const std::uint8_t*>(from);
    bytes.insert(bytes.end(), first, first + size);
    return true;
  }
  Bytes bytes;
};

Bytes Packed(std::uint32_t level) {
  const Ref<Collected> out(new Collected);
  LZSSCompress coder;
  coder.BeginCompress(out, level);
  if (!coder.Compress(Corpus().data(), Corpus().size()) || !coder.EndCompress()) return {};
  return out->bytes;
}

void Report(benchmark::State& state, std::size_t packed, bool done) {
  if (!done) state.SkipWithError("the coder failed");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Corpus().size()));
  state.counters["ratio"] = static_cast<double>(packed) / static_cast<double>(Corpus().size());
}

void BM_LzssPack(benchmark::State& state) {
  std::size_t size = 0;
  for (auto _ : state) size = Packed(static_cast<std::uint32_t>(state.range(0))).size();
  Report(state, size, size > 0);
}

void BM_LzssUnpackBlock(benchmark::State& state) {
  const Bytes packed = Packed(static_cast<std::uint32_t>(state.range(0)));
  Bytes out(Corpus().size());
  LZSSCompress coder;
  std::size_t size = 0;
  for (auto _ : state)
    size = coder.Decompress(out.data(), out.size(), packed.data(), packed.size());
  Report(state, packed.size(), size == out.size() && out == Corpus());
}

void BM_LzssUnpackStream(benchmark::State& state) {
  const Bytes packed = Packed(static_cast<std::uint32_t>(state.range(0)));
  const Ref<Collected> out(new Collected);
  LZSSCompress coder;
  for (auto _ : state) {
    out->bytes.clear();
    coder.BeginDecompress(out);
    if (!coder.Decompress(packed.data(), packed.size()) || !coder.EndDecompress()) break;
  }
  Report(state, packed.size(), out->bytes == Corpus());
}

void Levels(benchmark::internal::Benchmark* bench) {
  bench->Arg(1)->Arg(6)->Arg(9)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_LzssPack)->Apply(Levels);
BENCHMARK(BM_LzssUnpackBlock)->Apply(Levels);
BENCHMARK(BM_LzssUnpackStream)->Apply(Levels);

#ifdef QUARLE_BENCH_ZLIB
Bytes Deflated() {
  uLongf size = compressBound(Corpus().size());
  Bytes out(size);
  compress2(out.data(), &size, Corpus().data(), Corpus().size(), 6);
  out.resize(size);
  return out;
}

void BM_ZlibPack(benchmark::State& state) {
  std::size_t size = 0;
  for (auto _ : state) size = Deflated().size();
  Report(state, size, true);
}
BENCHMARK(BM_ZlibPack)->Unit(benchmark::kMillisecond);

void BM_ZlibUnpack(benchmark::State& state) {
  const Bytes packed = Deflated();
  Bytes out(Corpus().size());
  uLongf size = out.size();
  for (auto _ : state) uncompress(out.data(), &size, packed.data(), packed.size());
  Report(state, packed.size(), out == Corpus());
}
BENCHMARK(BM_ZlibUnpack)->Unit(benchmark::kMillisecond);
#endif

/// Blocks as a compressed file holds them; empty for one that is stored.
std::vector<Bytes> PairBlocks() {
  std::vector<Bytes> blocks;
  PairCoder coder;
  for (std::size_t at = 0; at + kBlock <= Corpus().size(); at += kBlock) {
    Bytes& block = blocks.emplace_back(kBlock);
    const std::uint32_t used = coder.Encode(block.data(), Corpus().data() + at, kBlock);
    block.resize(used == kBlock ? 0 : used);
  }
  return blocks;
}

void BM_PairPack(benchmark::State& state) {
  std::size_t size = 0;
  for (auto _ : state) {
    size = 0;
    for (const Bytes& block : PairBlocks()) size += block.empty() ? kBlock : block.size();
  }
  Report(state, size, true);
}
BENCHMARK(BM_PairPack)->Unit(benchmark::kMillisecond);

/// Coded blocks alone: a stored one is only copied.
void BM_PairUnpack(benchmark::State& state) {
  const std::vector<Bytes> blocks = PairBlocks();
  Bytes out(kBlock);
  std::int64_t bytes = 0;
  for (auto _ : state) {
    for (const Bytes& block : blocks) {
      if (block.empty()) continue;
      const auto size = PairCoder::Decode(out.data(), kBlock, block.data(),
                                          static_cast<std::uint32_t>(block.size()));
      if (size != kBlock) state.SkipWithError("a block did not come back");
      bytes += kBlock;
    }
  }
  state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_PairUnpack)->Unit(benchmark::kMillisecond);

}  // namespace
