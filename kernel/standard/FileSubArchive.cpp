#include "kernel/standard/FileSubArchive.h"

#include <algorithm>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/ArchiveData.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/NewFile.h"

namespace Zef {

namespace {

/// The name a file gets; false for one that names a folder, is cut, or climbs out by "..".
bool ToEntryName(const FilePath& path, FilePath* name) {
  if (path.IsFull() || path.IsEmpty() || IsSeparator(path.View().back())) return false;
  *name = path;
  name->Normalise();
  const std::string_view text = name->View();
  const bool climbs = text == ".." || text.starts_with("../");
  return !text.empty() && !IsSeparator(text.front()) && !climbs;
}

}  // namespace

/// Remembers where it is by name, so that files may come and go meanwhile.
class FileSubArchive::Search : public FileSubSearch {
 public:
  Search(FileSubArchive& source, std::string prefix, const char* wildcard)
      : source_(source), prefix_(std::move(prefix)), next_(prefix_), wildcard_(wildcard) {}

  bool Next(FileEntry* entry) override {
    const SyncGuard guard(source_.lock_);
    ArchiveTable& table = source_.archive_.Table();
    const ArchiveFile* file = table.FromKey(next_);
    for (; file != nullptr && file->key.starts_with(prefix_); file = table.FromKey(next_)) {
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

  FileSubArchive& source_;
  const std::string prefix_;  // key of the folder with its separator
  std::string next_;
  const std::string wildcard_;
};

FileSubArchive::FileSubArchive(const char* path, bool readOnly)
    : target_(path),
      readOnly_(readOnly),
      archive_(target_, readOnly),
      path_(Platform::CanonicalPath(target_)) {}

bool FileSubArchive::IsAvailable() const { return archive_.IsOpen() && !IsRemoved(); }

ArchiveFile* FileSubArchive::Find(const FilePath& path) {
  archive_.Complete();
  return archive_.Table().Find(ArchiveTable::KeyOf(path.View()));
}

bool FileSubArchive::OpenForRead(File& file, const FilePath& path, std::uint32_t mode) {
  if ((mode & (FileMode::kWriteMask | FileMode::kCreateMask)) != 0) {
    return OpenForWrite(file, path, mode);
  }
  const SyncGuard guard(lock_);
  const ArchiveFile* found = Find(path);
  if (found == nullptr) return false;
  File::Opened opened;
  opened.handle = archive_.Handle();
  opened.borrowed = true;
  opened.dataStart = found->row.offset;
  opened.storedSize = found->row.size;
  if (found->row.IsCompressed()) opened.size = found->row.entry.size;
  opened.name = found->row.entry.name;
  opened.source = this;
  file.Adopt(std::move(opened));
  return true;
}

bool FileSubArchive::OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) {
  FilePath name;
  if (readOnly_ || !archive_.IsOpen() || !ToEntryName(path, &name)) return false;
  const SyncGuard guard(lock_);
  const std::uint32_t creation = mode & FileMode::kCreateMask;
  const ArchiveFile* old = Find(name);
  if (old == nullptr && creation == 0) return false;
  if (old != nullptr && creation == FileMode::kCreateNew) return false;
  if (!archive_.MayHaveName(name.View())) return false;
  const bool keeps = creation == 0 || creation == FileMode::kAppend;
  File::Opened opened;
  opened.name = name.Text();
  opened.handle = OpenTemporary(keeps ? old : nullptr).Release();
  if (opened.handle == Platform::kNoFile) return false;
  opened.source = this;
  file.Adopt(std::move(opened));
  return true;
}

/// The file loses its name at once: nothing stays behind, however this ends.
Platform::OwnedFile FileSubArchive::OpenTemporary(const ArchiveFile* old) const try {
  std::string name;
  Platform::OwnedFile file = CreateTemporaryBeside(path_, &name);
  const bool ready =
      file && Platform::DeleteFile(name) &&
      (old == nullptr || CopyContent(archive_.Handle(), archive_.Version(), old->row, file.Get()));
  return ready ? std::move(file) : Platform::OwnedFile();
} catch (const FileEx&) {
  return {};
}

void FileSubArchive::CloseFile(File& file) {
  if (file.Origin().borrowed || file.WriteFailed()) return;
  const SyncGuard guard(lock_);
  const bool compresses = FileMode::IsCompressing(file.Mode());
  if (!archive_.Append({file.Name(), file.Origin().handle, compresses})) {
    RaiseFileEx("CloseFile() Write to archive failed");
  }
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

bool FileSubArchive::Delete(const FilePath& path) {
  const SyncGuard guard(lock_);
  ArchiveFile* file = readOnly_ || !archive_.IsOpen() ? nullptr : Find(path);
  return file != nullptr && archive_.Remove(file);
}

bool FileSubArchive::DeleteFolder(const FilePath& path) {
  const SyncGuard guard(lock_);
  std::string prefix = ArchiveTable::KeyOf(path.View());
  if (readOnly_ || !archive_.IsOpen() || prefix.empty() || Find(path) != nullptr) return false;
  prefix += '/';
  ArchiveTable& table = archive_.Table();
  const ArchiveFile* file = table.FromKey(prefix);
  for (; file != nullptr && file->key.starts_with(prefix); file = table.FromKey(prefix)) {
    if (!archive_.Remove(table.Find(file->key))) return false;
  }
  return true;
}

bool FileSubArchive::Rename(const FilePath& from, const FilePath& to) {
  FilePath name;
  if (readOnly_ || !archive_.IsOpen() || !ToEntryName(to, &name)) return false;
  const SyncGuard guard(lock_);
  ArchiveFile* file = Find(from);
  const ArchiveFile* other = Find(name);
  if (file == nullptr || (other != nullptr && other != file)) return false;
  return archive_.MayHaveName(name.View()) && archive_.Rename(file, name.View());
}

std::unique_ptr<FileSubSearch> FileSubArchive::OpenSearch(const FilePath& folder,
                                                          const char* wildcard) {
  const SyncGuard guard(lock_);
  archive_.Complete();
  std::string prefix = ArchiveTable::KeyOf(folder.View());
  if (!prefix.empty()) {
    prefix += '/';
    const ArchiveFile* first = archive_.Table().FromKey(prefix);
    if (first == nullptr || !first->key.starts_with(prefix)) return nullptr;
  }
  return std::make_unique<Search>(*this, std::move(prefix), wildcard);
}

bool FileSubArchive::NextFile(std::size_t* cursor, ArchiveRow* row) {
  const SyncGuard guard(lock_);
  if (*cursor == 0) archive_.Complete();
  const ArchiveFile* file = archive_.Table().From(*cursor);
  if (file == nullptr) return false;
  *row = file->row;
  *cursor = file->place + 1;
  return true;
}

std::size_t FileSubArchive::FileCount() {
  const SyncGuard guard(lock_);
  archive_.Complete();
  return archive_.Table().Count();
}

bool FileSubArchive::HasRoomFor(std::uint64_t stored) {
  const SyncGuard guard(lock_);
  return archive_.HasRoomFor(stored);
}

std::optional<std::uint64_t> FileSubArchive::DamagedAt() {
  const SyncGuard guard(lock_);
  return archive_.DamagedAt();
}

bool FileSubArchive::IsReadWhole() {
  const SyncGuard guard(lock_);
  return archive_.IsReadWhole();
}

bool FileSubArchive::WriteIndex(bool rebuild) {
  const SyncGuard guard(lock_);
  if (readOnly_) return archive_.IsOpen() && !rebuild;
  return archive_.WriteIndex(rebuild);
}

}  // namespace Zef
