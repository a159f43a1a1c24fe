// AssetRecord: the stored form of a MUKAsset, in index files and patch sets.
//
// Fields follow each other without header, version or length (docs/format-record.md). Two
// readers share one field order: from memory, for index files, which fails on the first field
// that does not fit and borrows texts from the memory; and from a stream, for patch files, which
// takes a truncated record for what it is, leaving the fields it does not reach as they were.

#pragma once

#include <cstddef>
#include <string_view>

#include "database/MUKAsset.h"

namespace Zef {
class ByteReader;
class ByteWriter;
class TStream;
}  // namespace Zef

/// Bytes of a record without any text: no record is shorter.
inline constexpr std::size_t kSmallestRecord = 102;

/// What a pass over stored records tells of each without building it. Texts are as stored, up to
/// their closing zero at most; null data is "no storage".
struct RecordGlance {
  PLID id;
  bool builtIn = false;
  std::string_view shownName;
};

/// Moves past a record. The reader's failure tells.
void GlanceRecord(Zef::ByteReader& in, RecordGlance& glance);
/// Reads a record whose texts borrow from the reader's memory. The reader's failure tells.
void ReadRecord(Zef::ByteReader& in, MUKAsset& record);
/// Reads a record from a stream. Never fails; a text that is cut short is what arrived of it.
void ReadRecord(Zef::TStream& in, MUKAsset& record);

/// Appends the stored form. Texts of 65535 characters and more lose their content.
void AppendRecord(Zef::ByteWriter& out, const MUKAsset& record);
/// Writes the stored form in one write.
void WriteRecord(Zef::TStream& out, const MUKAsset& record);
