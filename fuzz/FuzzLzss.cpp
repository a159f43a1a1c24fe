// Fuzzes both directions of LZSSCompress: the input once as a stream, which must read the same in
// one block and in pieces, and once as content to pack at the level that its first byte picks.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernel/standard/LZSSCompress.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Zef::LZSSCompress;
using Zef::Ref;

constexpr std::size_t kLimit = 1 << 16;

class Sink : public Zef::ByteSink {
 public:
  bool Write(const void* from, std::uint32_t size) override {
    const auto* const first = static_cast<const std::uint8_t*>(from);
    bytes.insert(bytes.end(), first, first + size);
    return bytes.size() <= kLimit;
  }
  Bytes bytes;
};

/// Cuts the input by its own bytes.
template <class Step>
bool Feed(const std::uint8_t* data, std::size_t size, Step step) {
  while (size > 0) {
    const std::size_t piece = std::min<std::size_t>(size, *data * std::size_t{5} + 1);
    if (!step(data, piece)) return false;
    data += piece;
    size -= piece;
  }
  return true;
}

void Unpack(const std::uint8_t* data, std::size_t size) {
  LZSSCompress coder;
  Bytes block(kLimit);
  const std::size_t yield = coder.Decompress(block.data(), kLimit, data, size);
  const Zef::LzssFinding finding = coder.Finding();
  if (yield > kLimit + 1) std::abort();
  const Ref<Sink> sink(new Sink);
  coder.BeginDecompress(sink);
  const auto step = [&](const std::uint8_t* piece, std::size_t length) {
    return coder.Decompress(piece, length);
  };
  const bool read = Feed(data, size, step);
  if (coder.EndDecompress() != read && sink->bytes.size() <= kLimit) std::abort();
  if (yield > kLimit) return;
  if (sink->bytes.size() != yield || coder.Finding() != finding) std::abort();
  if (yield != 0 && std::memcmp(sink->bytes.data(), block.data(), yield) != 0) std::abort();
  for (const std::size_t room : {yield, yield / 2}) {
    Bytes tight(room);
    const std::size_t got = coder.Decompress(tight.data(), room, data, size);
    if (got != (room == yield ? yield : room + 1)) std::abort();
    if (room != 0 && std::memcmp(tight.data(), block.data(), room) != 0) std::abort();
  }
}

Bytes Pack(const std::uint8_t* data, std::size_t size, std::uint32_t level, bool cut) {
  LZSSCompress coder;
  const Ref<Sink> sink(new Sink);
  coder.BeginCompress(sink, level);
  const auto step = [&](const std::uint8_t* piece, std::size_t length) {
    return coder.Compress(piece, length);
  };
  if (!(cut ? Feed(data, size, step) : step(data, size)) || !coder.EndCompress()) std::abort();
  return sink->bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > kLimit / 4) return 0;
  Unpack(data, size);
  const std::uint32_t level = *data % 11;
  const Bytes packed = Pack(data, size, level, false);
  if (Pack(data, size, level, true) != packed) std::abort();
  Bytes block(size);
  LZSSCompress coder;
  if (coder.Decompress(block.data(), size, packed.data(), packed.size()) != size) std::abort();
  if (std::memcmp(block.data(), data, size) != 0) std::abort();
  if (coder.Finding() != Zef::LzssFinding::Whole) std::abort();
  return 0;
}
