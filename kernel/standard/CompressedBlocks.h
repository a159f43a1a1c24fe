// CompressedBlocks: the blocks of a CFIL file, read in order or from any position, and the
// compression of a finished file into that form.
//
// A block covers up to 16384 bytes; only the last may cover fewer when it is coded. Blocks have
// no index: reaching a position walks the block words, from the nearest block that was passed
// before. Marks are kept well apart, so that files of tiny blocks cannot make them grow.
//
// Everything malformed raises FileEx. One thread an object; several objects may share a handle.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kernel/BlockAllocator.h"

namespace Zef {

class ByteWriter;
class NewFile;
class PairCoder;

/// Numbers of the CFIL form.
namespace CompressedFormat {
inline constexpr std::uint32_t kMagic = 0x4C494643;  // "CFIL"
inline constexpr std::uint32_t kVersion = 257;       ///< from here on the header has the size
inline constexpr std::uint32_t kHeaderSize = 12;
inline constexpr std::uint32_t kShortHeaderSize = 4;  ///< the magic alone, in version 257 archives
inline constexpr std::uint32_t kBlockSize = 16384;
inline constexpr std::int64_t kLargestFile = 0x7FFFFFFF;
}  // namespace CompressedFormat

class CompressedBlocks : public KernelObject {
 public:
  /// Blocks lie in [begin, end) of the file, whose handle stays the caller's. `size` is the
  /// logical size, or -1 if nothing tells it.
  CompressedBlocks(std::int32_t file, std::uint64_t begin, std::uint64_t end, std::int64_t size);

  /// Decodes the next block into `to` (kBlockSize bytes of room). Bytes yielded, 0 at the end.
  std::uint32_t ReadNext(std::uint8_t* to);
  /// Logical position of the block that ReadNext yields.
  std::int64_t NextStart() const { return next_.logical; }
  /// Makes the block that covers `position` the next one; `position` is in [0, Size()).
  void MoveTo(std::int64_t position);
  /// Logical size; unknown, it is found by walking all blocks once.
  std::int64_t Size();

 private:
  struct Place {
    std::uint64_t physical;
    std::int64_t logical;
  };
  struct Block {
    bool stored;
    std::uint32_t bytes;  // in the file, behind the word
  };

  bool ReadWord(const Place& place, std::uint32_t ahead, Block* block);
  std::uint32_t ReadBlock(const Block& block, std::uint8_t* to);
  bool Ends(std::uint64_t physical) const { return physical >= end_; }
  Place After(const Place& place, const Block& block) const;
  void Mark(const Place& place);
  const std::uint8_t* Fetch(std::uint64_t offset, std::uint32_t count, std::uint32_t ahead);

  std::int32_t file_;
  std::uint64_t end_;
  std::int64_t size_;
  Place next_;
  std::vector<Place> marks_;                // blocks passed, ascending, well apart
  std::unique_ptr<std::uint8_t[]> window_;  // bytes of the file at windowStart_
  std::uint64_t windowStart_ = 0;
  std::uint32_t windowBytes_ = 0;
};

/// Codes a piece of at most kBlockSize bytes and appends it as a block.
void AppendCompressedBlock(PairCoder& coder, const std::uint8_t* piece, std::uint32_t size,
                           ByteWriter& out);

/// Appends the CFIL form of the open file `source`. False when that cannot be read or is larger
/// than the form can tell; raises FileEx when it cannot be written.
[[nodiscard]] bool CompressInto(NewFile& packed, std::int32_t source);

/// Replaces the open file `source`, which lies at `path`, by its CFIL form: written beside it
/// under a temporary name, then renamed over it. Raises FileEx; the file at `path` is then as it
/// was. The handle stays open.
void CompressFile(std::int32_t source, const std::string& path);

}  // namespace Zef
