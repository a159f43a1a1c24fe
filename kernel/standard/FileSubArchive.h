// FileSubArchive: one archive file as a source behind a substitution name.
//
// Opening reads the index. An archive without a usable one is walked chunk by chunk when it is
// first asked for something; a walk ends at the first damage and yields all that stands before.
// Files are read in place through the archive's handle, any number of them at once. What is opened
// for writing goes to a nameless file beside the archive, which is appended when it is closed;
// what it replaces is marked as deleted and keeps its space. Names ignore ASCII case and keep their
// spelling. Folders exist only in the names.
//
// The index is written when the source goes away, or on demand. From the first change to then the
// archive says that it has none: killed at any moment it opens with every file that was whole.
// Processes do not know of each other: one archive has one writer and no other reader meanwhile. Of
// two sources over one archive the one that finds it changed by the other changes it no more.
//
// Any thread; one lock covers the table and all changes, reading takes none. Appending a file, and
// opening one to change it, copies it under that lock, the latter under the list's lock as well. An
// archive holds less than 4 GiB.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kernel/Sync.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/ArchiveEditor.h"
#include "kernel/standard/FileSub.h"

namespace Zef {

class FileSubArchive : public FileSub {
 public:
  /// Opens the archive; a missing or empty one is created if it may be written, which raises FileEx
  /// "Substitute() Open new archive failed" when it fails. What is no archive of a known version
  /// is left alone and unavailable.
  FileSubArchive(const char* path, bool readOnly);

  bool IsReadOnly() const override { return readOnly_; }
  bool IsAvailable() const override;
  /// 257 or 258; 0 for what is no archive.
  std::uint32_t Version() const override { return archive_.Version(); }
  bool IsKind(FileSubKind kind) const override { return kind == FileSubKind::Archive; }
  /// Every mode that writes or creates. What keeps the content that is there begins with a copy
  /// of it as it was given. False for a new name that is a folder's, or has a file for a folder.
  bool OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) override;
  bool OpenForRead(File& file, const FilePath& path, std::uint32_t mode) override;
  /// Appends what was written. Raises FileEx with the archive as it was before.
  void CloseFile(File& file) override;
  bool Exists(const FilePath& path) override;
  bool Delete(const FilePath& path) override;
  bool DeleteFolder(const FilePath& path) override;
  /// False if another file or a folder has the new name, or a file that of one of its folders.
  bool Rename(const FilePath& from, const FilePath& to) override;
  bool GetTime(std::uint32_t* time, const FilePath& path) override;
  bool GetReadOnly(const FilePath& path, bool* readOnly) override;
  std::unique_ptr<FileSubSearch> OpenSearch(const FilePath& folder, const char* wildcard) override;
  void Lock() override { lock_.Lock(kForever); }
  void Unlock() override { lock_.Unlock(); }
  bool NameEquals(const char* target) const override { return target_ == target; }

  /// Steps through the files in the archive's order; `cursor` is 0 before the first one. Files may
  /// come and go meanwhile.
  bool NextFile(std::size_t* cursor, ArchiveRow* row);
  std::size_t FileCount();
  /// Whether one more file of so many stored bytes, and the index behind it, would fit the archive.
  bool HasRoomFor(std::uint64_t stored);
  /// Where a walk met what is no chunk. Nothing for a whole archive, for one with an index, which
  /// is not walked, and for what a killed writer left at the end.
  std::optional<std::uint64_t> DamagedAt();
  /// False while an error of the device keeps part of the archive from being read; nothing is
  /// changed then.
  bool IsReadWhole();
  /// Writes the index if anything has changed, or in any case at the end of the file to rebuild it.
  /// False if that fails: the archive is then walked when it is next opened.
  bool WriteIndex(bool rebuild = false);

 private:
  class Search;

  ArchiveFile* Find(const FilePath& path);
  Platform::OwnedFile OpenTemporary(const ArchiveFile* old) const;

  CriticalSection lock_{"archive"};
  const std::string target_;  // as registered
  const bool readOnly_;
  ArchiveEditor archive_;
  const std::string path_;  // the same file wherever the process goes
};

}  // namespace Zef
