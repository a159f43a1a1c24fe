// ArchiveWalk: goes through an open archive chunk by chunk.
//
// Each chunk it comes to lies wholly in the file. It tells why it went no further: the end, damage,
// what a killed writer left behind everything else (a chunk or an index that never got its size),
// or an error of the device, after which nothing is known of the rest. A window saves system calls
// where chunks are small. Not thread-safe.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kernel/standard/ArchiveFormat.h"

namespace Zef {

class ArchiveWalk {
 public:
  enum class End { None, File, Damage, Interrupted, Unread };

  /// Of the file's first `length` bytes. The handle stays the caller's.
  ArchiveWalk(std::int32_t file, std::uint64_t start, std::uint64_t length)
      : file_(file), length_(length), next_(start) {}

  /// Goes on to the next chunk, whatever it is; false at the end. Many heads of zeros may be passed
  /// over as one.
  bool NextOfAnyKind();
  /// The same, but that a live file without room for its entry ends the walk.
  bool Next();
  End HowEnded() const { return end_; }

  /// Of the chunk, or of what is none and ended the walk.
  std::uint64_t Start() const { return start_; }
  std::uint64_t DataStart() const { return start_ + ArchiveFormat::kChunkHeadSize; }
  std::uint64_t NextStart() const { return next_; }
  const ArchiveChunkHead& Head() const { return head_; }
  /// The first `count` bytes of the chunk's content; fewer only if they cannot be read.
  std::span<const std::byte> Content(std::uint32_t count);

 private:
  void PassOverZeros();
  std::span<const std::byte> Fetch(std::uint64_t offset, std::size_t count);
  bool IsUnfinished();
  bool IsRow() const;

  const std::int32_t file_;
  const std::uint64_t length_;
  std::uint64_t start_ = 0;
  std::uint64_t next_;
  ArchiveChunkHead head_;
  End end_ = End::None;
  bool unread_ = false;
  std::array<std::byte, 4096> window_;
  std::uint64_t windowStart_ = 0;
  std::size_t windowBytes_ = 0;
};

}  // namespace Zef
