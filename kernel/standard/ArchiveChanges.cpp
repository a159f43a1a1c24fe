// Changes to archives: writing, deleting, renaming, the index.
//
// Each change is arranged so that a process killed between any two writes leaves an archive that
// a walk can read: the file first disowns its index, a chunk gets its size when it is whole, and
// what it replaces, which a walk takes no more, is marked as deleted some time after that. So that
// a power cut spares what was there before, the index is disowned on the device before the next
// write, what replaces a file is whole there before it gets its size, and has its size there before
// the mark.

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Crc32.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/PairCoder.h"

namespace Zef {

using namespace ArchiveFormat;

namespace {

constexpr std::uint32_t kPieceSize = CompressedFormat::kBlockSize;
constexpr std::size_t kRowsAPiece = 1024;

/// The name a file gets; false for one that names a folder, is cut, or climbs out by "..".
bool ToEntryName(const FilePath& path, FilePath* name) {
  if (path.IsFull() || path.IsEmpty() || IsSeparator(path.View().back())) return false;
  *name = path;
  name->Normalise();
  const std::string_view text = name->View();
  const bool climbs = text == ".." || text.starts_with("../");
  return !text.empty() && !IsSeparator(text.front()) && !climbs;
}

/// Writes one after the other, from a place on.
class Output {
 public:
  Output(std::int32_t file, std::uint64_t start) : file_(file), start_(start), next_(start) {}

  bool Put(std::span<const std::byte> bytes) {
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (Platform::WriteAt(file_, bytes.data(), bytes.size(), next_) != size) return false;
    next_ += bytes.size();
    return true;
  }
  std::uint64_t Size() const { return next_ - start_; }

