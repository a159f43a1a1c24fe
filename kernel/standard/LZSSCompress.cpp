#include "kernel/standard/LZSSCompress.h"

#include <algorithm>
#include <utility>

#include "kernel/standard/LzssEncoder.h"
#include "kernel/standard/LzssExpander.h"

namespace Zef {

LZSSCompress::LZSSCompress() = default;
LZSSCompress::~LZSSCompress() = default;

std::size_t LZSSCompress::Decompress(void* to, std::size_t capacity, const void* from,
                                     std::size_t length) {
  LzssDecoder decoder;
  const auto* const bytes = static_cast<const std::uint8_t*>(from);
  finding_ = LzssFinding::NoStream;
  if (length == 0 || !decoder.Start(*bytes)) return 0;
  auto* const first = static_cast<std::uint8_t*>(to);
  LzssDecoder::Input in{bytes + 1, bytes + length, /*last=*/true};
  LzssDecoder::Output out{first, first, first + capacity, /*last=*/true};
  decoder.Decode(in, out);
  finding_ = decoder.Finding(length - 1, in.Remaining());
  return out.overflow ? capacity + 1 : static_cast<std::size_t>(out.next - first);
}

bool LZSSCompress::BeginCompress(Ref<ByteSink> sink, std::uint32_t level) {
  encoder_.reset();
  if (!sink) return false;
  encoder_ = std::make_unique<LzssEncoder>(std::move(sink), std::clamp(level, 1u, 9u));
  return true;
}

bool LZSSCompress::Compress(const void* data, std::size_t length) {
  auto encoder = std::exchange(encoder_, nullptr);  // gone if the sink throws
  if (!encoder || !encoder->Append(static_cast<const std::uint8_t*>(data), length)) return false;
  encoder_ = std::move(encoder);
  return true;
}

bool LZSSCompress::EndCompress() {
  const auto encoder = std::exchange(encoder_, nullptr);
  return encoder && encoder->Finish();
}

bool LZSSCompress::BeginDecompress(Ref<ByteSink> sink) {
  expander_.reset();
  if (!sink) return false;
  expander_ = std::make_unique<LzssExpander>(std::move(sink));
  return true;
}

bool LZSSCompress::Decompress(const void* data, std::size_t length) {
  auto expander = std::exchange(expander_, nullptr);
  if (!expander) return false;
  if (!expander->Append(static_cast<const std::uint8_t*>(data), length)) {
    finding_ = expander->Finding();
    return false;
  }
  expander_ = std::move(expander);
  return true;
}

bool LZSSCompress::EndDecompress() {
  const auto expander = std::exchange(expander_, nullptr);
  if (!expander) return false;
  const bool done = expander->Finish();
  finding_ = expander->Finding();
  return done;
}

void LZSSCompress::FreeBuffers() {
  encoder_.reset();
  expander_.reset();
}

}  // namespace Zef
