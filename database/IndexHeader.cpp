#include "database/IndexHeader.h"

#include "kernel/ByteReader.h"
#include "kernel/standard/File.h"

const char* IndexDamageText(IndexDamage damage) {
  switch (damage) {
    case IndexDamage::None:
      return "the index is whole";
    case IndexDamage::CannotOpen:
      return "the file cannot be opened";
    case IndexDamage::ReadError:
      return "the file cannot be read to its end";
    case IndexDamage::BadMagic:
      return "the file is no asset index";
    case IndexDamage::BadLength:
      return "the stored length is not that of the file: it was cut, or its writing was cut short";
    case IndexDamage::BadVersion:
      return "the index has another format version";
    case IndexDamage::Records:
      return "the asset records are damaged";
    case IndexDamage::Obsolete:
      return "the obsolete table is damaged";
    case IndexDamage::Dependencies:
      return "the dependency table is damaged";
    case IndexDamage::UserNames:
      return "the user name table is damaged";
    case IndexDamage::ConfigCache:
      return "the config cache is cut short";
    case IndexDamage::Archives:
      return "the archive list is damaged";
  }
  return "";
}

IndexDamage ReadIndexHeader(Zef::File& file, IndexLoadReport& report) {
  report.fileSize = static_cast<std::uint64_t>(file.Size());
  std::array<std::byte, kIndexHeaderSize> header{};
  if (file.Read(header.data(), 1, header.size()) != header.size()) return IndexDamage::BadMagic;
  Zef::ByteReader in(header);
  const std::uint32_t magic = in.U32();
  report.version = in.U32();
  report.storedLength = in.U32();
  if (magic != kIndexMagic) return IndexDamage::BadMagic;
  if (report.storedLength != report.fileSize || report.storedLength < kIndexHeaderSize) {
    return IndexDamage::BadLength;
  }
  if (report.version != kIndexVersion) return IndexDamage::BadVersion;
  return IndexDamage::None;
}

bool MayPromiseMore(const Zef::File& file) {
  return (file.Mode() & Zef::FileMode::kReadMask) == Zef::FileMode::kReadCompressed;
}
