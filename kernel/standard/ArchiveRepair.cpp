// What is mended in an archive before it is changed, so that a walk comes to all of its files.

#include <algorithm>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/ArchiveEditor.h"

namespace Zef {

using namespace ArchiveFormat;

/// Where a file's chunk begins and ends: by its row, and by its own head.
struct ArchiveEditor::FileSpan {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  ArchiveChunkHead head;
};

/// Other writers leave spans that no walk passes, and heads rot. The files behind that are reached
/// by the index alone, which the first change takes away: until then it covers for each step here.
bool ArchiveEditor::MakeReachable() {
  std::uint64_t end = 0;
  std::vector<FileSpan> files;
  if (!EndOfChunks(&end) || end > kLargestArchive || !CollectSpans(&files)) return false;
  std::uint64_t at = infoOffset_ + kInfoSize;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::uint64_t limit = i + 1 < files.size() ? files[i + 1].start : end;
    if (!Bridge(at, files[i].start) || !PassOver(files[i], limit, &at)) return false;
  }
  return Bridge(at, end);
}

/// All files that have a live chunk, in their order in the archive.
bool ArchiveEditor::CollectSpans(std::vector<FileSpan>* spans) const {
  const ArchiveFile* file = table_.From(0);
  for (; file != nullptr; file = table_.From(file->place + 1)) {
    FileSpan span{file->row.ChunkStart(), file->row.End(), {}};
    const ChunkState state = ReadChunkHead(file->row.offset, &span.head);
    if (state == ChunkState::Unknown) return false;
    if (state == ChunkState::Live) spans->push_back(span);
  }
  std::sort(spans->begin(), spans->end(),
            [](const FileSpan& a, const FileSpan& b) { return a.start < b.start; });
  return true;
}

/// Finds where a walk goes on behind a file. A size that leads nowhere becomes that of the row.
bool ArchiveEditor::PassOver(const FileSpan& file, std::uint64_t limit, std::uint64_t* at) const {
  *at = file.start + kChunkHeadSize + file.head.size;
  if (file.head.size >= kEntrySize && *at <= limit) return true;
  *at = file.end;
  const auto size = static_cast<std::uint32_t>(file.end - file.start - kChunkHeadSize);
  return *at <= limit && WriteWord(size, file.start + sizeof(std::uint32_t));
}

/// Sees to it that a walk from one chunk's end arrives at another one's start: what it cannot pass
/// in between becomes a deleted chunk.
bool ArchiveEditor::Bridge(std::uint64_t from, std::uint64_t to) const {
  if (from > to) return false;
  ArchiveWalk walk(file_.Get(), from, to);
  while (walk.Next()) {
  }
  if (walk.HowEnded() == ArchiveWalk::End::File) return true;
  if (walk.HowEnded() == ArchiveWalk::End::Unread || walk.DataStart() > to) return false;
  ByteWriter head;
  AppendArchiveChunkHead(head, {kDeletedTag, static_cast<std::uint32_t>(to - walk.DataStart())});
  return WriteExactly(head.View(), walk.Start());
}

/// Turns all from where the walk stopped to the end into one deleted chunk, so that walks reach
/// what comes behind it.
bool ArchiveEditor::SealEnd() {
  const std::uint64_t data = *stoppedAt_ + kChunkHeadSize;
  if (data > kLargestArchive || lengthOnDisk_ > std::int64_t{kLargestArchive}) return false;
  const std::uint64_t end = std::max(data, static_cast<std::uint64_t>(lengthOnDisk_));
  ByteWriter head;
  AppendArchiveChunkHead(head, {kDeletedTag, static_cast<std::uint32_t>(end - data)});
  if (!WriteExactly(head.View(), *stoppedAt_)) return false;
  lengthOnDisk_ = static_cast<std::int64_t>(end);
  stoppedAt_.reset();
  interrupted_ = false;
  return true;
}

}  // namespace Zef
