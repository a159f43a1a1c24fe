// LZSSCompress: the general stream coder, a window match search with one of two output codings.
//
// Levels 1 to 6 write flag words (fast to read), 7 to 9 adaptive Huffman codes (smaller); within a
// coding higher levels search longer. Any level is read; the first byte of a stream names level
// and window. Equal input and level give equal bytes, on every machine and however the input is
// cut into calls. docs/format-lzss.md has the layout. Not the coder of CFIL files.
//
// Cost: a compressor holds about 320 KiB, a decompressor about 50 KiB; both are allocated by Begin
// and freed by End. Time to compress has no bound per byte better than the window: data of few
// different byte triples is slow. Serves one thread at a time.

#pragma once

#include <memory>

#include "kernel/standard/Compressor.h"
#include "kernel/standard/LzssFormat.h"

namespace Zef {

class LzssEncoder;
class LzssExpander;

class LZSSCompress : public Compressor {
 public:
  LZSSCompress();
  ~LZSSCompress() override;

  [[nodiscard]] std::size_t Decompress(void* to, std::size_t capacity, const void* from,
                                       std::size_t length) override;
  /// Level 0 is taken as 1, one above 9 as 9.
  bool BeginCompress(Ref<ByteSink> sink, std::uint32_t level) override;
  [[nodiscard]] bool Compress(const void* data, std::size_t length) override;
  [[nodiscard]] bool EndCompress() override;
  bool BeginDecompress(Ref<ByteSink> sink) override;
  [[nodiscard]] bool Decompress(const void* data, std::size_t length) override;
  [[nodiscard]] bool EndDecompress() override;
  void FreeBuffers() override;

  /// Of the last stream that was decompressed to its end, in whichever way.
  LzssFinding Finding() const { return finding_; }

 private:
  std::unique_ptr<LzssEncoder> encoder_;
  std::unique_ptr<LzssExpander> expander_;
  LzssFinding finding_ = LzssFinding::Whole;
};

}  // namespace Zef
