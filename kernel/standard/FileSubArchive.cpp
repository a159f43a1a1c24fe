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

/// Nothing behind the largest archive is looked at, however long the file says that it is.
std::uint64_t WalkedLength(std::int64_t length) {
  return std::min(static_cast<std::uint64_t>(length), kLargestArchive);
}

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
    : target_(path),
      readOnly_(readOnly),
      file_(Platform::OpenFile(target_, {.write = !readOnly_})) {
  if (!readOnly_ && (!IsOpen() || IsEmptyFile())) {
    Create();
  } else if (IsOpen() && FindInfo()) {
    complete_ = LoadIndex();
    unwalked_ = complete_;
    if (!complete_) ForgetIndex();
  } else {
    file_.Close();
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
}

bool FileSubArchive::IsOpen() const { return static_cast<bool>(file_); }

bool FileSubArchive::IsEmptyFile() const {
  return Platform::IsRegularFile(file_.Get()) && Platform::FileSize(file_.Get()) == 0;
}

bool FileSubArchive::IsAvailable() const { return IsOpen() && !IsRemoved(); }

// Never empties a file that could only not be opened. One without a byte was left by a writer that
// was killed as it began.
void FileSubArchive::Create() {
  constexpr Platform::OpenOptions kNew{.write = true, .creation = Platform::Creation::CreateNew};
  if (!IsOpen()) file_ = Platform::OpenFile(target_, kNew);
  info_.version = kVersion;
  if (IsOpen() && WriteHead()) {
    lengthOnDisk_ = kInfoOffset + kInfoSize;
    complete_ = dirty_ = true;
    return;
  }
  if (IsOpen()) static_cast<void>(Platform::DeleteFile(target_));
  file_.Close();
  RaiseFileEx("Substitute() Open new archive failed");
}

bool FileSubArchive::FindInfo() {
  lengthOnDisk_ = Platform::FileSize(file_.Get());
  std::array<std::byte, kMagicSize> magic;
  if (lengthOnDisk_ < 0 || !ReadExactly(magic, 0) || ByteReader(magic).U32() != kMagic) {
    return false;
  }
  ArchiveWalk walk(file_.Get(), kMagicSize, WalkedLength(lengthOnDisk_));
  while (walk.NextOfAnyKind()) {
    if (walk.Head().tag != kInfoTag) continue;
    ByteReader record(walk.Content(kInfoSize));
    infoOffset_ = walk.DataStart();
    dataEnd_ = walkedTo_ = infoOffset_ + kInfoSize;
    const bool known = walk.Head().size == kInfoSize && ReadArchiveInfo(record, &info_);
    infoOnDisk_ = info_;
    return known;
  }
  return false;
}

bool FileSubArchive::LoadIndex() {
  const std::uint64_t start = info_.indexOffset;
  const std::uint64_t size = std::uint64_t{info_.entryCount} * kRowSize;
  const auto length = static_cast<std::uint64_t>(lengthOnDisk_);
  if (start == 0 || size == 0) return false;
  std::array<std::byte, kChunkHeadSize> bytes;
  const Reading reading = Read(bytes, start);
  indexUnread_ = reading == Reading::Failed;
  if (reading != Reading::Whole) return false;
  ByteReader in(bytes);
  const ArchiveChunkHead head = ReadArchiveChunkHead(in);
  const std::uint64_t end = start + kChunkHeadSize + size;
  if (head.tag != kIndexTag || head.size != size || end > length) return false;
  table_.Reserve(info_.entryCount);
  return AddRows(start + kChunkHeadSize, length);
}

void FileSubArchive::ForgetIndex() {
  table_.Clear();
  superseded_.clear();
  info_.indexOffset = 0;
  dataEnd_ = walkedTo_;
}

bool FileSubArchive::AddRows(std::uint64_t offset, std::uint64_t length) {
  std::vector<std::byte> piece;
  std::uint64_t left = info_.entryCount;
  while (left > 0) {
    const std::uint64_t rows = std::min(left, kRowsAPiece);
    piece.resize(rows * kRowSize);
    const Reading reading = Read(piece, offset);
    indexUnread_ = reading == Reading::Failed;
    if (reading != Reading::Whole) return false;
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
  // What cannot be done fails before the table changes.
  if (superseded_.size() == superseded_.capacity()) superseded_.reserve(2 * superseded_.size() + 1);
  if (const std::uint32_t other = table_.Add(row); other != 0) superseded_.push_back(other);
  dataEnd_ = std::max(dataEnd_, row.End());
}

/// Walks the archive from the info record on, once, if no index told what it holds. After a read
/// that failed the next question goes on from there.
void FileSubArchive::Complete() {
  if (complete_ || !IsOpen()) return;
  const std::int64_t length = Platform::FileSize(file_.Get());
  if (length < 0) return;
  ArchiveWalk walk(file_.Get(), walkedTo_, WalkedLength(length));
  while (walk.Next()) {
    if (walk.Head().tag == kFileTag && !AddFrom(walk)) return;
    walkedTo_ = walk.Head().tag == kIndexTag ? walk.Start() : walk.NextStart();
  }
  complete_ = walk.HowEnded() != ArchiveWalk::End::Unread;
  interrupted_ = walk.HowEnded() == ArchiveWalk::End::Interrupted;
  if (interrupted_ || walk.HowEnded() == ArchiveWalk::End::Damage) stoppedAt_ = walk.Start();
}

/// False if the entry cannot be read.
bool FileSubArchive::AddFrom(ArchiveWalk& walk) {
  ArchiveRow row;
  ByteReader content(walk.Content(kEntrySize));
  if (!ReadArchiveEntry(content, &row.entry)) return false;
  row.offset = static_cast<std::uint32_t>(walk.DataStart() + kEntrySize);
  row.size = walk.Head().size - kEntrySize;
  AddRow(row);
  return true;
}

ArchiveFile* FileSubArchive::Find(const FilePath& path) {
  Complete();
  return table_.Find(ArchiveTable::KeyOf(path.View()));
}

FileSubArchive::Reading FileSubArchive::Read(std::span<std::byte> to, std::uint64_t offset) const {
  const std::int64_t got = Platform::ReadAt(file_.Get(), to.data(), to.size(), offset);
  if (got < 0) return Reading::Failed;
  return got == static_cast<std::int64_t>(to.size()) ? Reading::Whole : Reading::Short;
}

bool FileSubArchive::ReadExactly(std::span<std::byte> to, std::uint64_t offset) const {
  return Read(to, offset) == Reading::Whole;
}

bool FileSubArchive::OpenForRead(File& file, const FilePath& path, std::uint32_t mode) {
  if ((mode & (FileMode::kWriteMask | FileMode::kCreateMask)) != 0) {
    return OpenForWrite(file, path, mode);
  }
  const SyncGuard guard(lock_);
  const ArchiveFile* found = Find(path);
  if (found == nullptr) return false;
  File::Opened opened;
  opened.handle = file_.Get();
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
  if (*cursor == 0) Complete();
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
  return interrupted_ ? std::nullopt : stoppedAt_;
}

bool FileSubArchive::IsReadWhole() {
  const SyncGuard guard(lock_);
  Complete();
  return complete_ && !indexUnread_;
}

}  // namespace Zef
