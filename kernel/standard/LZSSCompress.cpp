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
  finding_ = decoder.Finding(in.Remaining());
  return out.overflow ? capacity + 1 : static_cast<std::size_t>(out.next - first);
}

bool LZSSCompress::BeginCompress(Ref<ByteSink> sink, std::uint32_t level) {
  encoder_.reset();
  if (!sink) return false;
  encoder_ = std::make_unique<LzssEncoder>(std::move(sink), std::clamp(level, 1u, 9u));
  return true;
}

bool LZSSCompress::Compress(const void* data, std::size_t length) {
  if (!encoder_) return false;
  if (encoder_->Append(static_cast<const std::uint8_t*>(data), length)) return true;
  encoder_.reset();
  return false;
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
  if (!expander_) return false;
  if (expander_->Append(static_cast<const std::uint8_t*>(data), length)) return true;
  finding_ = expander_->Finding();
  expander_.reset();
  return false;
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
