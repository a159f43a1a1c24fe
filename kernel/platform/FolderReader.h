// FolderReader: looking through many folders quickly.
//
// A folder is opened once; its entries, their sizes and the files in it are reached from the open
// handle, so no path is resolved twice. Links are never followed, except by Open, whose path the
// caller vouches for. A listing keeps its memory when it is used again.
//
// Cost: one system call for each folder opened and each 32 KiB of names, one for each size asked.
// A handle and a listing belong to one thread at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kernel/platform/FileSystem.h"

namespace Zef::Platform {

enum class EntryKind : std::uint8_t { File, Folder, Link, Other };

/// The names in one folder with what they stand for, without "." and "..".
class FolderListing {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t Count() const { return entries_.size(); }
  /// Zero-terminated, valid until the listing changes.
  const char* Name(std::size_t at) const { return names_.data() + entries_[at].start; }
  std::string_view NameView(std::size_t at) const { return {Name(at), entries_[at].length}; }
  EntryKind Kind(std::size_t at) const { return entries_[at].kind; }
  std::size_t CountOf(EntryKind kind) const;
  /// Orders by ASCII-folded bytes, ties by bytes, as ListFolder does.
  void Sort();
  /// The entry of that name, else the one that equals it ignoring ASCII case and is first in byte
  /// order; kNone without one. May pass over folders. Walks.
  std::size_t Find(std::string_view name, bool passFolders = false) const;

 private:
  friend class FolderReader;
  void Clear();
  void Add(std::string_view name, EntryKind kind);

  struct Entry {
    std::uint32_t start;
    std::uint32_t length;
    EntryKind kind;
  };

  std::string names_;
  std::vector<Entry> entries_;
};

/// An open folder.
class FolderReader {
 public:
  FolderReader() = default;
  /// Follows links. Not open when there is no such folder, or it cannot be read.
  explicit FolderReader(const std::string& path);

  bool IsOpen() const { return static_cast<bool>(handle_); }
  /// A folder in this one, by its exact name; not open for a link.
  [[nodiscard]] FolderReader OpenFolder(const char* name) const;
  /// Replaces the listing by this folder's entries, in the order of the disk. False, with an
  /// empty listing, when it cannot be read to its end.
  [[nodiscard]] bool List(FolderListing* listing) const;
  /// Bytes of a regular file in this folder; 0 for everything else.
  std::uint64_t SizeOf(const char* name) const;
  /// Opens a file in this folder for reading; no handle for a link and for what does not open. What
  /// is listed as a file may have become something else: reading then fails.
  [[nodiscard]] OwnedFile OpenFile(const char* name) const;

 private:
  explicit FolderReader(OwnedFile handle) : handle_(std::move(handle)) {}

  OwnedFile handle_;
};

}  // namespace Zef::Platform
