// Any bytes as a tag text: it reads, can be written in both forms, and the binary form gives the
// same text again. A tree whose keys the text form can hold keeps them all, in order, and all of
// its text is read; its values change at most once.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "kernel/ByteWriter.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"
#include "tagdata/TagTextReader.h"
#include "tagdata/TagTextWriter.h"

namespace {

TagContainer Read(std::string_view text) {
  TagContainer tags;
  ReadTagText(tags, text);
  return tags;
}

std::string Write(const TagContainer& tags) {
  std::string text;
  if (!AppendTagText(text, tags)) std::abort();
  return text;
}

TagContainer ThroughBinary(const TagContainer& tags) {
  Zef::ByteWriter bytes;
  if (!AppendBinaryTags(bytes, tags)) std::abort();
  Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
  file->ReadImage(bytes.View());
  return TagContainer(file->GetRoot());
}

/// What a walk over all keys of a tree finds.
struct Keys {
  std::string all;       ///< with braces for the containers
  bool areShort = true;  ///< fit a binary record
  bool survive = true;   ///< read back from the text form as they are

  void Add(const TagContainer& tags, std::size_t depth) {
    tags.ForEach([&](std::string_view key, const ChunkRef& chunk) {
      all.append(key).append("\n");
      areShort = areShort && key.size() <= kMaxTagKeyLength;
      const bool adjacent = chunk->GetType() != TagSoup && key.size() / 8 + depth >= 7;
      survive = survive && !adjacent && key[0] != '{' && CleanTagKey(key) == key;
      if (chunk->GetType() != TagSoup) return;
      all += "{";
      Add(TagContainer(chunk), depth + 1);
      all += "}";
    });
  }
  explicit Keys(const TagContainer& tags) { Add(tags, 0); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const TagContainer first = Read({reinterpret_cast<const char*>(data), size});
  const Keys keys(first);
  const std::string written = Write(first);
  if (keys.areShort && Write(ThroughBinary(first)) != written) std::abort();
  const TagContainer second = Read(written);
  if (!keys.survive) return 0;
  if (Keys(second).all != keys.all) std::abort();
  const std::string settled = Write(second);
  TagContainer third;
  TagTextLosses losses;
  ReadTagText(third, settled, nullptr, &losses);
  if (Write(third) != settled) std::abort();
  if (losses.bytesLeft + losses.replaced + losses.tooDeep != 0) std::abort();
  return 0;
}
