// The file form of MUKAssetIndex (docs/format-index.md): Load and Save.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "database/AssetRecord.h"
#include "database/IndexHeader.h"
#include "database/IndexHost.h"
#include "database/MUKAssetIndex.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/TStream.h"
#include "kernel/standard/Trace.h"

namespace {

namespace Platform = Zef::Platform;

constexpr std::int64_t kLengthOffset = 8;
constexpr std::uint64_t kLargestFile = 0xFFFFFFFF;
/// A save writes beside the old file and replaces it at the end, so a failed one loses nothing.
constexpr std::string_view kSavingSuffix = ".saving";
constexpr std::size_t kFirstRead = 1u << 20;
constexpr std::size_t kWriteSpan = 1u << 18;
/// Records read ahead of their entering the table, whose places are fetched meanwhile.
constexpr std::uint32_t kEnterBatch = 32;

/// Reads exactly `size` bytes.
bool ReadImage(Zef::File& file, std::size_t size, LargeBlock& image) {
  std::size_t capacity = MayPromiseMore(file) ? std::min(size, kFirstRead) : size;
  std::size_t have = 0;
  while (true) {
    auto bytes = MakeLargeBlock(capacity);
    if (have != 0) std::memcpy(bytes.get(), image.get(), have);
    image = std::move(bytes);
    have += file.Read(image.get() + have, 1, capacity - have);
    if (have < capacity) return false;
    if (have == size) return true;
    capacity = std::min(size, capacity * 2);
  }
}

/// Opens the file of a save, empty. What a killed one left under its name does not stay in the way.
bool OpenToSave(const std::string& name, Zef::File& file) {
  Platform::FileInfo stale;
  if (Platform::GetInfoNoFollow(name, &stale) && stale.link && !Platform::DeleteFile(name)) {
    return false;
  }
  if (file.Open(name.c_str(), Zef::FileMode::kCreateWrite) == Zef::RES_OK) return true;
  // Another user's may not be written to. It is locked as long as a save is at work on it.
  const Platform::OwnedFile left =
      Platform::OpenFile(name, {.sharing = Platform::Sharing::DenyAll});
  if (left && Platform::DeleteFile(name) &&
      file.Open(name.c_str(), Zef::FileMode::kCreateWrite) == Zef::RES_OK) {
    return true;
  }
  Zef::Trace("MUKAssetIndex::Save> cannot write \"%s\"\n", name.c_str());
  return false;
}

/// Gives a file, before it holds anything, the owner and the permissions of another one.
void TakeRights(const Zef::File& file, const std::string& model) {
  const Platform::OwnedFile opened = Platform::OpenFile(model, {});
  if (opened) Platform::CopyPermissions(opened.Get(), file.Origin().handle);
}

/// Collects bytes and hands them to a file in large spans.
class IndexFileWriter {
 public:
  explicit IndexFileWriter(Zef::File& file) : file_(file) {}

  Zef::ByteWriter& Out() { return out_; }
  std::uint64_t Total() const { return written_ + out_.Size(); }
  void FlushIfLarge() {
    if (out_.Size() >= kWriteSpan) Flush();
  }
  void Flush() {
    file_.Write(out_.View().data(), 1, out_.Size());
    written_ += out_.Size();
    out_.Clear();
  }

 private:
  Zef::File& file_;
  Zef::ByteWriter out_;
  std::uint64_t written_ = 0;
};

}  // namespace

bool MUKAssetIndex::Load(const std::string& path, IndexLoadReport* report,
                         IndexLoadOptions options) {
  Clear();
  IndexLoadReport unwanted;
  IndexLoadReport& result = report != nullptr ? *report : unwanted;
  result = IndexLoadReport();
  try {
    Zef::File file;
    if (file.Open(path.c_str(), Zef::FileMode::kRead) != Zef::RES_OK) {
      result.damage = IndexDamage::CannotOpen;
      return false;
    }
    result.damage = ReadIndexHeader(file, result);
    if (result.damage != IndexDamage::None) return false;
    const auto size = static_cast<std::size_t>(result.storedLength) - kIndexHeaderSize;
    if (!ReadImage(file, size, image_)) {
      result.damage = IndexDamage::ReadError;
      Clear();
      return false;
    }
    Zef::ByteReader in(image_.get(), size);
    if (!ReadTables(in, options, result)) {
      result.offset = kIndexHeaderSize + in.Position();
      Clear();
      return false;
    }
  } catch (const Zef::Exception&) {
    result.damage = IndexDamage::ReadError;
    Clear();
    return false;
  } catch (...) {
    Clear();
    throw;
  }
  Sort();
  return true;
}

