#include "database/PackageFiles.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/LZSSCompress.h"

namespace {

constexpr std::uint32_t kLevel = 9;
constexpr std::size_t kLengthSize = 4;

/// What a stream may yield, with room to spare: a match of 258 bytes takes 13 bits at least.
constexpr std::uint64_t MostUnpacked(std::size_t streamSize) {
  constexpr std::uint64_t kFactor = 1024;
  return kFactor * streamSize + kFactor;
}

constexpr std::size_t MostWorthPacking(std::size_t size) { return kLengthSize + size - size / 32; }

/// Twice the coder's window: a sample shows all that a stream could save.
constexpr std::size_t kSampleSize = 1u << 16;
constexpr std::size_t kSamples = 3;

/// The length, and a stream whose head says that the bytes follow as they are.
Zef::ByteWriter StoredStream(std::span<const std::byte> bytes) {
  Zef::ByteWriter out;
  out.U32(static_cast<std::uint32_t>(bytes.size()));
  out.U8(0);
  out.Bytes(bytes);
  return out;
}

/// Grows with what the coder makes: data that does not compress comes out larger than it went in.
class PackedSink final : public Zef::ByteSink {
 public:
  bool Write(const void* bytes, std::uint32_t size) override {
    out.Bytes({static_cast<const std::byte*>(bytes), size});
    return true;
  }
  Zef::ByteWriter out;
};

/// The length, and the stream of a coder.
Zef::ByteWriter PackedStream(std::span<const std::byte> bytes) {
  const Zef::Ref<PackedSink> sink(new PackedSink);
  sink->out.U32(static_cast<std::uint32_t>(bytes.size()));
  if (!bytes.empty()) {
    Zef::LZSSCompress coder;
    coder.BeginCompress(sink, kLevel);
    const bool packed = coder.Compress(bytes.data(), bytes.size()) && coder.EndCompress();
    if (!packed) throw std::bad_alloc();  // the sink refuses nothing
  }
  return std::move(sink->out);
}

/// Sounds and pictures are packed already: the slowest way to write down random bytes would save
/// next to nothing. Of a large file some samples tell.
bool MayShrink(std::span<const std::byte> bytes) {
  if (bytes.size() < 8 * kSampleSize) return true;
  for (std::size_t i = 0; i < kSamples; ++i) {
    const std::size_t at = (bytes.size() - kSampleSize) / (kSamples - 1) * i;
    const Zef::ByteWriter sample = PackedStream(bytes.subspan(at, kSampleSize));
    if (sample.Size() <= MostWorthPacking(kSampleSize)) return true;
  }
  return false;
}

}  // namespace

PackageCompression PackageCompressionOf(std::string_view name) {
  if (name.empty()) return PackageCompression::Stored;
  return name == "LZSS" ? PackageCompression::Lzss : PackageCompression::Unknown;
}

CoreRef PackFile(std::span<const std::byte> bytes, PackageCompression compression) {
  if (compression == PackageCompression::Stored) {
    return HCSRawDataCore::Copy(bytes.data(), bytes.size());
  }
  Zef::ByteWriter out = MayShrink(bytes) ? PackedStream(bytes) : StoredStream(bytes);
  if (out.Size() > MostWorthPacking(bytes.size())) out = StoredStream(bytes);
  const std::span<const std::byte> packed = out.View();
  return HCSRawDataCore::Copy(packed.data(), packed.size());
}

std::uint64_t UnpackedSize(std::span<const std::byte> payload, PackageCompression compression) {
  if (compression != PackageCompression::Lzss) return payload.size();
  return Zef::ByteReader(payload).U32();
}

const char* UnpackFile(std::span<const std::byte> payload, PackageCompression compression,
                       UnpackedFile& file) {
  file = {};
  if (compression == PackageCompression::Unknown) return PackageText::kUnknownCompression;
  if (compression == PackageCompression::Stored || payload.empty()) {
    file.bytes = payload;
    return nullptr;
  }
  if (payload.size() < kLengthSize) return PackageText::kNotUnpacked;
  const std::span<const std::byte> stream = payload.subspan(kLengthSize);
  const std::uint64_t length = UnpackedSize(payload, compression);
  if (length > MostUnpacked(stream.size())) return PackageText::kNotUnpacked;
  if (length == 0 && stream.empty()) return nullptr;
  file.block.reset(new (std::nothrow) std::byte[length]);
  if (!file.block) return PackageText::kOutOfMemory;
  Zef::LZSSCompress coder;
  const std::size_t got = coder.Decompress(file.block.get(), length, stream.data(), stream.size());
  const Zef::LzssFinding finding = coder.Finding();
  const bool isStream =
      finding != Zef::LzssFinding::NoStream && finding != Zef::LzssFinding::BeforeStart;
  if (got != length || !isStream) return PackageText::kNotUnpacked;
  file.bytes = {file.block.get(), length};
  return nullptr;
}
