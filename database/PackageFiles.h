// PackageFiles: one file's bytes on their way into a data tag of a package, and out of it.
//
// A tag has the bytes as they are, or packed: a word with their length, then an LZSS stream. Tags
// come from outside: a length that the stream cannot yield is refused before memory is taken for
// it. Stateless; any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "tagdata/HCSChunk.h"

namespace PackageText {
inline constexpr const char* kNotWritten = "Unable to write content files to disk";
inline constexpr const char* kOutOfMemory = "Out of memory";
inline constexpr const char* kUnknownCompression =
    "Unknown compression type encountered. Content package may be damaged";
inline constexpr const char* kNotUnpacked =
    "Failed to decompress data. Content package may be damaged";
inline constexpr const char* kUnknownData =
    "Unknown data type encountered. Content package may be damaged";
}  // namespace PackageText

enum class PackageCompression { Stored, Lzss, Unknown };
/// By the text of a package's "compression" tag.
PackageCompression PackageCompressionOf(std::string_view name);

/// No file of more bytes is packed.
inline constexpr std::uint64_t kLargestPackedFile = 0x7FFFFFFF;

/// The payload of a data tag, in place.
inline std::span<const std::byte> PayloadOf(const ChunkRef& tag) {
  return {tag->GetData(), tag->GetDataSize()};
}

/// A data tag's payload for these bytes; null where it has none. Not for Unknown.
CoreRef PackFile(std::span<const std::byte> bytes, PackageCompression compression);

/// Bytes that a payload says it holds; no memory is taken on its word.
std::uint64_t UnpackedSize(std::span<const std::byte> payload, PackageCompression compression);

/// A file's bytes, in the payload they came from or in a block of their own.
struct UnpackedFile {
  std::span<const std::byte> bytes;
  std::unique_ptr<std::byte[]> block;
};
/// Null when done, else the text that says what is wrong.
[[nodiscard]] const char* UnpackFile(std::span<const std::byte> payload,
                                     PackageCompression compression, UnpackedFile& file);
