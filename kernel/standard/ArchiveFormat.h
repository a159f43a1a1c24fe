// ArchiveFormat: the bytes of an archive file, and nothing of files.
//
// An archive is "ARCH" and a run of chunks, each a tag, the size of what follows, and that: the
// info record, one chunk a file, and at the end an index with one row a live file. Here records go
// from bytes to values and back, with every bound checked; docs/format-archive.md has the tables.
// Stateless; any thread.

#pragma once

#include <cstdint>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/FileFind.h"

namespace Zef {

/// Numbers of the archive form. Tags are words as they lie in the file.
namespace ArchiveFormat {
inline constexpr std::uint32_t kMagic = 0x48435241;       // "ARCH"
inline constexpr std::uint32_t kInfoTag = 0x4F464E49;     // "INFO"
inline constexpr std::uint32_t kInfoMagic = 0x41524330;   // "0CRA"
inline constexpr std::uint32_t kFileTag = 0x204C4946;     // "FIL "
inline constexpr std::uint32_t kDeletedTag = 0x214C4946;  // "FIL!"
inline constexpr std::uint32_t kIndexTag = 0x20584449;    // "IDX "
inline constexpr std::uint32_t kFirstVersion = 257;       ///< CFIL data has the short header
inline constexpr std::uint32_t kVersion = 258;            ///< of new archives
inline constexpr std::uint32_t kMagicSize = 4;
inline constexpr std::uint32_t kChunkHeadSize = 8;
inline constexpr std::uint32_t kInfoSize = 32;
inline constexpr std::uint32_t kInfoOffset = 12;         ///< of the record in a new archive
inline constexpr std::uint32_t kIndexOffsetInInfo = 12;  ///< of the index's offset in the record
inline constexpr std::uint32_t kEntrySize = 288;
inline constexpr std::uint32_t kFileHeadSize = 296;  ///< chunk head and entry
inline constexpr std::uint32_t kRowSize = 296;
inline constexpr std::uint32_t kFirstData = 340;  ///< no file's data can begin before this
inline constexpr std::uint64_t kLargestArchive = 0xFFFFFFFF;
}  // namespace ArchiveFormat

/// The info record.
struct ArchiveInfo {
  std::uint32_t version = 0;
  std::uint32_t entryCount = 0;
  std::uint32_t indexOffset = 0;  ///< 0 for none

  bool operator==(const ArchiveInfo&) const = default;
};

struct ArchiveChunkHead {
  std::uint32_t tag = 0;
  std::uint32_t size = 0;  ///< of what follows the head
};

/// Where a live file's data lies in the archive, and its entry.
struct ArchiveRow {
  std::uint32_t offset = 0;
  std::uint32_t size = 0;  ///< stored bytes
  FileEntry entry{};

  std::uint64_t End() const { return std::uint64_t{offset} + size; }
  /// Where its chunk begins.
  std::uint64_t ChunkStart() const { return std::uint64_t{offset} - ArchiveFormat::kFileHeadSize; }
  bool IsCompressed() const { return (entry.attributes & FileEntry::kCompressed) != 0; }
};

/// False for another magic, a version that is not known, or too few bytes.
[[nodiscard]] bool ReadArchiveInfo(ByteReader& in, ArchiveInfo* info);
void AppendArchiveInfo(ByteWriter& out, const ArchiveInfo& info);
/// What an archive begins with: magic and info chunk.
void AppendArchiveHead(ByteWriter& out, const ArchiveInfo& info);

/// A zero head, and a failed reader, when there are too few bytes.
ArchiveChunkHead ReadArchiveChunkHead(ByteReader& in);
void AppendArchiveChunkHead(ByteWriter& out, const ArchiveChunkHead& head);

/// The name is zero-terminated by force. False when there are too few bytes.
[[nodiscard]] bool ReadArchiveEntry(ByteReader& in, FileEntry* entry);
void AppendArchiveEntry(ByteWriter& out, const FileEntry& entry);

/// False when there are too few bytes, or when the row points outside an archive of that length.
[[nodiscard]] bool ReadArchiveRow(ByteReader& in, std::uint64_t archiveLength, ArchiveRow* row);
void AppendArchiveRow(ByteWriter& out, const ArchiveRow& row);

/// What the data of a file of that size takes in an archive at most.
std::uint64_t LargestStored(std::uint64_t size, bool compressed);

}  // namespace Zef
