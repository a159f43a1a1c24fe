#include "tagdata/BinaryTagWriter.h"

#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "kernel/ByteWriter.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/TStream.h"
#include "tagdata/NOLBinaryFile.h"
#include "tagdata/TagBudget.h"
#include "tagdata/TagRecord.h"

namespace {

constexpr std::uint32_t kPlaceholder = 0xFFFFFFFF;
constexpr std::size_t kMaxDataSize = 0x7FFFFFFF;
constexpr std::uint64_t kByteAllowance = 2u << 20;

/// A container whose records are being written, and where its own size word stands.
struct OpenContainer {
  std::unique_ptr<TagCursor> tags;
  std::size_t sizeAt;
};

void CloseSize(Zef::ByteWriter& out, std::size_t sizeAt) {
  out.PatchU32(sizeAt, static_cast<std::uint32_t>(out.Size() - sizeAt - 4));
}

/// Size placeholder, key and type code; returns where the size stands.
std::size_t WriteRecordHead(Zef::ByteWriter& out, std::string_view key, TagCode code) {
  const std::size_t sizeAt = out.Size();
  out.U32(kPlaceholder);
  out.U8(key.data() == nullptr ? 0 : static_cast<std::uint8_t>(key.size() + 1));
  if (key.data() != nullptr) {
    out.Text(key);
    out.U8(0);
  }
  out.U8(static_cast<std::uint8_t>(code));
  return sizeAt;
}

std::uint64_t RecordSize(std::string_view key, const HCSChunk& chunk, std::size_t /*depth*/) {
  return TagRecord::kSmallestSize + key.size() + 1 + chunk.GetDataSize();
}

bool WriteTree(Zef::ByteWriter& out, const HCSChunk& root) {
  const std::size_t begin = out.Size();
  TagBudget budget(&root, kByteAllowance, RecordSize);
  std::vector<OpenContainer> open;
  open.push_back({root.Tags(), begin - 4});
  std::string_view key;
  ChunkRef chunk;
  while (!open.empty()) {
    if (out.Size() - begin > kMaxDataSize) return false;
    TagCursor* tags = open.back().tags.get();
    if (tags == nullptr || !tags->Next(key, chunk)) {
      CloseSize(out, open.back().sizeAt);
      open.pop_back();
      continue;
    }
    if (!budget.Take(key, *chunk, open.size() - 1)) return false;
    if (key.size() > kMaxTagKeyLength) continue;
    const std::int32_t type = chunk->GetType();
    const std::size_t sizeAt = WriteRecordHead(out, key, CodeOfTag(type));
    if (type == TagSoup) {
      if (open.size() > kMaxTagDepth) return false;
      open.push_back({chunk->Tags(), sizeAt});
      continue;
    }
    if (type != TagNull) out.Bytes({chunk->GetData(), chunk->GetDataSize()});
    CloseSize(out, sizeAt);
  }
  return true;
}

}  // namespace

bool AppendBinaryTags(Zef::ByteWriter& out, const TagContainer& root) {
  out.U32(NOLBinaryFile::kMagic);
  out.U32(NOLBinaryFile::kVersion);
  out.U32(0);
  if (root.IsEmptyHandle()) {
    out.U32(0);
    return true;
  }
  const std::span<const std::byte> run = root.Chunk()->PlainRun();
  if (!run.empty() && IsWriterForm(run)) {
    out.U32(static_cast<std::uint32_t>(run.size()));
    out.Bytes(run);
    return true;
  }
  out.U32(kPlaceholder);
  return WriteTree(out, *root.Chunk());
}

bool WriteBinaryTags(Zef::TStream& stream, const TagContainer& root) try {
  Zef::ByteWriter out;
  if (!AppendBinaryTags(out, root)) return false;
  const auto size = static_cast<std::uint32_t>(out.Size());
  return stream.WriteRaw(out.View().data(), size) == size;
} catch (const Zef::FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}
