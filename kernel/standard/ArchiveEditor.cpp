// Changes to archives: appending, deleting, renaming, the index.
//
// Each change is arranged so that a process killed between any two writes leaves an archive that
// a walk can read: the file first disowns its index, a chunk gets its size when it is whole, and
// what it replaces, which a walk takes no more, is marked as deleted some time after that. So that
// a power cut spares what was there before, the index is disowned on the device before the next
// write, what replaces a file is whole there before it gets its size, and has its size there before
// the mark.

#include "kernel/standard/ArchiveEditor.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/ArchiveData.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Exception.h"

namespace Zef {

using namespace ArchiveFormat;

namespace {

constexpr std::size_t kRowsAPiece = 1024;

bool IsEmptyFile(const Platform::OwnedFile& file) {
  return Platform::IsRegularFile(file.Get()) && Platform::FileSize(file.Get()) == 0;
}

}  // namespace

ArchiveEditor::ArchiveEditor(const std::string& path, bool readOnly) {
  Platform::OwnedFile file = Platform::OpenFile(path, {.write = !readOnly});
  if (!readOnly && (!file || IsEmptyFile(file))) {
    Create(path, std::move(file));
  } else {
    Open(std::move(file));
    unwalked_ = complete_;
  }
}

ArchiveEditor::~ArchiveEditor() {
  try {
    if (complete_ && dirty_) static_cast<void>(WriteIndex());
  } catch (...) {
    // Without an index the archive is walked.
  }
}

// Never empties a file that could only not be opened. One without a byte was left by a writer that
// was killed as it began.
void ArchiveEditor::Create(const std::string& path, Platform::OwnedFile empty) {
  constexpr Platform::OpenOptions kNew{.write = true, .creation = Platform::Creation::CreateNew};
  file_ = empty ? std::move(empty) : Platform::OpenFile(path, kNew);
  info_.version = kVersion;
  if (IsOpen() && WriteHead()) {
    lengthOnDisk_ = kInfoOffset + kInfoSize;
    complete_ = dirty_ = true;
    return;
  }
  if (IsOpen()) static_cast<void>(Platform::DeleteFile(path));
  file_.Close();
  RaiseFileEx("Substitute() Open new archive failed");
}

bool ArchiveEditor::WriteExactly(std::span<const std::byte> bytes, std::uint64_t offset) const {
  return Platform::WriteAt(file_.Get(), bytes.data(), bytes.size(), offset) ==
         static_cast<std::int64_t>(bytes.size());
}

bool ArchiveEditor::WriteWord(std::uint32_t word, std::uint64_t offset) const {
  return WriteExactly(std::as_bytes(std::span(&word, 1)), offset);
}

/// Reads the head where a file's chunk should begin. There need be none, for rows of a damaged
/// index point anywhere.
ArchiveEditor::ChunkState ArchiveEditor::ReadChunkHead(std::uint32_t dataOffset,
                                                       ArchiveChunkHead* head) const {
  std::array<std::byte, kChunkHeadSize> bytes;
  const Reading reading = Read(bytes, dataOffset - kFileHeadSize);
  if (reading == Reading::Failed) return ChunkState::Unknown;
  ByteReader in(bytes);
  *head = ReadArchiveChunkHead(in);
  const bool isLive = reading == Reading::Whole && head->tag == kFileTag;
  return isLive ? ChunkState::Live : ChunkState::None;
}

/// True if no live chunk is left there.
bool ArchiveEditor::MarkDeleted(std::uint32_t dataOffset) const {
  ArchiveChunkHead head;
  const ChunkState state = ReadChunkHead(dataOffset, &head);
  return state == ChunkState::None ||
         (state == ChunkState::Live && WriteWord(kDeletedTag, dataOffset - kFileHeadSize));
}

/// What later chunks replace is hidden from walks without a mark, as long as those stand. To wait
/// for the device once for many, it is marked before one of them may go or an index counts.
bool ArchiveEditor::MarkSuperseded() {
  if (!superseded_.empty() && !Platform::FlushFile(file_.Get())) return false;
  for (; !superseded_.empty(); superseded_.pop_back()) {
    if (!MarkDeleted(superseded_.back())) return false;
  }
  return true;
}

/// A change, from making sure that the archive can be changed to noting what it is afterwards.
class ArchiveEditor::Change {
 public:
  explicit Change(ArchiveEditor& archive) : archive_(archive), begun_(archive.BeginChange()) {}
  ~Change() {
    if (begun_) archive_.lengthOnDisk_ = Platform::FileSize(archive_.file_.Get());
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  bool Begun() const { return begun_; }

 private:
  ArchiveEditor& archive_;
  const bool begun_;
};

/// Makes the archive one that has to be walked until its index is written anew.
bool ArchiveEditor::BeginChange() {
  if (!IsReadWhole() || !IsAsLeft()) return false;
  return DisownIndex() && (!stoppedAt_ || SealEnd());
}

/// False if somebody else has changed the archive, which may have other chunks by now where the
/// table says that files are, or where it ends.
bool ArchiveEditor::IsAsLeft() const {
  std::array<std::byte, kInfoSize> bytes;
  ArchiveInfo info;
  if (Platform::FileSize(file_.Get()) != lengthOnDisk_ || !ReadExactly(bytes, infoOffset_))
    return false;
  ByteReader in(bytes);
  return ReadArchiveInfo(in, &info) && info == infoOnDisk_;
}

bool ArchiveEditor::DisownIndex() {
  if (infoOnDisk_.indexOffset == 0) return true;
  if (unwalked_ && !(MakeReachable() && Platform::FlushFile(file_.Get()))) return false;
  unwalked_ = false;
  if (!WriteWord(0, infoOffset_ + kIndexOffsetInInfo)) return false;
  if (!Platform::FlushFile(file_.Get())) return false;
  infoOnDisk_.indexOffset = 0;
  dirty_ = true;
  return true;
}

/// Where the next chunk goes: over the index, or to the end of the file if there is none or it
/// has data behind it.
bool ArchiveEditor::EndOfChunks(std::uint64_t* end) const {
  const std::int64_t length = Platform::FileSize(file_.Get());
  if (length < 0) return false;
  *end = static_cast<std::uint64_t>(length);
  const bool hasIndex = info_.indexOffset != 0 && dataEnd_ <= info_.indexOffset;
  if (hasIndex) *end = std::min<std::uint64_t>(*end, info_.indexOffset);
  return true;
}

bool ArchiveEditor::HasRoomBehind(std::uint64_t end, std::uint64_t stored) const {
  const std::uint64_t rows = std::uint64_t{table_.Count()} + 1;
  const std::uint64_t rest = end + kFileHeadSize + kChunkHeadSize + rows * kRowSize;
  return stored <= kLargestArchive && rest + stored <= kLargestArchive;
}

bool ArchiveEditor::HasRoomFor(std::uint64_t stored) {
  Complete();
  std::uint64_t end = 0;
  return IsOpen() && EndOfChunks(&end) && HasRoomBehind(end, stored);
}

// A name that is there is taken again, whatever another writer has put beside it.
bool ArchiveEditor::MayHaveName(std::string_view name) {
  const std::string key = ArchiveTable::KeyOf(name);
  return table_.Find(key) != nullptr || !table_.IsBlocked(key);
}

bool ArchiveEditor::Append(const NewEntry& entry) {
  const Change change(*this);
  std::uint64_t start = 0;
  if (!change.Begun() || !EndOfChunks(&start) || !MayHaveName(entry.name)) return false;
  dirty_ = true;
  if (!Platform::SetFileSize(file_.Get(), start)) return false;
  ArchiveRow row;
  {
    struct Undo {
      const Platform::FileHandle handle;
      const std::uint64_t start;
      bool wanted = true;
      ~Undo() {
        if (wanted) static_cast<void>(Platform::SetFileSize(handle, start));
      }
    } undo{file_.Get(), start};
    if (!WriteChunk(entry, start, &row)) return false;
    AddRow(row);
    undo.wanted = false;
  }
  info_.indexOffset = static_cast<std::uint32_t>(row.End());
  return true;
}

/// Writes a chunk that counts for nothing until its size is written at the end. It leaves room for
/// the index.
bool ArchiveEditor::WriteChunk(const NewEntry& file, std::uint64_t start, ArchiveRow* row) const {
  Platform::FileInfo info;
  if (!Platform::GetOpenInfo(file.content, &info)) return false;
  if (!HasRoomBehind(start, LargestStored(info.size, file.compresses))) return false;
  if (file.compresses && info.size > CompressedFormat::kLargestFile) return false;

  const std::uint64_t data = start + kFileHeadSize;
  row->offset = static_cast<std::uint32_t>(data);
  FileEntry& entry = row->entry;
  file.name.copy(entry.name, sizeof entry.name - 1);
  entry.size = static_cast<std::uint32_t>(info.size);
  entry.created = entry.accessed = entry.written = ClampToWord(info.written);
  if (file.compresses) entry.attributes = FileEntry::kCompressed;
  ByteWriter head;
  AppendArchiveChunkHead(head, {kFileTag, 0});
  AppendArchiveEntry(head, entry);
  ArchiveOutput out(file_.Get(), data);
  if (!WriteExactly(head.View(), start)) return false;
  const bool shortHeader = info_.version == kFirstVersion;
  const bool copied =
      file.compresses ? PutCompressed(file.content, info.size, shortHeader, out, &entry.checksum)
                      : PutPlain(file.content, info.size, out, &entry.checksum);
  if (!copied) return false;

  row->size = entry.storedSize = static_cast<std::uint32_t>(out.Size());
  head.Clear();
  AppendArchiveEntry(head, entry);
  const bool isReplaced = table_.Find(ArchiveTable::KeyOf(file.name)) != nullptr;
  return WriteExactly(head.View(), start + kChunkHeadSize) &&
         (!isReplaced || Platform::FlushFile(file_.Get())) &&
         WriteWord(kEntrySize + row->size, start + sizeof(std::uint32_t));
}

bool ArchiveEditor::Remove(ArchiveFile* file) {
  const Change change(*this);
  if (!change.Begun() || !MarkSuperseded() || !MarkDeleted(file->row.offset)) return false;
  table_.Remove(file);
  dirty_ = true;
  return true;
}

bool ArchiveEditor::Rename(ArchiveFile* file, std::string_view name) {
  std::string key = ArchiveTable::KeyOf(name);
  const Change change(*this);
  ArchiveChunkHead head;
  if (!change.Begun() || !MarkSuperseded()) return false;
  if (ReadChunkHead(file->row.offset, &head) != ChunkState::Live) return false;
  dirty_ = true;
  std::array<char, FilePath::kSize> field{};
  name.copy(field.data(), field.size() - 1);
  if (!WriteExactly(std::as_bytes(std::span(field)), file->row.offset - kEntrySize)) return false;
  table_.Rename(file, name, std::move(key));
  return true;
}

bool ArchiveEditor::WriteIndex(bool rebuild) {
  if (!IsOpen()) return false;
  if (!rebuild && !dirty_) return true;
  const Change change(*this);
  std::uint64_t start = 0;
  if (!change.Begun() || !MarkSuperseded() || !EndOfChunks(&start)) return false;
  if (rebuild) start = std::max(start, static_cast<std::uint64_t>(Platform::FileSize(file_.Get())));
  const std::uint64_t size = kChunkHeadSize + std::uint64_t{table_.Count()} * kRowSize;
  if (start + size > kLargestArchive) return false;
  dirty_ = true;
  if (!WriteRows(start) || !Platform::SetFileSize(file_.Get(), start + size)) return false;
  if (!Platform::FlushFile(file_.Get())) return false;
  info_.indexOffset = static_cast<std::uint32_t>(start);
  info_.entryCount = static_cast<std::uint32_t>(table_.Count());
  if (!WriteHead()) return false;
  dirty_ = false;
  return true;
}

bool ArchiveEditor::WriteRows(std::uint64_t start) const {
  ArchiveOutput out(file_.Get(), start);
  ByteWriter bytes;
  AppendArchiveChunkHead(bytes, {kIndexTag, 0});
  const ArchiveFile* file = table_.From(0);
  for (; file != nullptr; file = table_.From(file->place + 1)) {
    AppendArchiveRow(bytes, file->row);
    if (bytes.Size() < kRowsAPiece * kRowSize) continue;
    if (!out.Put(bytes.View())) return false;
    bytes.Clear();
  }
  if (!out.Put(bytes.View())) return false;
  const auto size = static_cast<std::uint32_t>(out.Size() - kChunkHeadSize);
  return WriteWord(size, start + sizeof(std::uint32_t));
}

bool ArchiveEditor::WriteHead() {
  ByteWriter out;
  const bool isInFront = infoOffset_ == kInfoOffset;
  if (isInFront) {
    AppendArchiveHead(out, info_);
  } else {
    AppendArchiveInfo(out, info_);
  }
  if (!WriteExactly(out.View(), isInFront ? 0 : infoOffset_)) return false;
  infoOnDisk_ = info_;
  return true;
}

}  // namespace Zef
