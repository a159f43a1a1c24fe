#include "kernel/standard/Crc32.h"

#include <array>

namespace Zef {

namespace {

constexpr std::uint32_t kPolynomial = 0x04C11DB7;
constexpr std::size_t kStep = 8;

using Table = std::array<std::uint32_t, 256>;

/// Table k holds what a byte contributes once k more bytes have followed it.
constexpr std::array<Table, kStep> MakeTables() {
  std::array<Table, kStep> tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte << 24;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 0x80000000) != 0 ? (value << 1) ^ kPolynomial : value << 1;
    }
    tables[0][byte] = value;
  }
  for (std::size_t k = 1; k < kStep; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before << 8) ^ tables[0][before >> 24];
    }
  }
  return tables;
}

constexpr std::array<Table, kStep> kTables = MakeTables();

}  // namespace

std::uint32_t Crc32(std::uint32_t running, const void* bytes, std::size_t size) {
  const auto* at = static_cast<const std::uint8_t*>(bytes);
  std::uint32_t value = ~running;
  for (; size >= kStep; size -= kStep, at += kStep) {
    value = kTables[7][(value >> 24) ^ at[0]] ^ kTables[6][((value >> 16) & 0xFF) ^ at[1]] ^
            kTables[5][((value >> 8) & 0xFF) ^ at[2]] ^ kTables[4][(value & 0xFF) ^ at[3]] ^
            kTables[3][at[4]] ^ kTables[2][at[5]] ^ kTables[1][at[6]] ^ kTables[0][at[7]];
  }
  for (; size > 0; --size) value = (value << 8) ^ kTables[0][(value >> 24) ^ *at++];
  return ~value;
}

}  // namespace Zef
