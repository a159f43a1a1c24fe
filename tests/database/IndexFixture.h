// IndexFixture: records and bytes for the tests of the asset index.

#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "database/MUKAssetIndex.h"

namespace Test {

inline MUKAsset Asset(PLID id, const char* name = nullptr) {
  MUKAsset record;
  record.id = id;
  if (name != nullptr) record.name = name;
  return record;
}

/// Bytes from pairs of hexadecimal digits; blanks separate.
inline std::string Hex(std::string_view digits) {
  const auto value = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); ++i) {
    if (digits[i] == ' ') continue;
    bytes += static_cast<char>(value(digits[i]) * 16 + value(digits[i + 1]));
    ++i;
  }
  return bytes;
}

inline std::string Word(std::size_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

/// A text as index files hold it.
inline std::string Text(std::string_view text) {
  return Word(text.size() + 1) + std::string(text) + '\0';
}

/// "name name ..." of all records in file order.
inline std::string Names(const MUKAssetIndex& index) {
  std::string names;
  for (const MUKAsset* record : index.AllRecords()) names += record->name.String() + ' ';
  return names;
}

}  // namespace Test
