#include "kernel/standard/CompressedBlocks.h"

#include <algorithm>
#include <cstring>

#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/PairCoder.h"

namespace Zef {

namespace {

using namespace CompressedFormat;

constexpr std::uint32_t kStoredBit = 0x8000;
constexpr std::uint32_t kWordSize = 2;
// One system call brings several blocks when they are read in order; a walk over words takes
// little, since the next word is usually far away.
constexpr std::uint32_t kWindowSize = 65536;
constexpr std::uint32_t kWalkAhead = 4096;

constexpr const char* kBadSize = "ReadNext() Failed to read block size";
constexpr const char* kBadCoded = "ReadNext() Failed to read compressed block";
constexpr const char* kBadStored = "ReadNext() Failed to read uncompressed block";
constexpr const char* kBadBlock = "ReadNext() Failed to read block";
constexpr const char* kWriteFailed = "WriteBuffer() Write failed";

void Append(NewFile& file, const ByteWriter& bytes) {
  if (!file.Append(bytes.View().data(), bytes.Size())) RaiseFileEx(kWriteFailed);
}

}  // namespace

CompressedBlocks::CompressedBlocks(std::int32_t file, std::uint64_t begin, std::uint64_t end,
                                   std::int64_t size)
    : file_(file), end_(end), size_(size), next_{begin, 0}, marks_{next_} {}

// View of `count` bytes of the file, null when they do not all lie before the end. A miss reads
// `ahead` bytes, which is at least `count` and at most the window.
const std::uint8_t* CompressedBlocks::Fetch(std::uint64_t offset, std::uint32_t count,
                                            std::uint32_t ahead) {
  if (offset > end_ || count > end_ - offset) return nullptr;
  if (offset < windowStart_ || offset + count > windowStart_ + windowBytes_) {
    if (window_ == nullptr) window_ = std::make_unique<std::uint8_t[]>(kWindowSize);
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(ahead, end_ - offset));
    const std::int64_t got = Platform::ReadAt(file_, window_.get(), wanted, offset);
    windowStart_ = offset;
    windowBytes_ = got < 0 ? 0 : static_cast<std::uint32_t>(got);
    if (windowBytes_ < count) return nullptr;
  }
  return window_.get() + (offset - windowStart_);
}

// False at the end of the blocks, if that may be where the file ends.
bool CompressedBlocks::ReadWord(const Place& place, std::uint32_t ahead, Block* block) {
  if (place.physical == end_ && size_ < 0) return false;
  const std::uint8_t* word = Fetch(place.physical, kWordSize, ahead);
  if (word == nullptr) RaiseFileEx(kBadSize);
  const std::uint32_t value = word[0] | (static_cast<std::uint32_t>(word[1]) << 8);
  *block = {(value & kStoredBit) != 0, value & ~kStoredBit};
  if (block->stored && block->bytes > kBlockSize) RaiseFileEx(kBadStored);
  return true;
}

// Where the next block stands, by the word alone: a coded block counts as full.
CompressedBlocks::Place CompressedBlocks::After(const Place& place, const Block& block) const {
  const std::int64_t yield = block.stored ? block.bytes : kBlockSize;
  return {place.physical + kWordSize + block.bytes, place.logical + yield};
}

void CompressedBlocks::Mark(const Place& place) {
  const Place& last = marks_.back();
  if (place.physical <= last.physical) return;
  if (place.logical - last.logical >= kBlockSize || place.physical >= last.physical + kWindowSize) {
    marks_.push_back(place);
  }
}

// Decodes the data of the block that starts at `next_`; the words before it were fetched.
std::uint32_t CompressedBlocks::ReadBlock(const Block& block, std::uint8_t* to) {
  const std::uint64_t data = next_.physical + kWordSize;
  const std::uint8_t* from = Fetch(data, block.bytes, kWindowSize);
  if (from == nullptr) RaiseFileEx(block.stored ? kBadStored : kBadCoded);
  if (block.stored) {
    std::memcpy(to, from, block.bytes);
    return block.bytes;
  }
  const auto decoded = PairCoder::Decode(to, kBlockSize, from, block.bytes);
  if (!decoded) RaiseFileEx(kBadCoded);
  // Only the last block may be short; anywhere else positions could not be told from the words.
  const bool isLast = Ends(data + block.bytes) || (size_ >= 0 && next_.logical + *decoded >= size_);
  if (*decoded < kBlockSize && !isLast) RaiseFileEx(kBadCoded);
  return *decoded;
}

