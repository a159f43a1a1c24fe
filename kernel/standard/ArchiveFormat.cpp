#include "kernel/standard/ArchiveFormat.h"

#include <cstring>

#include "kernel/standard/CompressedBlocks.h"

namespace Zef {

using namespace ArchiveFormat;

static_assert(sizeof(FileEntry) == kEntrySize);

bool ReadArchiveInfo(ByteReader& in, ArchiveInfo* info) {
  constexpr std::size_t kUnused = 16;
  const std::uint32_t magic = in.U32();
  info->version = in.U32();
  info->entryCount = in.U32();
  info->indexOffset = in.U32();
  in.Skip(kUnused);
  return !in.Failed() && magic == kInfoMagic && info->version >= kFirstVersion &&
         info->version <= kVersion;
}

void AppendArchiveInfo(ByteWriter& out, const ArchiveInfo& info) {
  out.U32(kInfoMagic);
  out.U32(info.version);
  out.U32(info.entryCount);
  out.U32(info.indexOffset);
  out.U64(0);
  out.U64(0);
}

void AppendArchiveHead(ByteWriter& out, const ArchiveInfo& info) {
  out.U32(kMagic);
  AppendArchiveChunkHead(out, {kInfoTag, kInfoSize});
  AppendArchiveInfo(out, info);
}

ArchiveChunkHead ReadArchiveChunkHead(ByteReader& in) {
  ArchiveChunkHead head;
  head.tag = in.U32();
  head.size = in.U32();
  return in.Failed() ? ArchiveChunkHead() : head;
}

void AppendArchiveChunkHead(ByteWriter& out, const ArchiveChunkHead& head) {
  out.U32(head.tag);
  out.U32(head.size);
}

bool ReadArchiveEntry(ByteReader& in, FileEntry* entry) {
  const auto bytes = in.Bytes(kEntrySize);
  if (in.Failed()) return false;
  std::memcpy(entry, bytes.data(), kEntrySize);
  entry->name[sizeof entry->name - 1] = 0;
  return true;
}

void AppendArchiveEntry(ByteWriter& out, const FileEntry& entry) {
  out.Bytes(std::as_bytes(std::span(&entry, 1)));
}

bool ReadArchiveRow(ByteReader& in, std::uint64_t archiveLength, ArchiveRow* row) {
  row->offset = in.U32();
  row->size = in.U32();
  if (!ReadArchiveEntry(in, &row->entry)) return false;
  return row->offset >= kFirstData && row->End() <= archiveLength;
}

void AppendArchiveRow(ByteWriter& out, const ArchiveRow& row) {
  out.U32(row.offset);
  out.U32(row.size);
  AppendArchiveEntry(out, row.entry);
}

std::uint64_t LargestStored(std::uint64_t size, bool compressed) {
  if (!compressed) return size;
  const std::uint64_t blocks = size / CompressedFormat::kBlockSize + 1;
  return CompressedFormat::kHeaderSize + size + blocks * sizeof(std::uint16_t);
}

}  // namespace Zef
