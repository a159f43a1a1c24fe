// Any bytes as one asset record: the three ways to read a whole one agree, and what is written of
// it reads back as the same record; of one that is cut short a stream takes what is there.

#include <string>

#include "database/AssetRecord.h"
#include "fuzz/Require.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/TBuffer.h"

namespace {

std::string Written(const MUKAsset& record) {
  Zef::ByteWriter out;
  AppendRecord(out, record);
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

MUKAsset ReadFromStream(std::span<const std::byte> bytes, bool* isWhole) {
  Zef::TBuffer::Storage storage{{bytes.begin(), bytes.end()}, 0, true};
  Zef::TBuffer stream(&storage);
  MUKAsset record;
  ReadRecord(stream, record);
  *isWhole = !stream.ShortRead();
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span bytes(reinterpret_cast<const std::byte*>(data), size);
  Zef::ByteReader in(bytes);
  MUKAsset record;
  ReadRecord(in, record);
  Zef::ByteReader ahead(bytes);
  RecordGlance glance;
  GlanceRecord(ahead, glance);
  Require(ahead.Failed() == in.Failed());
  bool isWhole = false;
  const MUKAsset streamed = ReadFromStream(bytes, &isWhole);
  if (in.Failed()) return 0;

  Require(isWhole && ahead.Position() == in.Position() && in.Position() >= kSmallestRecord);
  Require(glance.id == record.id && glance.builtIn == record.Has(AssetFlag::BuiltIn));
  const std::string shown(glance.shownName.substr(0, glance.shownName.find('\0')));
  Require(record.ShownName().View() == shown);
  const std::string written = Written(record);
  Require(Written(streamed) == written);
  Zef::ByteReader again(written.data(), written.size());
  ReadRecord(again, record);
  Require(!again.Failed() && again.Remaining() == 0 && Written(record) == written);
  return 0;
}
