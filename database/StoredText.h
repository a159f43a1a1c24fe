// StoredText: identifiers and counted texts as index files hold them, over memory.
//
// A text is a 32-bit length that counts the closing zero, then the bytes with the zero. Length 0
// is "no storage"; a length of 65536 and more is skipped and gives "no storage"; a text ends at
// its first zero. The same form as TStream's, for the readers and writers that work on memory.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "database/AssetText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/TStream.h"
#include "tagdata/PLID.h"

inline PLID ReadStoredId(Zef::ByteReader& in) {
  const std::uint32_t content = in.U32();
  const std::uint32_t packed = in.U32();
  return in.Failed() ? PLID() : PLID::Unpack(packed, content);
}

inline void PutStoredId(Zef::ByteWriter& out, const PLID& id) {
  out.U64(std::bit_cast<std::uint64_t>(id.Stored()));
}

/// Borrows the text from the reader's memory. Leaves it without storage when the reader fails.
inline void ReadStoredText(Zef::ByteReader& in, AssetText& text) {
  text.Clear();
  const std::uint32_t length = in.U32();
  if (length == 0) return;
  const auto bytes = in.Bytes(length);
  if (in.Failed() || length > Zef::TStream::kMaxTextLength) return;
  const char* start = reinterpret_cast<const char*>(bytes.data());
  text.Borrow(std::string_view(start, strnlen(start, length)));
}

/// A text that the form cannot hold is stored as "no storage".
inline bool CanStoreText(const AssetText& text) {
  return text.HasStorage() && text.View().size() < Zef::TStream::kMaxTextLength;
}

/// Bytes that PutStoredText writes.
inline std::size_t StoredTextSize(const AssetText& text) {
  return sizeof(std::uint32_t) + (CanStoreText(text) ? text.View().size() + 1 : 0);
}

/// Writes to memory with room for StoredTextSize bytes; returns the place behind them.
inline std::byte* PutStoredText(std::byte* out, const AssetText& text) {
  const std::string_view characters = text.View();
  const bool stored = CanStoreText(text);
  const auto length = stored ? static_cast<std::uint32_t>(characters.size() + 1) : 0u;
  std::memcpy(out, &length, sizeof length);
  out += sizeof length;
  if (!stored) return out;
  if (!characters.empty()) std::memcpy(out, characters.data(), characters.size());
  out[characters.size()] = std::byte{0};
  return out + length;
}

inline void PutStoredText(Zef::ByteWriter& out, const AssetText& text) {
  PutStoredText(out.Extend(StoredTextSize(text)), text);
}
