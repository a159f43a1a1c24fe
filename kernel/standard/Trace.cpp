#include "kernel/standard/Trace.h"

#include <atomic>
#include <cstdarg>

#include "kernel/standard/FormatBuffer.h"

namespace Zef {

namespace {

constinit std::atomic<TraceSink> traceSink = nullptr;

}  // namespace

void SetTraceSink(TraceSink sink) { traceSink.store(sink, std::memory_order_release); }

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
