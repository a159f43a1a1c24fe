// TagRecord: one length-prefixed record of a binary tag file, and the check of a run of them.
//
// docs/format-tagfile.md holds the byte tables. A run is checked whole, once, when a file is
// read; after that it is walked in place, again and again, by hopping from header to header.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "tagdata/HCSChunk.h"

/// Type codes of the file, which are not the tag types of memory.
enum class TagCode : std::uint8_t {
  Container = 0,
  Int = 1,
  Float = 2,
  String = 3,
  Binary = 4,
  Null = 5,
  AlignedBinary = 12,
  PLID = 13,
};

/// The code that the writer gives to a tag of this type.
TagCode CodeOfTag(std::int32_t type);
/// The type of a tag read under this code; TagNull for a code that nobody knows.
TagType TypeOfCode(std::uint8_t code);

struct TagRecord {
  /// Record size word, key length byte and type code: fewer bytes than this are no record.
  static constexpr std::size_t kSmallestSize = 6;

  std::string_view key;  ///< up to its first zero; null data when the key length is 0
  std::uint8_t code;
  const std::byte* payload;
  std::uint32_t payloadSize;
};

/// Takes the record at the front off `run`. False at the end, which up to 5 stray bytes may
/// precede, and at a record that does not fit.
bool TakeTagRecord(std::span<const std::byte>& run, TagRecord& record);

/// True when every record of the run, at any depth, fits its surroundings and no container is
/// nested deeper than kMaxTagDepth. Linear; needs no memory that grows with the input.
[[nodiscard]] bool ValidateTagRun(std::span<const std::byte> run);

/// True when the writer, walking the valid run tag by tag, would make these very bytes again: no
/// key twice in a container, no foreign codes, no stray bytes. Such a run can be copied whole.
[[nodiscard]] bool IsWriterForm(std::span<const std::byte> run);
