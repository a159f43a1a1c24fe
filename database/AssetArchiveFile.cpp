#include "database/AssetArchiveFile.h"

#include <array>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "database/MUKPackage.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"

namespace Platform = Zef::Platform;

namespace {

constexpr std::uint32_t kMagic = 0x6B617263;  // "crak"
constexpr std::uint32_t kVersion = 0;
constexpr std::size_t kHeaderSize = 16;
constexpr std::uint64_t kLengthPlace = 8;
constexpr std::size_t kEntryHeadSize = PLID::kStoredSize + 4;
constexpr std::size_t kPackageHeadSize = NOLBinaryFile::kHeaderSize;
constexpr std::uint64_t kLargestFile = std::numeric_limits<std::uint32_t>::max();

void AppendId(Zef::ByteWriter& out, const PLID& id) {
  out.I32(id.content);
  out.U32(id.PackedWord());
}

PLID TakeId(Zef::ByteReader& in) {
  const std::uint32_t content = in.U32();
  return PLID::Unpack(in.U32(), content);
}

}  // namespace

AssetArchiveWriter::AssetArchiveWriter(std::string path, std::uint32_t archiveId)
    : file_(std::move(path)) {
  Zef::ByteWriter out;
  out.U32(kMagic);
  out.U32(kVersion);
  out.U32(0);  // the length, once it is known
  out.U32(archiveId);
  if (IsOpen()) static_cast<void>(Write(out.View()));
}

bool AssetArchiveWriter::Append(const PLID& id, const TagContainer& package) try {
  if (!IsOpen()) return false;
  Zef::ByteWriter out;
  AppendId(out, id);
  out.U32(0);
  const bool isWhole = id.IsStorable() && AppendBinaryTags(out, package);
  const std::uint64_t next = file_.Size() + out.Size();
  if (isWhole && next + PLID::kStoredSize <= kLargestFile) {
    out.PatchU32(PLID::kStoredSize, static_cast<std::uint32_t>(next));
    return Write(out.View());
  }
  file_.Drop();
  return false;
} catch (const std::bad_alloc&) {
  file_.Drop();
  return false;
}

bool AssetArchiveWriter::Finish() {
  Zef::ByteWriter end;
  AppendId(end, PLID());
  if (!IsOpen() || !Write(end.View())) return false;
  Zef::ByteWriter length;
  length.U32(static_cast<std::uint32_t>(file_.Size()));
  if (Platform::WriteAt(file_.Handle(), length.View().data(), length.Size(), kLengthPlace) ==
          sizeof(std::uint32_t) &&
      file_.Flush()) {
    return file_.Keep();
  }
  file_.Drop();
  return false;
}

bool AssetArchiveWriter::Write(std::span<const std::byte> bytes) {
  if (file_.Append(bytes.data(), bytes.size())) return true;
  file_.Drop();
  return false;
}

AssetArchiveStatus AssetArchiveReader::Open(const std::string& path, std::uint32_t archiveId) {
  entries_.clear();
  file_ = Platform::OpenFile(path, {});
  if (!file_) return AssetArchiveStatus::NoFile;
  std::uint64_t end = 0;
  const AssetArchiveStatus status = ReadHeader(archiveId, &end);
  return status == AssetArchiveStatus::Ok ? ReadEntries(end) : status;
}

AssetArchiveStatus AssetArchiveReader::ReadHeader(std::uint32_t archiveId,
                                                  std::uint64_t* end) const {
  std::array<std::byte, kHeaderSize> header{};
  if (!Read(header, 0)) return AssetArchiveStatus::NoArchive;
  Zef::ByteReader in(header);
  if (in.U32() != kMagic || in.U32() != kVersion) return AssetArchiveStatus::NoArchive;
  *end = in.U32();
  if (in.U32() != archiveId) return AssetArchiveStatus::OtherId;
  // A writer that came to no end left no length.
  const std::int64_t size = Platform::FileSize(file_.Get());
  return size >= 0 && *end == static_cast<std::uint64_t>(size) ? AssetArchiveStatus::Ok
                                                               : AssetArchiveStatus::Damaged;
}

// Each entry begins behind the one before and leaves room for the id at the end, so the walk ends.
AssetArchiveStatus AssetArchiveReader::ReadEntries(std::uint64_t end) {
  std::uint64_t at = kHeaderSize;
  for (;;) {
    std::array<std::byte, kEntryHeadSize + kPackageHeadSize> head{};
    const std::int64_t got = Platform::ReadAt(file_.Get(), head.data(), head.size(), at);
    if (got < static_cast<std::int64_t>(PLID::kStoredSize)) return AssetArchiveStatus::Damaged;
    Zef::ByteReader in(head.data(), static_cast<std::size_t>(got));
    const PLID id = TakeId(in);
    if (id.IsNull()) {
      return at + PLID::kStoredSize == end ? AssetArchiveStatus::Ok : AssetArchiveStatus::Damaged;
    }
    const std::uint64_t next = in.U32();
    in.Skip(kPackageHeadSize - 4);
    const std::uint64_t size = std::uint64_t{in.U32()} + kPackageHeadSize;
    const std::uint64_t package = at + kEntryHeadSize;
    const bool fits = !in.Failed() && package + size <= next && next + PLID::kStoredSize <= end;
    if (!fits) return AssetArchiveStatus::Damaged;
    entries_.push_back({id, static_cast<std::uint32_t>(package), static_cast<std::uint32_t>(size)});
    at = next;
  }
}

std::string AssetArchiveReader::OpenPackage(const Entry& entry, MUKPackage& package) const {
  const std::unique_ptr<std::byte[]> block(new (std::nothrow) std::byte[entry.size]);
  const Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
  const std::span<std::byte> bytes(block.get(), block ? entry.size : 0);
  TagContainer tags;
  if (Read(bytes, entry.offset) && file->ReadImage(bytes)) tags = TagContainer(file->GetRoot());
  return package.OpenTags(tags);
}

bool AssetArchiveReader::Read(std::span<std::byte> bytes, std::uint64_t offset) const {
  return Platform::ReadAt(file_.Get(), bytes.data(), bytes.size(), offset) ==
         static_cast<std::int64_t>(bytes.size());
}
