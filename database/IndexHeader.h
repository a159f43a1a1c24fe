// IndexHeader: the three words at the start of an index file, and what is told of a file that
// does not load. Shared by the readers of index files.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Zef {
class File;
}

inline constexpr std::uint32_t kIndexMagic = 0xCEEBA2DB;
inline constexpr std::uint32_t kIndexVersion = 19;
inline constexpr std::size_t kIndexHeaderSize = 12;

/// Why an index file did not load, for reports.
enum class IndexDamage {
  None,
  CannotOpen,
  ReadError,
  BadMagic,
  BadLength,
  BadVersion,
  Records,
  Obsolete,
  Dependencies,
  UserNames,
  ConfigCache,
  Archives,
};

/// One plain sentence for a report, such as "the user name table is damaged".
const char* IndexDamageText(IndexDamage damage);

struct IndexLoadReport {
  IndexDamage damage = IndexDamage::None;
  std::uint64_t offset = 0;    ///< where reading stopped
  std::uint64_t fileSize = 0;  ///< as read, compressed files unpacked
  std::uint32_t version = 0;   ///< as stored
  std::uint64_t storedLength = 0;
  std::uint32_t recordCount = 0;  ///< as stored
  /// Where records, obsolete table, dependencies, user names, config cache, archives and station
  /// state begin, as far as reading got; 0 behind that.
  std::array<std::uint64_t, 7> sectionStarts{};
};

/// Checks the header words in their order and fills the report's sizes.
[[nodiscard]] IndexDamage ReadIndexHeader(Zef::File& file, IndexLoadReport& report);

/// True for a compressed file: its size is what its own header says, so memory for its content
/// grows with what arrives.
[[nodiscard]] bool MayPromiseMore(const Zef::File& file);
