#include "kernel/standard/Trace.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <span>

#include "kernel/standard/FormatBuffer.h"

namespace Zef {

namespace {

constinit std::atomic<TraceSink> traceSink = nullptr;

bool IsControl(char c) { return (c >= 0 && c < 0x20) || c == 0x7F; }

}  // namespace

void SetTraceSink(TraceSink sink) { traceSink.store(sink, std::memory_order_release); }

void Trace(const char* format, ...) {
  const TraceSink sink = traceSink.load(std::memory_order_acquire);
  if (sink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  FormatBuffer text(format, arguments);
  va_end(arguments);
  const std::span<char> line = text.Characters();
  const std::size_t end = text.View().find_last_not_of("\r\n") + 1;
  std::replace_if(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(end), IsControl, '?');
  sink(text.Text());
}

}  // namespace Zef
