// Archives as sources: opening, the walk, questions, reading and searching.

#include "kernel/standard/FileSubArchive.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

namespace Zef {

using namespace ArchiveFormat;

namespace {

constexpr std::uint64_t kRowsAPiece = 1024;

/// Goes from chunk to chunk, each of which lies wholly in the file. A window saves system calls
/// where chunks are small.
class ChunkWalk {
 public:
  ChunkWalk(std::int32_t file, std::uint64_t start, std::uint64_t length)
      : file_(file), length_(length), next_(start) {}

  /// False at the end of the file, and where what follows is no whole chunk.
  bool Next() {
    start_ = next_;
    if (start_ >= length_) return false;
    ByteReader head(Fetch(start_, kChunkHeadSize));
    head_ = ReadArchiveChunkHead(head);
    next_ = DataStart() + head_.size;
    damaged_ = head.Failed() || next_ > length_;
    return !damaged_;
  }
  std::uint64_t Start() const { return start_; }
  std::uint64_t DataStart() const { return start_ + kChunkHeadSize; }
  const ArchiveChunkHead& Head() const { return head_; }
  /// The first `count` bytes of the chunk's content; fewer than that only if they cannot be read.
  std::span<const std::byte> Content(std::uint32_t count) {
    const auto bytes = Fetch(start_, kChunkHeadSize + count);
    return bytes.subspan(std::min<std::size_t>(kChunkHeadSize, bytes.size()));
  }
  bool IsDamaged() const { return damaged_; }

 private:
  std::span<const std::byte> Fetch(std::uint64_t offset, std::size_t count) {
    if (offset < windowStart_ || offset + count > windowStart_ + windowBytes_) {
      const std::int64_t got = Platform::ReadAt(file_, window_.data(), window_.size(), offset);
      windowStart_ = offset;
      windowBytes_ = got < 0 ? 0 : static_cast<std::size_t>(got);
    }
    const std::size_t at = offset - windowStart_;
    return std::span(window_).first(windowBytes_).subspan(at, std::min(count, windowBytes_ - at));
  }

  const std::int32_t file_;
  const std::uint64_t length_;
  std::uint64_t start_ = 0;
  std::uint64_t next_;
  ArchiveChunkHead head_;
  bool damaged_ = false;
  std::array<std::byte, 4096> window_;
  std::uint64_t windowStart_ = 0;
  std::size_t windowBytes_ = 0;
};

}  // namespace

/// Remembers where it is by name, so that files may come and go meanwhile.
class FileSubArchive::Search : public FileSubSearch {
 public:
  Search(FileSubArchive& archive, std::string prefix, const char* wildcard)
      : archive_(archive), prefix_(std::move(prefix)), next_(prefix_), wildcard_(wildcard) {}

  bool Next(FileEntry* entry) override {
    const SyncGuard guard(archive_.lock_);
    const ArchiveFile* file = archive_.table_.FromKey(next_);
    for (; file != nullptr && file->key.starts_with(prefix_);
         file = archive_.table_.FromKey(next_)) {
      const std::string_view rest = std::string_view(file->key).substr(prefix_.size());
      const std::string_view component = rest.substr(0, rest.find('/'));
      next_ = ArchiveTable::Behind(prefix_ + std::string(component));
      if (Fill(*file, component.size(), component.size() < rest.size(), entry)) return true;
    }
    return false;
  }

 private:
  /// False for a component that the wildcard does not match, or that nobody could walk into.
  bool Fill(const ArchiveFile& file, std::size_t size, bool isFolder, FileEntry* entry) const {
    FilePath name(file.row.entry.name);
    name.Normalise();
    const std::string component(name.View().substr(prefix_.size(), size));
    if (component.empty() || component == "..") return false;
    if (!MatchWildcard(component.c_str(), wildcard_.c_str())) return false;
    *entry = file.row.entry;
    std::fill(std::begin(entry->name), std::end(entry->name), '\0');
    component.copy(entry->name, sizeof entry->name - 1);
    if (isFolder) {
      entry->size = entry->storedSize = entry->checksum = 0;
      entry->attributes = FileEntry::kFolder | FileEntry::kReadOnly;
    } else {
      entry->attributes &= static_cast<std::uint16_t>(~FileEntry::kFolder);
    }
    return true;
  }

