// FileSub: one source of files behind a substitution name ("data:config.txt"), a folder or an
// archive. Sources are registered with Subst (Subst.h) and asked in order, newest first.
//
// All operations but CloseFile, Version and IsKind run under the list's lock. A source counts the
// files open on it and the searches in it; one that was removed from the list lives, unavailable,
// until the last of them is closed. The base class answers false or nothing to everything.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "kernel/BlockAllocator.h"
#include "kernel/Containers.h"
#include "kernel/standard/FilePath.h"

namespace Zef {

class File;
class FileSub;
struct FileEntry;

enum class FileSubKind : std::uint32_t { Archive = 0, Folder = 1 };

/// One source's part in a folder search (File::Find): yields the entries whose names match, each
/// name once (ignoring case). The source outlives it.
class FileSubSearch : public KernelObject {
 public:
  virtual ~FileSubSearch() = default;
  /// Next entry that matches the pattern the search was opened with; false at the end.
  virtual bool Next(FileEntry* entry) = 0;
  /// True when the entry that the last Next yielded is a link.
  virtual bool IsLink() const { return false; }
};

class FileSub : public ISingleListNode, public KernelObject {
 public:
  virtual ~FileSub() = default;

  virtual bool IsReadOnly() const { return false; }
  virtual bool IsAvailable() const { return false; }
  /// Version of the container format; decides the CFIL header form of files within (257: short).
  virtual std::uint32_t Version() const { return 258; }
  virtual bool IsKind(FileSubKind) const { return false; }
  /// Opens for writing; sets the file's handle and name. `mode` is the file's open mode.
  virtual bool OpenForWrite(File&, const FilePath& /*path*/, std::uint32_t /*mode*/) {
    return false;
  }
  virtual bool OpenForRead(File&, const FilePath& /*path*/, std::uint32_t /*mode*/) {
    return false;
  }
  /// Finishes a file this source opened (compressing it when its mode asks for that). The base
  /// raises FileEx "CloseFile() Logic Error".
  virtual void CloseFile(File& file);
  virtual bool Exists(const FilePath&) { return false; }
  /// Copies the path to `result`, then answers as Exists.
  virtual bool Resolve(const FilePath& path, FilePath& result);
  virtual bool Delete(const FilePath&) { return false; }
  virtual bool Rename(const FilePath& /*from*/, const FilePath& /*to*/) { return false; }
  virtual bool MakeFolder(const FilePath&) { return false; }
  /// If the path exists here, rewrites it to the source's full form.
  virtual bool Qualify(FilePath&) { return false; }
  /// Modification time in seconds since 1970.
  virtual bool GetTime(std::uint32_t* /*time*/, const FilePath&) { return false; }
  virtual bool SetReadOnly(const FilePath&, bool /*readOnly*/) { return false; }
  /// Starts this source's part of a search, which the caller owns; null when there is nothing to
  /// search.
  virtual std::unique_ptr<FileSubSearch> OpenSearch(const FilePath& /*folder*/,
                                                    const char* /*wildcard*/) {
    return nullptr;
  }
  virtual void Lock() {}
  virtual void Unlock() {}
  /// Exact bytes of the path this source was registered with.
  virtual bool NameEquals(const char*) const { return false; }
  /// Deletes a folder and all below it, read-only files included; never follows a link. True when
  /// there is no folder and nothing else of that name in the end.
  virtual bool DeleteFolder(const FilePath&) { return false; }
  /// Tells of a path that exists whether it may not be written.
  virtual bool GetReadOnly(const FilePath&, bool* /*readOnly*/) { return false; }

  /// Takes one off `openFiles`; the last one of a removed source destroys it.
  void ReleaseFile();
  /// Called by the list when it lets go of the source: destroys it now or at the last release.
  void Remove();

  std::atomic<std::uint32_t> openFiles{0};

 protected:
  bool IsRemoved() const { return removed_; }

 private:
  bool removed_ = false;
};

}  // namespace Zef
