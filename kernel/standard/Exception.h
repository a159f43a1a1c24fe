// Exception: what the kernel throws when something fails after it was opened. A plain value,
// thrown by value and copied whole. Opening and lookup report by status codes instead.

#pragma once

#include <cstdint>

namespace Zef {

class Exception {
 public:
  static constexpr std::uint32_t kCallStackSize = 4096;
  static constexpr std::uint32_t kReasonSize = 256;

  /// `file` is kept as a pointer (a literal). The reason is cut at 255 bytes.
  Exception(const char* file, std::uint32_t line, const char* reason = "");
  virtual ~Exception() = default;
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;

  virtual const char* Class() const { return "Unknown"; }
  virtual bool Flag() const { return flag_; }
  virtual const char* CallStack() const { return callStack_; }
  virtual const char* Reason() const { return reason_; }

  const char* File() const { return file_; }
  std::uint32_t Line() const { return line_; }

  /// Replaces the reason by a formatted text, cut at 255 bytes.
  void FormatReason(const char* format, ...) __attribute__((format(printf, 2, 3)));

 protected:
  /// kCallStackSize bytes, for a class that knows its call stack; stays zero-terminated.
  char* CallStackSpace() { return callStack_; }

 private:
  char callStack_[kCallStackSize];
  char reason_[kReasonSize];
  bool flag_ = false;
  std::uint32_t line_;
  const char* file_;
};

/// A failure of input or output on an open file.
class FileEx : public Exception {
 public:
  using Exception::Exception;
  const char* Class() const override { return "File"; }
};

/// Throws FileEx with the caller's place in the source.
[[noreturn]] void RaiseFileEx(const char* reason, const char* file = __builtin_FILE(),
                              std::uint32_t line = __builtin_LINE());

}  // namespace Zef
