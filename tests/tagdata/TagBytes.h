// TagBytes: puts binary tag files together byte by byte, apart from the writer under test.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kernel/standard/TBuffer.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"

namespace TagBytes {

inline std::string Word(std::uint32_t value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

inline std::span<const std::byte> AsBytes(std::string_view bytes) {
  return {reinterpret_cast<const std::byte*>(bytes.data()), bytes.size()};
}

/// `key` as it lies in the file, so with its closing zero if it has one.
inline std::string Record(std::string_view key, int code, std::string_view payload) {
  std::string bytes = Word(static_cast<std::uint32_t>(key.size() + payload.size() + 2));
  bytes.push_back(static_cast<char>(key.size()));
  bytes.append(key);
  bytes.push_back(static_cast<char>(code));
  return bytes.append(payload);
}

inline std::string File(std::string_view records, std::uint32_t version = 1) {
  return "HCS$" + Word(version) + Word(0) + Word(static_cast<std::uint32_t>(records.size())) +
         std::string(records);
}

/// A handle on the root of a file in memory; null when the file is refused.
inline TagContainer Load(std::string_view file) {
  Zef::Ref<NOLBinaryFile> image(new NOLBinaryFile);
  image->ReadImage(AsBytes(file));
  TagContainer root(image->GetRoot());
  return root.IsValid() ? root : TagContainer();
}

/// What the writer makes of a tree; "refused" when it writes nothing.
inline std::string Save(const TagContainer& root) {
  Zef::TBuffer stream;
  if (!WriteBinaryTags(stream, root)) return "refused";
  const auto view = stream.View();
  return {reinterpret_cast<const char*>(view.data()), view.size()};
}

}  // namespace TagBytes
