#include "database/IndexCompanions.h"

#include <algorithm>

#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"

namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::size_t kSmallestUser = 12;
constexpr std::size_t kSmallestArchive = 29;
constexpr std::uint32_t kArchiveVersion = 1;
constexpr std::uint32_t kArchiveTail = 0x41494E65;  // the bytes "eNIA"
constexpr std::uint32_t kStationVersion = 1;

/// Head of a counted table: the mode word 0 and a count that fits what is left.
bool ReadTableHead(Zef::ByteReader& in, std::size_t smallestEntry, std::uint32_t* count) {
  const std::uint32_t mode = in.U32();
  *count = in.U32();
  return mode == 0 && !in.Failed() && *count <= in.Remaining() / smallestEntry;
}

/// What a reader accepts, so what a writer may write.
bool IsReadable(const UserNameTable::Entry& entry) {
  return entry.profileId != kNone && !(entry.name.IsEmpty() && entry.userId == -1);
}

bool ReadArchive(Zef::ByteReader& in, ArchiveList::Archive& archive) {
  if (in.U32() != kArchiveVersion) return false;
  archive.flag = in.U8();
  archive.id = in.U32();
  ReadStoredText(in, archive.path);
  ReadStoredText(in, archive.name);
  archive.stamp = in.U32();
  const std::uint32_t count = in.U32();
  if (in.Failed() || count > in.Remaining() / PLID::kStoredSize) return false;
  archive.assets.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    archive.assets.push_back(ReadStoredId(in));
    if (archive.assets.back().IsNull()) return false;
  }
  return in.U32() == kArchiveTail && !in.Failed();
}

}  // namespace

bool UserNameTable::Read(Zef::ByteReader& in) {
  Clear();
  std::uint32_t count = 0;
  if (!ReadTableHead(in, kSmallestUser, &count)) return false;
  entries.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    Entry& entry = entries.emplace_back();
    ReadStoredText(in, entry.name);
    entry.profileId = in.U32();
    entry.userId = in.I32();
    if (in.Failed() || !IsReadable(entry)) {
      Clear();
      return false;
    }
  }
  return true;
}

void UserNameTable::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  out.U32(static_cast<std::uint32_t>(std::count_if(entries.begin(), entries.end(), IsReadable)));
  for (const Entry& entry : entries) {
    if (!IsReadable(entry)) continue;
    PutStoredText(out, entry.name);
    out.U32(entry.profileId);
    out.I32(entry.userId);
  }
}

void ArchiveList::Clear() {
  archives_.clear();
  held_.clear();
  collected_ = false;
}

void ArchiveList::Add(Archive&& archive) {
  std::erase_if(archive.assets, [](const PLID& id) { return !id.IsStorable(); });
  archives_.push_back(std::move(archive));
  collected_ = false;
}

bool ArchiveList::Drop(std::uint32_t id, std::vector<PLID>* assets) {
  const auto found = std::find_if(archives_.begin(), archives_.end(),
                                  [=](const Archive& archive) { return archive.id == id; });
  if (found == archives_.end()) return false;
  *assets = std::move(found->assets);
  archives_.erase(found);
  collected_ = false;
  return true;
}

bool ArchiveList::Contains(const PLID& id) const {
  if (!collected_) {
    held_.clear();
    for (const Archive& archive : archives_) {
      held_.insert(archive.assets.begin(), archive.assets.end());
    }
    collected_ = true;
  }
  return held_.contains(id);
}

bool ArchiveList::Read(Zef::ByteReader& in) {
  Clear();
  std::uint32_t count = 0;
  if (!ReadTableHead(in, kSmallestArchive, &count)) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (ReadArchive(in, archives_.emplace_back())) continue;
    Clear();
    return false;
  }
  return true;
}

void ArchiveList::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  out.U32(static_cast<std::uint32_t>(std::count_if(archives_.begin(), archives_.end(),
                                                   [](const Archive& a) { return a.persistent; })));
  for (const Archive& archive : archives_) {
    if (!archive.persistent) continue;
    out.U32(kArchiveVersion);
    out.U8(archive.flag);
    out.U32(archive.id);
    PutStoredText(out, archive.path);
    PutStoredText(out, archive.name);
    out.U32(archive.stamp);
    out.U32(static_cast<std::uint32_t>(archive.assets.size()));
    for (const PLID& id : archive.assets) PutStoredId(out, id);
    out.U32(kArchiveTail);
  }
}

void ConfigCache::Clear() { tags_ = TagContainer(); }

bool ConfigCache::Read(Zef::ByteReader& in, bool keep) {
  Clear();
  const Zef::ByteReader start = in;
  const std::uint32_t magic = in.U32();
  in.Skip(2 * sizeof(std::uint32_t));
  const std::int32_t dataSize = in.I32();
  const bool hasImage = magic == NOLBinaryFile::kMagic && dataSize > 0;
  if (hasImage) in.Skip(static_cast<std::size_t>(dataSize));
  if (in.Failed()) return false;
  if (!hasImage || !keep) return true;

  Zef::ByteReader image = start;
  Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
  file->ReadImage(image.Bytes(in.Position() - start.Position()));
  tags_ = TagContainer(file->GetRoot());
  return true;
}

bool ConfigCache::Write(Zef::ByteWriter& out) const { return AppendBinaryTags(out, tags_); }

bool StationState::Read(Zef::ByteReader& in, std::uint64_t now) {
  Clear();
  if (in.U32() != kStationVersion) return false;
  ReadStoredText(in, lastReceivedFile);
  lastSearchTime = in.U64();
  if (lastSearchTime > now) lastSearchTime = 0;
  const std::uint32_t count = in.U32();
  if (in.Failed() || count > in.Remaining() / sizeof(std::uint32_t)) return false;
  urlQueue.reserve(count);
  for (std::uint32_t i = 0; i < count && !in.Failed(); ++i) {
    ReadStoredText(in, urlQueue.emplace_back());
  }
  return !in.Failed();
}

void StationState::Write(Zef::ByteWriter& out) const {
  out.U32(kStationVersion);
  PutStoredText(out, lastReceivedFile);
  out.U64(lastSearchTime);
  out.U32(static_cast<std::uint32_t>(urlQueue.size()));
  for (const AssetText& url : urlQueue) PutStoredText(out, url);
}