 private:
  const std::int32_t file_;
  const std::uint64_t start_;
  std::uint64_t next_;
};

/// Calls `use` with each piece of a span of a file; false if one cannot be read or `use` fails.
template <typename Use>
bool ForEachPiece(std::int32_t file, std::uint64_t start, std::uint64_t size, Use use) {
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

bool PutPlain(std::int32_t from, std::uint64_t size, Output& out, std::uint32_t* checksum) {
  return ForEachPiece(from, 0, size, [&](const std::uint8_t* piece, std::uint32_t bytes) {
    *checksum = Crc32(*checksum, piece, bytes);
    return out.Put({reinterpret_cast<const std::byte*>(piece), bytes});
  });
}

bool PutCompressed(std::int32_t from, std::uint64_t size, bool shortHeader, Output& out,
                   std::uint32_t* checksum) {
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

}  // namespace

bool FileSubArchive::WriteExactly(std::span<const std::byte> bytes, std::uint64_t offset) const {
  return Platform::WriteAt(file_.Get(), bytes.data(), bytes.size(), offset) ==
         static_cast<std::int64_t>(bytes.size());
}

bool FileSubArchive::WriteWord(std::uint32_t word, std::uint64_t offset) const {
  return WriteExactly(std::as_bytes(std::span(&word, 1)), offset);
}

/// Reads the head where a file's chunk should begin. There need be none, for rows of a damaged
/// index point anywhere.
FileSubArchive::ChunkState FileSubArchive::ReadChunkHead(std::uint32_t dataOffset,
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
bool FileSubArchive::MarkDeleted(std::uint32_t dataOffset) const {
  ArchiveChunkHead head;
  const ChunkState state = ReadChunkHead(dataOffset, &head);
  return state == ChunkState::None ||
         (state == ChunkState::Live && WriteWord(kDeletedTag, dataOffset - kFileHeadSize));
}

/// What later chunks replace is hidden from walks without a mark, as long as those stand. To wait
/// for the device once for many, it is marked before one of them may go or an index counts.
bool FileSubArchive::MarkSuperseded() {
  if (!superseded_.empty() && !Platform::FlushFile(file_.Get())) return false;
  for (; !superseded_.empty(); superseded_.pop_back()) {
    if (!MarkDeleted(superseded_.back())) return false;
  }
  return true;
}

/// A change, from making sure that the archive can be changed to noting what it is afterwards.
class FileSubArchive::Change {
 public:
  explicit Change(FileSubArchive& archive) : archive_(archive), begun_(archive.BeginChange()) {}
  ~Change() {
    if (begun_) archive_.lengthOnDisk_ = Platform::FileSize(archive_.file_.Get());
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  bool Begun() const { return begun_; }

 private:
  FileSubArchive& archive_;
  const bool begun_;
};

/// Makes the archive one that has to be walked until its index is written anew.
bool FileSubArchive::BeginChange() {
  Complete();
  if (!complete_ || indexUnread_ || !IsAsLeft()) return false;
  return DisownIndex() && (!stoppedAt_ || SealEnd());
}

/// False if somebody else has changed the archive, which may have other chunks by now where the
/// table says that files are, or where it ends.
bool FileSubArchive::IsAsLeft() const {
  std::array<std::byte, kInfoSize> bytes;
  ArchiveInfo info;
  if (Platform::FileSize(file_.Get()) != lengthOnDisk_ || !ReadExactly(bytes, infoOffset_))
    return false;
  ByteReader in(bytes);
  return ReadArchiveInfo(in, &info) && info == infoOnDisk_;
}

bool FileSubArchive::DisownIndex() {
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
bool FileSubArchive::EndOfChunks(std::uint64_t* end) const {
  const std::int64_t length = Platform::FileSize(file_.Get());
  if (length < 0) return false;
  *end = static_cast<std::uint64_t>(length);
  const bool hasIndex = info_.indexOffset != 0 && dataEnd_ <= info_.indexOffset;
  if (hasIndex) *end = std::min<std::uint64_t>(*end, info_.indexOffset);
  return true;
}

bool FileSubArchive::HasRoomBehind(std::uint64_t end, std::uint64_t stored) const {
  const std::uint64_t rows = std::uint64_t{table_.Count()} + 1;
  const std::uint64_t rest = end + kFileHeadSize + kChunkHeadSize + rows * kRowSize;
  return stored <= kLargestArchive && rest + stored <= kLargestArchive;
}

bool FileSubArchive::HasRoomFor(std::uint64_t stored) {
  const SyncGuard guard(lock_);
  Complete();
  std::uint64_t end = 0;
  return IsOpen() && EndOfChunks(&end) && HasRoomBehind(end, stored);
}

bool FileSubArchive::OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) {
  FilePath name;
  if (readOnly_ || !IsOpen() || !ToEntryName(path, &name)) return false;
  const SyncGuard guard(lock_);
  const std::uint32_t creation = mode & FileMode::kCreateMask;
  const ArchiveFile* old = Find(name);
  if (old == nullptr && creation == 0) return false;
  if (old != nullptr && creation == FileMode::kCreateNew) return false;
  if (!TakesName(name.View())) return false;
  const bool keeps = creation == 0 || creation == FileMode::kAppend;
  File::Opened opened;
  opened.name = name.Text();
  opened.handle = OpenTemporary(keeps ? old : nullptr).Release();
  if (opened.handle == Platform::kNoFile) return false;
  opened.source = this;
  file.Adopt(std::move(opened));
  return true;
}

/// A name that is there is taken again, whatever another writer has put beside it.
bool FileSubArchive::TakesName(std::string_view name) {
  const std::string key = ArchiveTable::KeyOf(name);
  return table_.Find(key) != nullptr || !table_.IsBlocked(key);
}

/// The file loses its name at once: nothing stays behind, however this ends.
Platform::OwnedFile FileSubArchive::OpenTemporary(const ArchiveFile* old) const try {
  std::string name;
  Platform::OwnedFile file = CreateTemporaryBeside(path_, &name);
  const bool ready =
      file && Platform::DeleteFile(name) && (old == nullptr || CopyContent(old->row, file.Get()));
  return ready ? std::move(file) : Platform::OwnedFile();
} catch (const FileEx&) {
  return {};
}

/// The content as it was given: decoded if its entry says that the archive compressed it, and as it
/// stands if the file itself is CFIL data. Raises FileEx for malformed blocks.
bool FileSubArchive::CopyContent(const ArchiveRow& row, std::int32_t to) const {
  Output out(to, 0);
  const auto put = [&](const std::uint8_t* piece, std::uint32_t count) {
    return out.Put({reinterpret_cast<const std::byte*>(piece), count});
  };
  const bool shortHeader = info_.version == kFirstVersion;
  const std::uint32_t header =
      shortHeader ? CompressedFormat::kShortHeaderSize : CompressedFormat::kHeaderSize;
  std::array<std::byte, CompressedFormat::kHeaderSize> bytes{};
  ByteReader in(bytes);
  const bool isCoded = row.IsCompressed() && row.size >= header &&
                       ReadExactly(std::span(bytes).first(header), row.offset) &&
                       in.U32() == CompressedFormat::kMagic;
  if (!isCoded) return ForEachPiece(file_.Get(), row.offset, row.size, put);

  const bool hasSize = in.U32() >= CompressedFormat::kVersion;
  const std::int64_t size = hasSize ? in.U32() : row.entry.size;
  if (size > CompressedFormat::kLargestFile) return false;
  CompressedBlocks blocks(file_.Get(), std::uint64_t{row.offset} + header, row.End(), size);
  const auto piece = std::make_unique<std::uint8_t[]>(kPieceSize);
  for (std::uint32_t count = 1; count > 0;) {
    count = blocks.ReadNext(piece.get());
    if (!put(piece.get(), count)) return false;
  }
  return true;
}

void FileSubArchive::CloseFile(File& file) {
  if (file.Origin().borrowed || file.WriteFailed()) return;
  const SyncGuard guard(lock_);
  if (!Append(file)) RaiseFileEx("CloseFile() Write to archive failed");
}

bool FileSubArchive::Append(const File& file) {
  const Change change(*this);
  std::uint64_t start = 0;
  if (!change.Begun() || !EndOfChunks(&start) || !TakesName(file.Name())) return false;
  dirty_ = true;
  if (!Platform::SetFileSize(file_.Get(), start)) return false;
  ArchiveRow row;
  {
    struct Undo {
      const std::int32_t handle;
      const std::uint64_t start;
      bool wanted = true;
      ~Undo() {
        if (wanted) static_cast<void>(Platform::SetFileSize(handle, start));
      }
    } undo{file_.Get(), start};
    if (!WriteChunk(file, start, &row)) return false;
    AddRow(row);
    undo.wanted = false;
  }
  info_.indexOffset = static_cast<std::uint32_t>(row.End());
  return true;
}

/// Writes a chunk that counts for nothing until its size is written at the end. It leaves room for
/// the index.
bool FileSubArchive::WriteChunk(const File& file, std::uint64_t start, ArchiveRow* row) const {
  const std::int32_t from = file.Origin().handle;
  const bool compresses = FileMode::IsCompressing(file.Mode());
  Platform::FileInfo info;
  if (!Platform::GetOpenInfo(from, &info)) return false;
  if (!HasRoomBehind(start, LargestStored(info.size, compresses))) return false;
  if (compresses && info.size > CompressedFormat::kLargestFile) return false;

  const std::uint64_t data = start + kFileHeadSize;
  row->offset = static_cast<std::uint32_t>(data);
  FileEntry& entry = row->entry;
  file.Name().copy(entry.name, sizeof entry.name - 1);
  entry.size = static_cast<std::uint32_t>(info.size);
  entry.created = entry.accessed = entry.written = ClampToWord(info.written);
  if (compresses) entry.attributes = FileEntry::kCompressed;
  ByteWriter head;
  AppendArchiveChunkHead(head, {kFileTag, 0});
  AppendArchiveEntry(head, entry);
  Output out(file_.Get(), data);
  if (!WriteExactly(head.View(), start)) return false;
  const bool shortHeader = info_.version == kFirstVersion;
  const bool copied = compresses ? PutCompressed(from, info.size, shortHeader, out, &entry.checksum)
                                 : PutPlain(from, info.size, out, &entry.checksum);
  if (!copied) return false;

  row->size = entry.storedSize = static_cast<std::uint32_t>(out.Size());
  head.Clear();
  AppendArchiveEntry(head, entry);
  const bool isReplaced = table_.Find(ArchiveTable::KeyOf(file.Name())) != nullptr;
  return WriteExactly(head.View(), start + kChunkHeadSize) &&
         (!isReplaced || Platform::FlushFile(file_.Get())) &&
         WriteWord(kEntrySize + row->size, start + sizeof(std::uint32_t));
}

bool FileSubArchive::Remove(ArchiveFile* file) {
  const Change change(*this);
  if (!change.Begun() || !MarkSuperseded() || !MarkDeleted(file->row.offset)) return false;
  table_.Remove(file);
  dirty_ = true;
  return true;
}

bool FileSubArchive::Delete(const FilePath& path) {
  const SyncGuard guard(lock_);
  ArchiveFile* file = readOnly_ || !IsOpen() ? nullptr : Find(path);
  return file != nullptr && Remove(file);
}

bool FileSubArchive::DeleteFolder(const FilePath& path) {
  const SyncGuard guard(lock_);
  std::string prefix = ArchiveTable::KeyOf(path.View());
  if (readOnly_ || !IsOpen() || prefix.empty() || Find(path) != nullptr) return false;
  prefix += '/';
  const ArchiveFile* file = table_.FromKey(prefix);
  for (; file != nullptr && file->key.starts_with(prefix); file = table_.FromKey(prefix)) {
    if (!Remove(table_.Find(file->key))) return false;
  }
  return true;
}

bool FileSubArchive::Rename(const FilePath& from, const FilePath& to) {
  FilePath name;
  if (readOnly_ || !IsOpen() || !ToEntryName(to, &name)) return false;
  const SyncGuard guard(lock_);
  ArchiveFile* file = Find(from);
  const ArchiveFile* other = Find(name);
  if (file == nullptr || (other != nullptr && other != file) || !TakesName(name.View())) {
    return false;
  }
  const Change change(*this);
  ArchiveChunkHead head;
  if (!change.Begun() || !MarkSuperseded()) return false;
  if (ReadChunkHead(file->row.offset, &head) != ChunkState::Live) return false;
  dirty_ = true;
  std::array<char, FilePath::kSize> field{};
  name.View().copy(field.data(), field.size() - 1);
  if (!WriteExactly(std::as_bytes(std::span(field)), file->row.offset - kEntrySize)) return false;
  table_.Rename(file, name.View());
  return true;
}

bool FileSubArchive::WriteIndex(bool rebuild) {
  const SyncGuard guard(lock_);
  if (!IsOpen()) return false;
  if (!rebuild && !dirty_) return true;
  if (readOnly_) return false;
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

bool FileSubArchive::WriteRows(std::uint64_t start) const {
  Output out(file_.Get(), start);
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

bool FileSubArchive::WriteHead() {
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
