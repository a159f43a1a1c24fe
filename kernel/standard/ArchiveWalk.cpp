#include "kernel/standard/ArchiveWalk.h"

#include <algorithm>
#include <cstring>

#include "kernel/platform/FileSystem.h"

namespace Zef {

using namespace ArchiveFormat;

bool ArchiveWalk::NextOfAnyKind() {
  start_ = next_;
  if (start_ >= length_) {
    end_ = End::File;
    return false;
  }
  ByteReader head(Fetch(start_, kChunkHeadSize));
  head_ = ReadArchiveChunkHead(head);
  next_ = DataStart() + head_.size;
  if (unread_) {
    end_ = End::Unread;
  } else if (head.Failed() || next_ > length_) {
    end_ = End::Damage;
  } else if (head_.tag == 0 && head_.size == 0) {
    PassOverZeros();
  }
  return end_ == End::None;
}

/// A tail of zeros is a run of chunks without content, one for each head. Those in the window are
/// passed over as one, the last of them.
void ArchiveWalk::PassOverZeros() {
  constexpr std::array<std::byte, kChunkHeadSize> kZeroHead{};
  const std::uint64_t end = std::min(windowStart_ + windowBytes_, length_);
  while (next_ + kChunkHeadSize <= end &&
         std::memcmp(&window_[next_ - windowStart_], kZeroHead.data(), kChunkHeadSize) == 0) {
    next_ += kChunkHeadSize;
  }
  start_ = next_ - kChunkHeadSize;
}

bool ArchiveWalk::Next() {
  const bool isBehindIndex = head_.tag == kIndexTag;
  static_cast<void>(NextOfAnyKind());
  if (end_ == End::File || end_ == End::Unread) return false;
  if (isBehindIndex && IsRow()) {
    end_ = End::Interrupted;
  } else if (head_.tag == kFileTag && head_.size < kEntrySize) {
    end_ = IsUnfinished() ? End::Interrupted : End::Damage;
    if (unread_) end_ = End::Unread;
  }
  return end_ == End::None;
}

std::span<const std::byte> ArchiveWalk::Content(std::uint32_t count) {
  const auto bytes = Fetch(start_, kChunkHeadSize + count);
  return bytes.subspan(std::min<std::size_t>(kChunkHeadSize, bytes.size()));
}

/// What an append leaves that was cut short: no size, and no more data than its entry announces.
bool ArchiveWalk::IsUnfinished() {
  const std::uint64_t rest = length_ - DataStart();
  if (head_.size != 0) return false;
  if (rest < kEntrySize) return true;
  FileEntry entry{};
  ByteReader content(Content(kEntrySize));
  if (!ReadArchiveEntry(content, &entry)) return false;
  const bool compressed = (entry.attributes & FileEntry::kCompressed) != 0;
  return rest - kEntrySize <= LargestStored(entry.size, compressed);
}

/// Behind an index without its size come its rows, and behind one that is whole may come those of a
/// longer one that it was written over. Tags would be offsets that no such row has.
bool ArchiveWalk::IsRow() const {
  if (head_.tag == kFileTag || head_.tag == kDeletedTag || head_.tag == kIndexTag) return false;
  const std::uint64_t dataEnd = std::uint64_t{head_.tag} + head_.size;
  return length_ - start_ < kChunkHeadSize || (head_.tag >= kFirstData && dataEnd <= start_);
}

std::span<const std::byte> ArchiveWalk::Fetch(std::uint64_t offset, std::size_t count) {
  if (offset < windowStart_ || offset + count > windowStart_ + windowBytes_) {
    const std::int64_t got = Platform::ReadAt(file_, window_.data(), window_.size(), offset);
    windowStart_ = offset;
    windowBytes_ = got < 0 ? 0 : static_cast<std::size_t>(got);
    unread_ = got < 0;
  }
  const std::size_t at = offset - windowStart_;
  return std::span(window_).first(windowBytes_).subspan(at, std::min(count, windowBytes_ - at));
}

}  // namespace Zef
