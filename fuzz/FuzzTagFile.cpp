// Any bytes as a binary tag file: refused, or safe to walk, edit, copy and write; and what was
// written reads back as the same tree.

#include <cstdlib>
#include <vector>

#include "kernel/standard/TBuffer.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"

namespace {

using Bytes = std::vector<std::byte>;

TagContainer Load(std::span<const std::byte> bytes) {
  Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
  file->ReadImage(bytes);
  return TagContainer(file->GetRoot());
}

/// Nothing for a tree whose repeated keys would make it too large.
Bytes Save(const TagContainer& root) {
  Zef::TBuffer stream;
  if (!WriteBinaryTags(stream, root) && !stream.View().empty()) std::abort();
  const auto view = stream.View();
  return {view.begin(), view.end()};
}

/// Whether a walk over all tags ends soon. Repeated keys nested in each other double at every
/// level: what the limits of writing and copying make of them costs seconds, and has tests of its
/// own.
bool IsSmall(const TagContainer& tags, int& left) {
  tags.ForEach([&](std::string_view, const ChunkRef& chunk) {
    if (--left > 0 && chunk->GetType() == TagSoup) IsSmall(TagContainer(chunk), left);
  });
  return left > 0;
}

/// Asks every getter for every tag, and removes every second one.
void UseTags(TagContainer tags, int depth) {
  std::uint32_t index = 0;
  tags.ForEach([&](std::string_view key, const ChunkRef& chunk) {
    const Zef::PString name(key);
    std::vector<float> values;
    tags.GetInt(name);
    tags.GetFloatArray(name, values);
    tags.GetText(name);
    tags.GetPLID(name);
    if (chunk->GetType() == TagSoup && depth < 8) UseTags(TagContainer(chunk), depth + 1);
    if (index++ % 2 == 0) tags.RemoveTag(name);
  });
  tags.SetInt("added", 1);
  if (tags.GetCount() == 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const TagContainer root = Load({reinterpret_cast<const std::byte*>(data), size});
  if (root.IsNull()) return 0;
  int left = 1024;
  if (!IsSmall(root, left)) return -1;  // not for the corpus
  const Bytes first = Save(root);
  if (!first.empty()) {
    if (Save(Load(first)) != first) std::abort();
    const TagContainer copy = TagContainer::DeepCopy(root);
    if (!copy.IsEmptyHandle() && Save(copy) != first) std::abort();
  }
  std::vector<PLID> ids;
  root.CollectPLIDs(ids);
  UseTags(root, 0);
  Save(root);
  return 0;
}
