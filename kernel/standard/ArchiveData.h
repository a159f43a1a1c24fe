// ArchiveData: the bytes of files on their way into an archive and out of it, piece by piece.
//
// Memory: one block of 64 KiB, and a coder where something is compressed. Handles stay the
// caller's. Stateless but for the output, which belongs to one thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/ArchiveFormat.h"

namespace Zef {

/// Writes one after the other, from a place on.
class ArchiveOutput {
 public:
  ArchiveOutput(Platform::FileHandle file, std::uint64_t start)
      : file_(file), start_(start), next_(start) {}

  [[nodiscard]] bool Put(std::span<const std::byte> bytes);
  /// Bytes written so far.
  std::uint64_t Size() const { return next_ - start_; }

 private:
  const Platform::FileHandle file_;
  const std::uint64_t start_;
  std::uint64_t next_;
};

/// Stores the first `size` bytes of a file as they are. `checksum` goes on from what it holds.
[[nodiscard]] bool PutPlain(Platform::FileHandle from, std::uint64_t size, ArchiveOutput& out,
                            std::uint32_t* checksum);
/// The same as CFIL data; the checksum is that of the bytes read.
[[nodiscard]] bool PutCompressed(Platform::FileHandle from, std::uint64_t size, bool shortHeader,
                                 ArchiveOutput& out, std::uint32_t* checksum);
/// Writes a file's content as it was given to the archive: decoded if its entry says that the
/// archive compressed it, and as it stands if the file itself is CFIL data. Raises FileEx for
/// malformed blocks.
[[nodiscard]] bool CopyContent(Platform::FileHandle archive, std::uint32_t version,
                               const ArchiveRow& row, Platform::FileHandle to);

}  // namespace Zef
