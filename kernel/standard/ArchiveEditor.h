// ArchiveEditor: an open archive that can be changed.
//
// Each change leaves an archive that opens with every file that was whole, wherever a kill or a
// power cut comes. The index is written on demand and when the editor goes away; from the first
// change to then the archive says that it has none. Of two editors of one archive the one that
// finds it changed by the other changes it no more. What is replaced or deleted keeps its space.
// Not thread-safe.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/standard/ArchiveReader.h"

namespace Zef {

class ArchiveEditor final : public ArchiveReader {
 public:
  /// A file to be stored.
  struct NewEntry {
    std::string_view name;
    Platform::FileHandle content = Platform::kNoFile;  ///< all of it; stays the caller's
    bool compresses = false;
  };

  /// Opens the archive; a missing or empty one is created if it may be written, which raises FileEx
  /// "Substitute() Open new archive failed" when it fails. A read-only one must not be changed.
  ArchiveEditor(const std::string& path, bool readOnly);
  ~ArchiveEditor();

  /// Whether one more file of so many stored bytes, and the index behind it, would fit.
  bool HasRoomFor(std::uint64_t stored);
  /// False for a new name that is a folder's, or has a file for one of its folders.
  bool MayHaveName(std::string_view name);

  // False leaves the archive with the files that it had.
  /// In the place of the one that has its name.
  [[nodiscard]] bool Append(const NewEntry& entry);
  [[nodiscard]] bool Remove(ArchiveFile* file);
  /// Gives a file a name that no other file has.
  [[nodiscard]] bool Rename(ArchiveFile* file, std::string_view name);
  /// Writes the index if anything has changed, or in any case at the end of the file to rebuild it.
  /// False if that fails: the archive is then walked when it is next opened.
  [[nodiscard]] bool WriteIndex(bool rebuild = false);

 private:
  class Change;
  enum class ChunkState { Live, None, Unknown };
  struct FileSpan;

  void Create(const std::string& path, Platform::OwnedFile empty);
  bool WriteExactly(std::span<const std::byte> bytes, std::uint64_t offset) const;
  bool WriteWord(std::uint32_t word, std::uint64_t offset) const;
  ChunkState ReadChunkHead(std::uint32_t dataOffset, ArchiveChunkHead* head) const;
  bool MarkDeleted(std::uint32_t dataOffset) const;
  bool MarkSuperseded();
  bool BeginChange();
  bool IsAsLeft() const;
  bool DisownIndex();
  bool EndOfChunks(std::uint64_t* end) const;
  bool HasRoomBehind(std::uint64_t end, std::uint64_t stored) const;
  bool WriteChunk(const NewEntry& file, std::uint64_t start, ArchiveRow* row) const;
  bool WriteRows(std::uint64_t start) const;
  bool WriteHead();

  // What is mended before a change, so that a walk comes to all files.
  bool MakeReachable();
  bool CollectSpans(std::vector<FileSpan>* spans) const;
  bool PassOver(const FileSpan& file, std::uint64_t limit, std::uint64_t* at) const;
  bool Bridge(std::uint64_t from, std::uint64_t to) const;
  bool SealEnd();

  bool unwalked_ = false;  // nothing but the index tells where files are
  bool dirty_ = false;     // the index must be written
};

}  // namespace Zef
