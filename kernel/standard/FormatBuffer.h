// FormatBuffer: a temporary that holds one formatted text.
//
// Results of up to 1023 bytes live inside the object, so ordinary formatting allocates nothing.
// A format that fails, or whose result reaches 32 MiB or finds no memory, gives the empty text.
// Numbers print as in the "C" locale, whatever the host has set. Lives on one stack; not copied.

#pragma once

#include <cstdarg>
#include <cstdint>
#include <span>
#include <string_view>

namespace Zef {

class FormatBuffer {
 public:
  static constexpr std::uint32_t kInlineSize = 1024;
  static constexpr std::int32_t kMostLength = (32 << 20) - 1;

  /// Formats at once; `arguments` is left as it was.
  FormatBuffer(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
  ~FormatBuffer();
  FormatBuffer(const FormatBuffer&) = delete;
  FormatBuffer& operator=(const FormatBuffer&) = delete;

  /// Zero-terminated, never null.
  const char* Text() const { return text_; }
  std::uint32_t Length() const { return length_; }
  std::string_view View() const { return {text_, length_}; }
  /// To be changed in place.
  std::span<char> Characters() { return {text_, length_}; }
  /// Length of the formatted text, or -1 when the text is empty because formatting failed.
  int Result() const { return result_; }
  /// Raises std::bad_alloc when the text is empty for want of memory.
  void RaiseIfNoMemory() const;

 private:
  char* text_ = inline_;
  std::uint32_t length_ = 0;
  int result_ = -1;
  bool lacksMemory_ = false;
  char inline_[kInlineSize];
};

}  // namespace Zef
