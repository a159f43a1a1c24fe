// Writes the records of an asset index as SQL, so that a database can be asked the same
// questions: one table with the identifier's words, the built-in flag and the stored record.

#include <cstdio>
#include <string>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "kernel/ByteWriter.h"

namespace {

void AppendHex(std::string& out, std::span<const std::byte> bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (const std::byte byte : bytes) {
    out += kDigits[std::to_integer<unsigned>(byte) >> 4];
    out += kDigits[std::to_integer<unsigned>(byte) & 15];
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: quarle_index_sql INDEX TABLE > FILE.sql\n");
    return 2;
  }
  MUKAssetIndex index;
  IndexLoadReport report;
  if (!index.Load(argv[1], &report)) {
    std::fprintf(stderr, "quarle_index_sql: %s: %s\n", argv[1], IndexDamageText(report.damage));
    return 1;
  }
  const char* table = argv[2];
  std::printf(
      "CREATE TABLE %s(user INTEGER, content INTEGER, version INTEGER, builtin INTEGER, "
      "record BLOB);\nBEGIN;\n",
      table);
  std::string line;
  Zef::ByteWriter bytes;
  for (const MUKAsset* record : index.AllRecords()) {
    bytes.Clear();
    AppendRecord(bytes, *record);
    line = std::string("INSERT INTO ") + table + " VALUES(" + std::to_string(record->id.user) +
           "," + std::to_string(record->id.content) + "," + std::to_string(record->id.version) +
           "," + (record->Has(AssetFlag::BuiltIn) ? "1" : "0") + ",X'";
    AppendHex(line, bytes.View());
    line += "');\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
  std::printf("COMMIT;\n");
  return std::fflush(stdout) == 0 ? 0 : 1;
}
