// ArchiveReader: an open archive file and what it holds.
//
// Opening reads the index. An archive without a usable one is walked chunk by chunk when it is
// first asked for something; a walk ends at the first damage and yields all that stands before.
// Not thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/ArchiveFormat.h"
#include "kernel/standard/ArchiveTable.h"
#include "kernel/standard/ArchiveWalk.h"

namespace Zef {

class ArchiveReader {
 public:
  ArchiveReader() = default;
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  /// Not open afterwards when that is no archive of a known version.
  void Open(Platform::OwnedFile file);
  bool IsOpen() const;
  Platform::FileHandle Handle() const { return file_.Get(); }
  /// 257 or 258; 0 for what is no archive.
  std::uint32_t Version() const { return info_.version; }

  /// Walks the archive from the info record on, once, if no index told what it holds. After a read
  /// that failed the next call goes on from there.
  void Complete();
  /// What is known of the archive's files: all of them once it is complete.
  ArchiveTable& Table() { return table_; }
  /// Where a walk met what is no chunk. Nothing for a whole archive, for one with an index, which
  /// is not walked, and for what a killed writer left at the end.
  std::optional<std::uint64_t> DamagedAt();
  /// False while an error of the device keeps part of the archive from being read.
  bool IsReadWhole();

 protected:
  enum class Reading { Whole, Short, Failed };

  Reading Read(std::span<std::byte> to, std::uint64_t offset) const;
  bool ReadExactly(std::span<std::byte> to, std::uint64_t offset) const;
  void AddRow(const ArchiveRow& row);

  Platform::OwnedFile file_;
  ArchiveInfo info_;
  std::uint64_t infoOffset_ = ArchiveFormat::kInfoOffset;  // of the record
  ArchiveInfo infoOnDisk_;                                 // as last read or written
  std::int64_t lengthOnDisk_ = 0;  // when opened, and after the last change from here
  ArchiveTable table_;
  std::uint64_t dataEnd_ = 0;  // behind the info record and all data the table has pointed to
  std::vector<std::uint32_t> superseded_;   // data of live chunks whose names later ones have
  std::optional<std::uint64_t> stoppedAt_;  // where a walk ended before the file did
  bool interrupted_ = false;                // by what a killed writer left
  bool complete_ = false;                   // the table holds every live file

 private:
  bool FindInfo();
  bool LoadIndex();
  void ForgetIndex();
  bool AddRows(std::uint64_t offset, std::uint64_t length);
  bool AddFrom(ArchiveWalk& walk);

  std::uint64_t walkedTo_ = 0;  // where a walk goes on
  bool indexUnread_ = false;    // by an error of the device
};

}  // namespace Zef
