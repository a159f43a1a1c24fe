// AssetArchiveFile: a file that strings packages together, to keep assets outside the product.
//
//   AssetArchiveWriter writer(path, archiveId);
//   bool done = writer.Append(id, package.Tags()) && writer.Finish();
//
// Each entry is the package of one asset. Places are words, so a file holds less than 4 GiB. A
// writer makes a new file, which takes its name when it is finished: whole or not at all. A reader
// checks every place and length against the file before it goes by them; docs/format-package.md
// has the bytes. One thread an object.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/NewFile.h"
#include "tagdata/PLID.h"

class MUKPackage;
class TagContainer;

class AssetArchiveWriter {
 public:
  /// Of a file at `path`, which is replaced if it stands. What is not finished is dropped.
  AssetArchiveWriter(std::string path, std::uint32_t archiveId);

  bool IsOpen() const { return file_.IsPending(); }
  /// False for an identifier that cannot be stored, for a tree that cannot be written, when the
  /// file would grow to 4 GiB, and when it cannot be written; all that follows then fails.
  [[nodiscard]] bool Append(const PLID& id, const TagContainer& package);
  /// Closes the list and puts the file in its place.
  [[nodiscard]] bool Finish();

 private:
  bool Write(std::span<const std::byte> bytes);

  Zef::NewFile file_;
};

enum class AssetArchiveStatus {
  Ok,
  NoFile,     ///< not to be opened or read
  NoArchive,  ///< no such file, or of another version
  OtherId,    ///< not the archive that was asked for
  Damaged,    ///< a place or length leads astray; the entries before that stand
};

class AssetArchiveReader {
 public:
  struct Entry {
    PLID id;
    std::uint32_t offset = 0;  ///< of its package
    std::uint32_t size = 0;    ///< of its package
  };

  /// Opens a file and lists its entries; `archiveId` is the one that it must have.
  [[nodiscard]] AssetArchiveStatus Open(const std::string& path, std::uint32_t archiveId);
  const std::vector<Entry>& Entries() const { return entries_; }
  /// Reads the package of an entry into memory. An error text, empty when good; the package is
  /// empty otherwise.
  [[nodiscard]] std::string OpenPackage(const Entry& entry, MUKPackage& package) const;

 private:
  AssetArchiveStatus ReadHeader(std::uint32_t archiveId, std::uint64_t* end) const;
  AssetArchiveStatus ReadEntries(std::uint64_t end);
  bool Read(std::span<std::byte> bytes, std::uint64_t offset) const;

  Zef::Platform::OwnedFile file_;
  std::vector<Entry> entries_;
};
