#include "tagdata/NOLBinaryFile.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "kernel/ByteReader.h"
#include "kernel/standard/TStream.h"
#include "tagdata/NOLBinarySoup.h"
#include "tagdata/TagRecord.h"

namespace {

struct Header {
  std::uint32_t version = 0;
  std::uint32_t dataSize = 0;
};

/// False when there is no file, or one without records.
bool ReadHeader(Zef::ByteReader in, Header& header) {
  const std::uint32_t magic = in.U32();
  header.version = in.U32();
  in.U32();
  const std::int32_t dataSize = in.I32();
  header.dataSize = static_cast<std::uint32_t>(dataSize);
  return !in.Failed() && magic == NOLBinaryFile::kMagic && dataSize > 0;
}

bool ReadHeader(Zef::TStream& stream, Header& header) {
  std::byte bytes[NOLBinaryFile::kHeaderSize];
  const std::uint32_t received = stream.ReadRaw(bytes, sizeof bytes);
  return ReadHeader(Zef::ByteReader(bytes, received), header);
}

/// Reads large files in pieces that double, so that memory follows what the stream really has and
/// not what it says to have. Null when it has less.
Zef::Ref<TagImage> ReadRecords(Zef::TStream& stream, const Header& header) {
  constexpr std::uint32_t kFirstPiece = 1u << 20;
  Zef::Ref<TagImage> image;
  std::uint32_t have = 0;
  while (have < header.dataSize) {
    // Twice a size below 2^31 fits.
    const std::uint32_t size = std::min(header.dataSize, std::max(kFirstPiece, have * 2));
    Zef::Ref<TagImage> larger = TagImage::Make(size, header.version);
    if (!larger) throw std::bad_alloc();
    if (have > 0) std::memcpy(larger->Data(), image->Data(), have);
    if (stream.ReadRaw(larger->Data() + have, size - have) != size - have) return nullptr;
    image = std::move(larger);
    have = size;
  }
  return image;
}

}  // namespace

bool NOLBinaryFile::Read(Zef::TStream& stream) {
  image_ = nullptr;
  Header header;
  if (!ReadHeader(stream, header)) return false;
  const std::uint64_t here = stream.Tell();
  const std::uint64_t size = stream.Size();
  if (size < here || header.dataSize > size - here) {
    stream.SkipForward(header.dataSize);
    return false;
  }
  Zef::Ref<TagImage> image = ReadRecords(stream, header);
  return image && Accept(std::move(image));
}

bool NOLBinaryFile::ReadImage(std::span<const std::byte> file) {
  image_ = nullptr;
  Header header;
  if (!ReadHeader(Zef::ByteReader(file), header)) return false;
  if (header.dataSize > file.size() - kHeaderSize) return false;
  Zef::Ref<TagImage> image = TagImage::Make(header.dataSize, header.version);
  if (!image) return false;
  std::memcpy(image->Data(), file.data() + kHeaderSize, header.dataSize);
  return Accept(std::move(image));
}

bool NOLBinaryFile::Accept(Zef::Ref<TagImage> image) {
  if (!ValidateTagRun(image->Bytes())) return false;
  image_ = std::move(image);
  overlay_ = Zef::Ref<TagOverlay>(new TagOverlay);
  return true;
}

std::uint32_t NOLBinaryFile::DataSize() const {
  return image_ ? static_cast<std::uint32_t>(image_->Bytes().size()) : 0;
}

ChunkRef NOLBinaryFile::GetRoot() {
  if (!image_) return NullChunk();
  const std::uint32_t version = image_->Version();
  if (version != TagImage::kUtf8Version && version != TagImage::kAnsiVersion) return NullChunk();
  return ChunkRef(new NOLBinarySoup(image_, overlay_, image_->Bytes()));
}
