#include "database/AssetRecord.h"

#include <cstring>
#include <string_view>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "database/StoredText.h"
#include "kernel/standard/TStream.h"

namespace {

/// The one list of stored fields, in their stored order, which is not that of the class.
template <class Visitor, class Record>
void VisitFields(Visitor&& visit, Record& record) {
  visit.Id(record.id);
  visit.Text(record.category);
  visit.Text(record.name);
  visit.Text(record.region);
  visit.Text(record.era);
  visit.Text(record.keywords);
  visit.Text(record.editPath);
  visit.Text(record.installPath);
  visit.Text(record.archiveName);
  visit.Text(record.legacyPath);
  visit.Id(record.mapId);
  visit.Flags(record.flags);
  visit.Word(record.sizeBytes);
  visit.Float(record.build);
  visit.Byte(record.rating);
  visit.Time(record.uploadTime);
  visit.Time(record.modifyTime);
  visit.Text(record.description);
  visit.Text(record.userName);
}

/// Spreads stored flag bytes, one a bit and any non-zero set, over the flag bits. Bits behind
/// `count` stay as they were.
void FlagsFromBytes(const std::byte* bytes, std::size_t count, AssetFlags& flags) {
  for (int index = 0; index < AssetFlags::kBytes; ++index) {
    unsigned value = flags.Byte(index);
    for (unsigned bit = 0; bit < 8; ++bit) {
      const std::size_t at = static_cast<std::size_t>(index) * 8 + bit;
      if (at >= count) break;
      const unsigned mask = 1u << bit;
      value = bytes[at] != std::byte{0} ? value | mask : value & ~mask;
    }
    flags.SetByte(index, static_cast<std::uint8_t>(value));
  }
}

struct MemoryReader {
  Zef::ByteReader& in;

  void Id(PLID& id) { id = ReadStoredId(in); }
  void Text(AssetText& text) { ReadStoredText(in, text); }
  void Flags(AssetFlags& flags) {
    const auto bytes = in.Bytes(kAssetFlagCount);
    FlagsFromBytes(bytes.data(), bytes.size(), flags);
  }
  void Word(std::uint32_t& value) { value = in.U32(); }
  void Float(float& value) { value = in.F32(); }
  void Byte(std::uint8_t& value) { value = in.U8(); }
  void Time(std::uint64_t& value) { value = in.U64(); }
};

struct StreamReader {
  Zef::TStream& in;

  void Id(PLID& id) { id.Read(in); }
  void Text(AssetText& text) {
    Zef::SharedText value;
    in.ReadText(value);
    text = value;
  }
  void Flags(AssetFlags& flags) {
    std::byte bytes[kAssetFlagCount];
    FlagsFromBytes(bytes, in.ReadRaw(bytes, sizeof bytes), flags);
  }
  void Word(std::uint32_t& value) { in.Read32(value); }
  void Float(float& value) { in.ReadFloat(value); }
  void Byte(std::uint8_t& value) { in.Read8(value); }
  void Time(std::uint64_t& value) { in.Read64(value); }
};

struct SizeCounter {
  std::size_t size = kSmallestRecord;

  void Text(const AssetText& text) { size += StoredTextSize(text) - sizeof(std::uint32_t); }
  void Id(const PLID&) {}
  void Flags(const AssetFlags&) {}
  void Word(std::uint32_t) {}
  void Float(float) {}
  void Byte(std::uint8_t) {}
  void Time(std::uint64_t) {}
};

struct MemoryWriter {
  std::byte* out;

  template <class T>
  void Value(const T& value) {
    std::memcpy(out, &value, sizeof value);
    out += sizeof value;
  }
  void Id(const PLID& id) {
    Value(id.content);
    Value(id.PackedWord());
  }
  void Text(const AssetText& text) { out = PutStoredText(out, text); }
  void Flags(const AssetFlags& flags) {
    for (int at = 0; at < kAssetFlagCount; ++at) {
      *out++ = std::byte{flags.Has(static_cast<AssetFlag>(at))};
    }
  }
  void Word(std::uint32_t value) { Value(value); }
  void Float(float value) { Value(value); }
  void Byte(std::uint8_t value) { Value(value); }
  void Time(std::uint64_t value) { Value(value); }
};

}  // namespace

void ReadRecord(Zef::ByteReader& in, MUKAsset& record) { VisitFields(MemoryReader{in}, record); }

void ReadRecord(Zef::TStream& in, MUKAsset& record) { VisitFields(StreamReader{in}, record); }

void AppendRecord(Zef::ByteWriter& out, const MUKAsset& record) {
  SizeCounter counter;
  VisitFields(counter, record);
  VisitFields(MemoryWriter{out.Extend(counter.size)}, record);
}

void WriteRecord(Zef::TStream& out, const MUKAsset& record) {
  Zef::ByteWriter bytes;
  AppendRecord(bytes, record);
  out.WriteRaw(bytes.View().data(), static_cast<std::uint32_t>(bytes.Size()));
}
