// IndexScan: one pass over an index file that keeps no record.
//
// For questions that need a word or two of each record, such as a comparison of two indexes: the
// file goes by through a window of a megabyte, and the records are shown once, in file order,
// a few dozen at a time, so that a visitor can have its own memory fetched ahead of use.
// Judges a file exactly as MUKAssetIndex::Load does.
//
// Cost: reading the file, and a jump a field. Memory: the window, or the largest record when
// that is larger, then the side tables at the end of the file. Not thread-safe; for one pass.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "database/AssetRecord.h"
#include "kernel/standard/File.h"

class IndexScan {
 public:
  IndexScan();
  ~IndexScan();

  /// False when the file cannot be opened or its header or record count is bad. May raise
  /// Zef::Exception, as may Run.
  [[nodiscard]] bool Open(const std::string& path);
  /// Records worth making room for: as many as the file counts, which is never more than it has
  /// room for. A compressed file may promise more than it holds, so of one no more than what
  /// arrived by now has room for.
  std::uint32_t CountToReserve() const;

  struct Seen {
    RecordGlance glance;
    std::span<const std::byte> stored;
  };
  /// The next records. Their bytes hold during the call.
  using Visitor = std::function<void(std::span<const Seen> records)>;
  /// Shows all records. False when the file would not load; records before the damage have been
  /// shown then.
  [[nodiscard]] bool Run(const Visitor& visit);

 private:
  class Window;

  Zef::File file_;
  std::unique_ptr<Window> window_;
  std::uint32_t count_ = 0;
};
