#include "database/AssetRecord.h"

#include <cstring>
#include <string_view>

#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/TStream.h"

namespace {

/// The stored fields in their stored order, which is not that of the class. GlanceRecord alone does
/// not go by this list: it steps over the fields by their sizes.
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

/// Eight stored flag bytes, any non-zero one set, as the bits of one byte, lowest first.
std::uint8_t GatherBits(const std::byte* bytes) {
  constexpr std::uint64_t kLow = 0x7F7F7F7F7F7F7F7F;
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  const std::uint64_t ones = (((word & kLow) + kLow) | word) >> 7 & 0x0101010101010101;
  return static_cast<std::uint8_t>((ones * 0x0102040810204080) >> 56);
}

/// Takes over the first `count` of the stored flag bytes; the other flags stay as they were.
void FlagsFromBytes(const std::byte* bytes, std::size_t count, AssetFlags& flags) {
  if (count == kAssetFlagCount) {
    flags.SetByte(0, GatherBits(bytes));
    flags.SetByte(1, GatherBits(bytes + 8));
    flags.SetByte(2, std::uint8_t{bytes[16] != std::byte{0}});
    return;
  }
  for (std::size_t at = 0; at < count; ++at) {
    flags.Set(static_cast<AssetFlag>(at), bytes[at] != std::byte{0});
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

/// Texts are jumped over; the two that make the shown name are looked at.
struct Glancer {
  Zef::ByteReader& in;

  std::string_view Text() {
    const std::uint32_t length = in.U32();
    const auto bytes = in.Bytes(length);
    if (length == 0 || length > Zef::TStream::kMaxTextLength) return {};
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
  void SkipTexts(int count) {
    for (int i = 0; i < count; ++i) in.Skip(in.U32());
  }
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
  void Id(const PLID& id) { Value(id.Stored()); }
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

void GlanceRecord(Zef::ByteReader& in, RecordGlance& glance) {
  constexpr std::size_t kBuiltIn = static_cast<std::size_t>(AssetFlag::BuiltIn);
  constexpr std::size_t kFixedFields = 4 + 4 + 1 + 8 + 8;
  constexpr std::size_t kMiddle = PLID::kStoredSize + kAssetFlagCount + kFixedFields;
  constexpr int kTexts = 11;
  static_assert(PLID::kStoredSize + kTexts * sizeof(std::uint32_t) + kMiddle == kSmallestRecord);
  Glancer glancer{in};
  glance.id = ReadStoredId(in);
  glancer.SkipTexts(1);
  glance.shownName = glancer.Text();
  glancer.SkipTexts(kTexts - 4);
  const auto fields = in.Bytes(kMiddle);
  glancer.SkipTexts(1);
  const std::string_view userName = glancer.Text();
  if (in.Failed()) return;
  glance.builtIn = fields[PLID::kStoredSize + kBuiltIn] != std::byte{0};
  if (!userName.empty() && userName[0] != '\0') glance.shownName = userName;
}

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
