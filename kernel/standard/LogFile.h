// LogFile: the file behind the log, which can still be written when its process has faulted.
//
// Opened and closed through File, so that a name may go through a substitution by a folder; written
// past it, because what File does when a disk is full takes memory. Bytes that cannot be written
// later on are lost without a word. Not locked.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kernel/standard/File.h"

namespace Zef {

class LogFile {
 public:
  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  /// Closes the file, which takes locks of the substitutions.
  ~LogFile() { Flush(); }

  /// Creates the file, or empties it, and writes its first text at once. False where that fails, as
  /// it does for a terminal, and for a file in an archive. Called once, before all else.
  [[nodiscard]] bool Open(const char* path, std::string_view firstText);
  void Write(std::string_view text) noexcept;
  /// Hands what is buffered to the system.
  void Flush() noexcept;
  /// Takes no more, as if closed, and keeps what only the heap could take back.
  void Seal() noexcept;

 private:
  static constexpr std::size_t kBufferSize = 8192;

  bool WriteNow(std::string_view text) noexcept;

  std::unique_ptr<File> file_;
  std::uint64_t position_ = 0;  // in the file, of what is buffered
  std::size_t buffered_ = 0;
  bool sealed_ = false;
  char buffer_[kBufferSize];
};

}  // namespace Zef