bool MUKAssetIndex::ReadTables(Zef::ByteReader& in, const IndexLoadOptions& options,
                               IndexLoadReport& report) {
  Zef::ByteReader ahead = in;
  report.recordCount = ahead.U32();
  auto begin = [&, section = std::size_t{0}](IndexDamage damage) mutable {
    report.damage = damage;
    report.sectionStarts[section++] = kIndexHeaderSize + in.Position();
  };
  begin(IndexDamage::Records);
  if (!ReadRecords(in)) return false;
  begin(IndexDamage::Obsolete);
  if (!obsolete_.Read(in)) return false;
  begin(IndexDamage::Dependencies);
  if (!companions_.dependencies.Read(in)) return false;
  begin(IndexDamage::UserNames);
  if (!companions_.users.Read(in)) return false;
  begin(IndexDamage::ConfigCache);
  if (!companions_.configCache.Read(in, options.keepConfigCache)) return false;
  begin(IndexDamage::Archives);
  if (!companions_.archives.Read(in)) return false;
  begin(IndexDamage::None);
  ReadStation(in);
  return true;
}

bool MUKAssetIndex::ReadRecords(Zef::ByteReader& in) {
  const std::uint32_t count = in.U32();
  if (in.Failed() || count > in.Remaining() / kSmallestRecord) return false;
  byId_.Reserve(count);
  if (count != 0) slabs_.emplace_back(count);
  allRecords_.reserve(count);
  std::array<MUKAsset*, kEnterBatch> batch{};
  for (std::uint32_t entered = 0; entered < count;) {
    const std::uint32_t size = std::min(count - entered, kEnterBatch);
    for (std::uint32_t i = 0; i < size; ++i) {
      batch[i] = &NextSlot();
      ReadRecord(in, *batch[i]);
      if (in.Failed()) return false;
      byId_.Prefetch(batch[i]->id);
    }
    for (std::uint32_t i = 0; i < size; ++i) Enter(*batch[i]);
    entered += size;
  }
  return true;
}

void MUKAssetIndex::ReadStation(Zef::ByteReader& in) {
  const std::int64_t now = host_ != nullptr ? host_->UnixTime() : Zef::Platform::UnixTime();
  companions_.station.Read(in, static_cast<std::uint64_t>(now));
  in.U32();
  const std::uint32_t value = in.U32();
  const float number = in.F32();
  if (in.Failed()) {
    MarkChanged(kChangeGeneral);
  } else {
    SetStoredValues(value, number);
  }
}

bool MUKAssetIndex::Save(const std::string& path, const IndexSaveOptions& options) {
  std::string temporary;
  Zef::File file;
  try {
    if (host_ != nullptr) host_->BeforeSave();
    // A link stays a link: what it leads to is replaced.
    const std::string real = Platform::CanonicalPath(path);
    if (!OpenToSave((real.empty() ? path : real) + std::string(kSavingSuffix), file)) return false;
    const Zef::FileSub* const source = file.Origin().source;
    if (source != nullptr && !source->IsKind(Zef::FileSubKind::Folder)) {
      file.Abandon();  // an archive has no step that replaces
      return false;
    }
    temporary = file.Name();
    const std::string target(temporary, 0, temporary.size() - kSavingSuffix.size());
    const bool isOwnModel = options.rightsOf.empty();
    TakeRights(file, isOwnModel ? target : options.rightsOf);
    Platform::FileInfo old;
    const bool mayReplace = !isOwnModel || !Platform::GetInfo(target, &old) || !old.readOnly;
    // The file stays open, and so locked, until it has its name: nobody else's save cuts it.
    if (mayReplace && WriteTables(file, options.toDevice) && Platform::Replace(temporary, target)) {
      return true;
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): reported below, the old file still stands
  }
  try {
    // Before the file is closed, and another save may lock its own under this name.
    if (!temporary.empty()) static_cast<void>(Platform::DeleteFile(temporary));
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next save empties it
  }
  return false;
}

bool MUKAssetIndex::WriteTables(Zef::File& file, bool toDevice) const {
  IndexFileWriter writer(file);
  Zef::ByteWriter& out = writer.Out();
  out.U32(kIndexMagic);
  out.U32(kIndexVersion);
  out.U32(Zef::TStream::kLengthPlaceholder);
  const auto records = AllRecords();
  out.U32(static_cast<std::uint32_t>(records.size()));
  for (const MUKAsset* record : records) {
    AppendRecord(out, *record);
    writer.FlushIfLarge();
    if (writer.Total() > kLargestFile) return false;
  }
  obsolete_.Write(out);
  companions_.dependencies.Write(out);
  companions_.users.Write(out);
  if (!companions_.configCache.Write(out)) return false;
  companions_.archives.Write(out);
  companions_.station.Write(out);
  out.U32(0);
  out.U32(companions_.storedValue);
  out.F32(companions_.storedFloat);
  if (writer.Total() > kLargestFile) return false;
  const auto length = static_cast<std::uint32_t>(writer.Total());
  writer.Flush();
  if (toDevice) file.FlushToDevice();
  file.Seek(kLengthOffset, 0);
  file.Write(&length, sizeof length, 1);
  file.Seek(0, 0);  // hands the buffer to the system, or raises
  if (toDevice) file.FlushToDevice();
  return true;
}
