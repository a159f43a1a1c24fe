// FileSubPath: a folder of the operating system as a source behind a substitution name.
//
// Names are found in their exact spelling first, then component by component ignoring ASCII case;
// what is created reuses folders and files that exist in another case. A path that climbs out of
// the folder by ".." does not exist in it. Called under the substitution list's lock.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kernel/standard/FileSub.h"

namespace Zef {

class FileSubPath : public FileSub {
 public:
  /// `target` ends in a separator. A folder that does not exist is unavailable until something was
  /// written to it.
  FileSubPath(const char* target, bool readOnly);

  bool IsReadOnly() const override { return readOnly_; }
  bool IsAvailable() const override { return available_ && !IsRemoved(); }
  bool IsKind(FileSubKind kind) const override { return kind == FileSubKind::Folder; }
  bool OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) override;
  bool OpenForRead(File& file, const FilePath& path, std::uint32_t mode) override;
  void CloseFile(File& file) override;
  bool Exists(const FilePath& path) override;
  bool Delete(const FilePath& path) override;
  bool DeleteFolder(const FilePath& path) override;
  bool Rename(const FilePath& from, const FilePath& to) override;
  bool MakeFolder(const FilePath& path) override;
  bool Qualify(FilePath& path) override;
  bool GetTime(std::uint32_t* time, const FilePath& path) override;
  bool SetReadOnly(const FilePath& path, bool readOnly) override;
  bool GetReadOnly(const FilePath& path, bool* readOnly) override;
  std::unique_ptr<FileSubSearch> OpenSearch(const FilePath& folder, const char* wildcard) override;
  bool NameEquals(const char* target) const override { return target_ == target; }

 private:
  std::string Locate(const FilePath& path) const;
  bool Open(File& file, const FilePath& path, std::uint32_t mode);

  std::string target_;
  std::string folder_;  // the target without trailing separators
  bool readOnly_;
  bool available_;
};

}  // namespace Zef
