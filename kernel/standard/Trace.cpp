#include "kernel/standard/Trace.h"

#include <atomic>
#include <cstdarg>

#include "kernel/standard/FormatBuffer.h"

namespace Zef {

namespace {

constinit std::atomic<TraceSink> traceSink = nullptr;

}  // namespace

TraceSink SetTraceSink(TraceSink sink) { return traceSink.exchange(sink); }

void Trace(const char* format, ...) {
  const TraceSink sink = traceSink.load(std::memory_order_acquire);
  if (sink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  const FormatBuffer text(format, arguments);
  va_end(arguments);
  sink(text.Text());
}

}  // namespace Zef
