#include "kernel/standard/ArchiveData.h"

#include <algorithm>
#include <array>
#include <memory>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Crc32.h"
#include "kernel/standard/PairCoder.h"

namespace Zef {

using namespace ArchiveFormat;

namespace {

constexpr std::uint32_t kPieceSize = CompressedFormat::kBlockSize;

/// Calls `use` with each piece of a span of a file; false if one cannot be read or `use` fails.
template <typename Use>
bool ForEachPiece(Platform::FileHandle file, std::uint64_t start, std::uint64_t size, Use use) {
  const auto piece = std::make_unique<std::uint8_t[]>(kPieceSize);
  for (std::uint64_t done = 0; done < size;) {
    const auto wanted =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(size - done, kPieceSize));
    if (Platform::ReadAt(file, piece.get(), wanted, start + done) != wanted) return false;
    if (!use(piece.get(), wanted)) return false;
    done += wanted;
  }
  return true;
}

}  // namespace

bool ArchiveOutput::Put(std::span<const std::byte> bytes) {
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (Platform::WriteAt(file_, bytes.data(), bytes.size(), next_) != size) return false;
  next_ += bytes.size();
  return true;
}

bool PutPlain(Platform::FileHandle from, std::uint64_t size, ArchiveOutput& out,
              std::uint32_t* checksum) {
  return ForEachPiece(from, 0, size, [&](const std::uint8_t* piece, std::uint32_t bytes) {
    *checksum = Crc32(*checksum, piece, bytes);
    return out.Put({reinterpret_cast<const std::byte*>(piece), bytes});
  });
}

bool PutCompressed(Platform::FileHandle from, std::uint64_t size, bool shortHeader,
                   ArchiveOutput& out, std::uint32_t* checksum) {
  ByteWriter bytes;
  bytes.U32(CompressedFormat::kMagic);
  if (!shortHeader) {
    bytes.U32(CompressedFormat::kVersion);
    bytes.U32(static_cast<std::uint32_t>(size));
  }
  if (!out.Put(bytes.View())) return false;
  PairCoder coder;
  return ForEachPiece(from, 0, size, [&](const std::uint8_t* piece, std::uint32_t count) {
    *checksum = Crc32(*checksum, piece, count);
    bytes.Clear();
    AppendCompressedBlock(coder, piece, count, bytes);
    return out.Put(bytes.View());
  });
}

bool CopyContent(Platform::FileHandle archive, std::uint32_t version, const ArchiveRow& row,
                 Platform::FileHandle to) {
  ArchiveOutput out(to, 0);
  const auto put = [&](const std::uint8_t* piece, std::uint32_t count) {
    return out.Put({reinterpret_cast<const std::byte*>(piece), count});
  };
  const bool shortHeader = version == kFirstVersion;
  const std::uint32_t header =
      shortHeader ? CompressedFormat::kShortHeaderSize : CompressedFormat::kHeaderSize;
  std::array<std::byte, CompressedFormat::kHeaderSize> bytes{};
  ByteReader in(bytes);
  const bool isCoded = row.IsCompressed() && row.size >= header &&
                       Platform::ReadAt(archive, bytes.data(), header, row.offset) == header &&
                       in.U32() == CompressedFormat::kMagic;
  if (!isCoded) return ForEachPiece(archive, row.offset, row.size, put);

  const bool hasSize = in.U32() >= CompressedFormat::kVersion;
  const std::int64_t size = hasSize ? in.U32() : row.entry.size;
  if (size > CompressedFormat::kLargestFile) return false;
  CompressedBlocks blocks(archive, std::uint64_t{row.offset} + header, row.End(), size);
  const auto piece = std::make_unique<std::uint8_t[]>(kPieceSize);
  for (std::uint32_t count = 1; count > 0;) {
    count = blocks.ReadNext(piece.get());
    if (!put(piece.get(), count)) return false;
  }
  return true;
}

}  // namespace Zef