  FileSubArchive& archive_;
  const std::string prefix_;  // key of the folder with its separator
  std::string next_;
  const std::string wildcard_;
};

FileSubArchive::FileSubArchive(const char* path, bool readOnly)
    : target_(path), readOnly_(readOnly) {
  handle_ = Platform::OpenFile(target_, {.write = !readOnly_});
  if (!IsOpen() && !readOnly_) {
    Create();
  } else if (IsOpen() && FindInfo()) {
    complete_ = LoadIndex();
    if (!complete_) {
      table_.Clear();
      info_.indexOffset = 0;
    }
  } else {
    CloseHandle();
    info_ = ArchiveInfo();
  }
  path_ = Platform::CanonicalPath(target_);
}

FileSubArchive::~FileSubArchive() {
  try {
    if (complete_ && dirty_) static_cast<void>(WriteIndex());
  } catch (...) {
    // Without an index the archive is walked.
  }
  CloseHandle();
}

bool FileSubArchive::IsOpen() const { return handle_ != Platform::kNoFile; }

bool FileSubArchive::IsAvailable() const { return IsOpen() && !IsRemoved(); }

void FileSubArchive::CloseHandle() {
  if (IsOpen()) Platform::CloseFile(std::exchange(handle_, Platform::kNoFile));
}

// Never empties a file that could only not be opened.
void FileSubArchive::Create() {
  handle_ = Platform::OpenFile(target_, {.write = true, .creation = Platform::Creation::CreateNew});
  info_.version = kVersion;
  if (IsOpen() && WriteHead()) {
    complete_ = dirty_ = true;
    return;
  }
  if (IsOpen()) static_cast<void>(Platform::DeleteFile(target_));
  CloseHandle();
  RaiseFileEx("Substitute() Open new archive failed");
}

bool FileSubArchive::FindInfo() {
  const std::int64_t length = Platform::FileSize(handle_);
  std::array<std::byte, kMagicSize> magic;
  if (length < 0 || !ReadExactly(magic, 0) || ByteReader(magic).U32() != kMagic) return false;
  ChunkWalk walk(handle_, kMagicSize, static_cast<std::uint64_t>(length));
  while (walk.Next()) {
    if (walk.Head().tag != kInfoTag) continue;
    ByteReader record(walk.Content(kInfoSize));
    infoOffset_ = walk.DataStart();
    dataEnd_ = infoOffset_ + kInfoSize;
    const bool known = walk.Head().size == kInfoSize && ReadArchiveInfo(record, &info_);
    indexOnDisk_ = info_.indexOffset;
    return known;
  }
  return false;
}

bool FileSubArchive::LoadIndex() {
  const std::uint64_t start = info_.indexOffset;
  const std::uint64_t size = std::uint64_t{info_.entryCount} * kRowSize;
  const std::int64_t length = Platform::FileSize(handle_);
  if (start == 0 || size == 0 || length < 0) return false;
  std::array<std::byte, kChunkHeadSize> bytes;
  if (!ReadExactly(bytes, start)) return false;
  ByteReader in(bytes);
  const ArchiveChunkHead head = ReadArchiveChunkHead(in);
  const std::uint64_t end = start + kChunkHeadSize + size;
  if (head.tag != kIndexTag || head.size != size || end > static_cast<std::uint64_t>(length)) {
    return false;
  }
  table_.Reserve(info_.entryCount);
  return AddRows(start + kChunkHeadSize, static_cast<std::uint64_t>(length));
}

bool FileSubArchive::AddRows(std::uint64_t offset, std::uint64_t length) {
  std::vector<std::byte> piece;
  std::uint64_t left = info_.entryCount;
  while (left > 0) {
    const std::uint64_t rows = std::min(left, kRowsAPiece);
    piece.resize(rows * kRowSize);
    if (!ReadExactly(piece, offset)) return false;
    ByteReader in(piece);
    for (std::uint64_t i = 0; i < rows; ++i) {
      ArchiveRow row;
      if (!ReadArchiveRow(in, length, &row)) return false;
      AddRow(row);
    }
    offset += piece.size();
    left -= rows;
  }
  return true;
}

void FileSubArchive::AddRow(const ArchiveRow& row) {
  table_.Add(row);
  dataEnd_ = std::max(dataEnd_, row.End());
}

/// Walks the archive from the info record on, once, if no index told what it holds. Data that a row
/// could not point to ends the walk as damage does.
void FileSubArchive::Complete() {
  if (complete_ || !IsOpen()) return;
  complete_ = true;
  const std::int64_t length = std::max<std::int64_t>(Platform::FileSize(handle_), 0);
  ChunkWalk walk(handle_, infoOffset_ + kInfoSize, static_cast<std::uint64_t>(length));
  while (walk.Next()) {
    if (walk.Head().tag != kFileTag) continue;
    const std::uint64_t data = walk.Start() + kFileHeadSize;
    ArchiveRow row;
    ByteReader content(walk.Content(kEntrySize));
    if (walk.Head().size < kEntrySize || data > kLargestArchive ||
        !ReadArchiveEntry(content, &row.entry)) {
      damagedAt_ = walk.Start();
      return;
    }
    row.offset = static_cast<std::uint32_t>(data);
    row.size = walk.Head().size - kEntrySize;
    const ArchiveFile* earlier = table_.Find(ArchiveTable::KeyOf(row.entry.name));
    if (earlier != nullptr) superseded_.push_back(earlier->row.offset);
    AddRow(row);
  }
  if (walk.IsDamaged()) damagedAt_ = walk.Start();
}

ArchiveFile* FileSubArchive::Find(const FilePath& path) {
  Complete();
  return table_.Find(ArchiveTable::KeyOf(path.View()));
}

bool FileSubArchive::ReadExactly(std::span<std::byte> to, std::uint64_t offset) const {
  return Platform::ReadAt(handle_, to.data(), to.size(), offset) ==
         static_cast<std::int64_t>(to.size());
}

bool FileSubArchive::OpenForRead(File& file, const FilePath& path, std::uint32_t mode) {
  if ((mode & (FileMode::kWriteMask | FileMode::kCreateMask)) != 0) {
    return OpenForWrite(file, path, mode);
  }
  const SyncGuard guard(lock_);
  const ArchiveFile* found = Find(path);
  if (found == nullptr) return false;
  File::Opened opened;
  opened.handle = handle_;
  opened.borrowed = true;
  opened.dataStart = found->row.offset;
  opened.storedSize = found->row.size;
  if (found->row.IsCompressed()) opened.size = found->row.entry.size;
  opened.name = found->row.entry.name;
  opened.source = this;
  file.Adopt(std::move(opened));
  return true;
}

bool FileSubArchive::Exists(const FilePath& path) {
  const SyncGuard guard(lock_);
  return Find(path) != nullptr;
}

bool FileSubArchive::GetTime(std::uint32_t* time, const FilePath& path) {
  const SyncGuard guard(lock_);
  const ArchiveFile* file = Find(path);
  if (file == nullptr) return false;
  *time = file->row.entry.written;
  return true;
}

bool FileSubArchive::GetReadOnly(const FilePath& path, bool* readOnly) {
  const SyncGuard guard(lock_);
  const ArchiveFile* file = Find(path);
  if (file == nullptr) return false;
  *readOnly = readOnly_ || (file->row.entry.attributes & FileEntry::kReadOnly) != 0;
  return true;
}

std::unique_ptr<FileSubSearch> FileSubArchive::OpenSearch(const FilePath& folder,
                                                          const char* wildcard) {
  const SyncGuard guard(lock_);
  Complete();
  std::string prefix = ArchiveTable::KeyOf(folder.View());
  if (!prefix.empty()) {
    prefix += '/';
    const ArchiveFile* first = table_.FromKey(prefix);
    if (first == nullptr || !first->key.starts_with(prefix)) return nullptr;
  }
  return std::make_unique<Search>(*this, std::move(prefix), wildcard);
}

bool FileSubArchive::NextFile(std::size_t* cursor, ArchiveRow* row) {
  const SyncGuard guard(lock_);
  Complete();
  const ArchiveFile* file = table_.From(*cursor);
  if (file == nullptr) return false;
  *row = file->row;
  *cursor = file->place + 1;
  return true;
}

std::size_t FileSubArchive::FileCount() {
  const SyncGuard guard(lock_);
  Complete();
  return table_.Count();
}

std::optional<std::uint64_t> FileSubArchive::DamagedAt() {
  const SyncGuard guard(lock_);
  Complete();
  return damagedAt_;
}

}  // namespace Zef