std::uint32_t CompressedBlocks::ReadNext(std::uint8_t* to) {
  // Empty stored blocks are passed over: nothing read must mean the end.
  for (;;) {
    if (size_ >= 0 && next_.logical >= size_) return 0;
    Block block;
    if (!ReadWord(next_, kWindowSize, &block)) {
      size_ = next_.logical;
      return 0;
    }
    std::uint32_t yield = ReadBlock(block, to);
    if (size_ >= 0) {
      yield = static_cast<std::uint32_t>(std::min<std::int64_t>(yield, size_ - next_.logical));
    }
    next_ = {next_.physical + kWordSize + block.bytes, next_.logical + yield};
    if (next_.logical > kLargestFile) RaiseFileEx(kBadBlock);
    Mark(next_);
    if (yield > 0) return yield;
  }
}

void CompressedBlocks::MoveTo(std::int64_t position) {
  const auto behind = std::upper_bound(
      marks_.begin(), marks_.end(), position,
      [](std::int64_t wanted, const Place& mark) { return wanted < mark.logical; });
  Place place = *std::prev(behind);  // the first mark is at 0
  if (next_.logical <= position && next_.logical > place.logical) place = next_;
  for (;;) {
    Block block;
    if (!ReadWord(place, kWalkAhead, &block)) RaiseFileEx(kBadBlock);
    const Place after = After(place, block);
    if (position < after.logical) break;
    place = after;
    Mark(place);
  }
  next_ = place;
}

std::int64_t CompressedBlocks::Size() {
  if (size_ >= 0) return size_;
  Place place = marks_.back();
  Place last = place;
  Block lastBlock{true, 0};
  for (Block block; ReadWord(place, kWalkAhead, &block);) {
    last = place;
    lastBlock = block;
    place = After(place, block);
    if (place.logical > kLargestFile) RaiseFileEx(kBadBlock);
    if (!Ends(place.physical)) Mark(place);
  }
  std::int64_t size = place.logical;
  if (!lastBlock.stored) {
    const Place current = next_;
    const auto scratch = std::make_unique<std::uint8_t[]>(kBlockSize);
    next_ = last;
    size = last.logical + ReadBlock(lastBlock, scratch.get());
    next_ = current;
  }
  return size_ = size;
}

void AppendCompressedBlock(PairCoder& coder, const std::uint8_t* piece, std::uint32_t size,
                           ByteWriter& out) {
  std::uint8_t coded[kBlockSize];
  const std::uint32_t used = coder.Encode(coded, piece, size);
  out.U16(static_cast<std::uint16_t>(used == size ? used | kStoredBit : used));
  out.Bytes({reinterpret_cast<const std::byte*>(coded), used});
}

bool CompressInto(NewFile& packed, Platform::FileHandle source) {
  const std::int64_t size = Platform::FileSize(source);
  if (size < 0 || size > kLargestFile) return false;
  ByteWriter out;
  out.U32(kMagic);
  out.U32(kVersion);
  out.U32(static_cast<std::uint32_t>(size));
  PairCoder coder;
  const auto piece = std::make_unique<std::uint8_t[]>(kBlockSize);
  for (std::int64_t done = 0; done < size;) {
    const auto wanted = static_cast<std::uint32_t>(std::min<std::int64_t>(size - done, kBlockSize));
    if (Platform::ReadAt(source, piece.get(), wanted, static_cast<std::uint64_t>(done)) != wanted) {
      return false;
    }
    AppendCompressedBlock(coder, piece.get(), wanted, out);
    done += wanted;
    if (out.Size() < kWindowSize) continue;
    Append(packed, out);
    out.Clear();
  }
  Append(packed, out);
  return true;
}

void CompressFile(Platform::FileHandle source, const std::string& path) {
  NewFile packed(path, source);
  if (!packed.IsPending()) RaiseFileEx(kWriteFailed);
  if (!CompressInto(packed, source)) RaiseFileEx("ReadNext() Read failed");
  if (!packed.Flush() || !packed.Keep()) RaiseFileEx(kWriteFailed);
}

}  // namespace Zef
