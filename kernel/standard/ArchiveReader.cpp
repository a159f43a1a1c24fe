#include "kernel/standard/ArchiveReader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kernel/ByteReader.h"

namespace Zef {

using namespace ArchiveFormat;

namespace {

constexpr std::uint64_t kRowsAPiece = 1024;

/// Nothing behind the largest archive is looked at, however long the file says that it is.
std::uint64_t WalkedLength(std::int64_t length) {
  return std::min(static_cast<std::uint64_t>(length), kLargestArchive);
}

}  // namespace

void ArchiveReader::Open(Platform::OwnedFile file) {
  file_ = std::move(file);
  if (IsOpen() && FindInfo()) {
    complete_ = LoadIndex();
    if (!complete_) ForgetIndex();
  } else {
    file_.Close();
    info_ = ArchiveInfo();
  }
}

bool ArchiveReader::IsOpen() const { return static_cast<bool>(file_); }

bool ArchiveReader::FindInfo() {
  lengthOnDisk_ = Platform::FileSize(file_.Get());
  std::array<std::byte, kMagicSize> magic;
  if (lengthOnDisk_ < 0 || !ReadExactly(magic, 0) || ByteReader(magic).U32() != kMagic) {
    return false;
  }
  ArchiveWalk walk(file_.Get(), kMagicSize, WalkedLength(lengthOnDisk_));
  while (walk.NextOfAnyKind()) {
    if (walk.Head().tag != kInfoTag) continue;
    ByteReader record(walk.Content(kInfoSize));
    infoOffset_ = walk.DataStart();
    dataEnd_ = walkedTo_ = infoOffset_ + kInfoSize;
    const bool known = walk.Head().size == kInfoSize && ReadArchiveInfo(record, &info_);
    infoOnDisk_ = info_;
    return known;
  }
  return false;
}

bool ArchiveReader::LoadIndex() {
  const std::uint64_t start = info_.indexOffset;
  const std::uint64_t size = std::uint64_t{info_.entryCount} * kRowSize;
  const auto length = static_cast<std::uint64_t>(lengthOnDisk_);
  if (start == 0 || size == 0) return false;
  std::array<std::byte, kChunkHeadSize> bytes;
  const Reading reading = Read(bytes, start);
  indexUnread_ = reading == Reading::Failed;
  if (reading != Reading::Whole) return false;
  ByteReader in(bytes);
  const ArchiveChunkHead head = ReadArchiveChunkHead(in);
  const std::uint64_t end = start + kChunkHeadSize + size;
  if (head.tag != kIndexTag || head.size != size || end > length) return false;
  table_.Reserve(info_.entryCount);
  return AddRows(start + kChunkHeadSize, length);
}

void ArchiveReader::ForgetIndex() {
  table_.Clear();
  superseded_.clear();
  info_.indexOffset = 0;
  dataEnd_ = walkedTo_;
}

bool ArchiveReader::AddRows(std::uint64_t offset, std::uint64_t length) {
  std::vector<std::byte> piece;
  std::uint64_t left = info_.entryCount;
  while (left > 0) {
    const std::uint64_t rows = std::min(left, kRowsAPiece);
    piece.resize(rows * kRowSize);
    const Reading reading = Read(piece, offset);
    indexUnread_ = reading == Reading::Failed;
    if (reading != Reading::Whole) return false;
    ByteReader in(piece);
    for (std::uint64_t i = 0; i < rows; ++i) {
      ArchiveRow row;
      if (!ReadArchiveRow(in, length, &row)) return false;
      AddRow(row);
    }
    offset += piece.size();
    left -= rows;
  }
  return true;
}

void ArchiveReader::AddRow(const ArchiveRow& row) {
  // What cannot be done fails before the table changes.
  if (superseded_.size() == superseded_.capacity()) superseded_.reserve(2 * superseded_.size() + 1);
  if (const std::uint32_t other = table_.Add(row); other != 0) superseded_.push_back(other);
  dataEnd_ = std::max(dataEnd_, row.End());
}

void ArchiveReader::Complete() {
  if (complete_ || !IsOpen()) return;
  const std::int64_t length = Platform::FileSize(file_.Get());
  if (length < 0) return;
  ArchiveWalk walk(file_.Get(), walkedTo_, WalkedLength(length));
  while (walk.Next()) {
    if (walk.Head().tag == kFileTag && !AddFrom(walk)) return;
    walkedTo_ = walk.Head().tag == kIndexTag ? walk.Start() : walk.NextStart();
  }
  complete_ = walk.HowEnded() != ArchiveWalk::End::Unread;
  interrupted_ = walk.HowEnded() == ArchiveWalk::End::Interrupted;
  if (interrupted_ || walk.HowEnded() == ArchiveWalk::End::Damage) stoppedAt_ = walk.Start();
}

/// False if the entry cannot be read.
bool ArchiveReader::AddFrom(ArchiveWalk& walk) {
  ArchiveRow row;
  ByteReader content(walk.Content(kEntrySize));
  if (!ReadArchiveEntry(content, &row.entry)) return false;
  row.offset = static_cast<std::uint32_t>(walk.DataStart() + kEntrySize);
  row.size = walk.Head().size - kEntrySize;
  AddRow(row);
  return true;
}

ArchiveReader::Reading ArchiveReader::Read(std::span<std::byte> to, std::uint64_t offset) const {
  const std::int64_t got = Platform::ReadAt(file_.Get(), to.data(), to.size(), offset);
  if (got < 0) return Reading::Failed;
  return got == static_cast<std::int64_t>(to.size()) ? Reading::Whole : Reading::Short;
}

bool ArchiveReader::ReadExactly(std::span<std::byte> to, std::uint64_t offset) const {
  return Read(to, offset) == Reading::Whole;
}

std::optional<std::uint64_t> ArchiveReader::DamagedAt() {
  Complete();
  return interrupted_ ? std::nullopt : stoppedAt_;
}

bool ArchiveReader::IsReadWhole() {
  Complete();
  return complete_ && !indexUnread_;
}

}  // namespace Zef
