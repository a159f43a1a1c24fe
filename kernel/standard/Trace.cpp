#include "kernel/standard/Trace.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <span>

#include "kernel/standard/FormatBuffer.h"

namespace Zef {

namespace {

constinit std::atomic<TraceSink> traceSink = nullptr;

constexpr bool IsControl(char c) { return (c >= 0 && c < 0x20) || c == 0x7F; }

/// The two bytes of U+0080 to U+009F, of which some terminals take commands, too.
constexpr bool IsControlPair(char first, char second) {
  return first == '\xC2' && (second & 0xE0) == 0x80;
}

void MaskControls(std::span<char> text) {
  std::replace_if(text.begin(), text.end(), IsControl, '?');
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if (IsControlPair(text[i], text[i + 1])) text[i] = text[i + 1] = '?';
  }
}

}  // namespace

void SetTraceSink(TraceSink sink) { traceSink.store(sink, std::memory_order_release); }

void Trace(const char* format, ...) {
  const TraceSink sink = traceSink.load(std::memory_order_acquire);
  if (sink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  FormatBuffer text(format, arguments);
  va_end(arguments);
  MaskControls(text.Characters().first(text.View().find_last_not_of("\r\n") + 1));
  sink(text.Text());
}

}  // namespace Zef
