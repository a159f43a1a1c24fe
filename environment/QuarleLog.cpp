#include "environment/QuarleLog.h"

#include <cstdarg>
#include <cstring>
#include <mutex>

#include "kernel/standard/FormatBuffer.h"
#include "kernel/standard/Log.h"

namespace {

constexpr const char* kChannel = "Quarle";
constexpr const char* kSource = "QuarleLog";
constexpr double kLongestFrame = 0.2;

struct FrameSum {
  std::mutex lock;
  double seconds = 0;
  std::uint64_t frames = 0;
};
constinit FrameSum frameSum;

/// The channel if it lets the line through, else null.
Zef::LogChannel* BeginLine() {
  Zef::LogChannel& channel = Zef::GetLog(kChannel);
  return channel.Begin(Zef::LogLevel::Warning) ? &channel : nullptr;
}

void WriteLine(const Zef::FormatBuffer& text) {
  if (Zef::LogChannel* const channel = BeginLine()) Zef::LogText(*channel, text.View());
}

}  // namespace

constinit std::atomic<bool> raiseOnError{false};

QuarleEx::QuarleEx(const char* file, std::uint32_t line, const char* message)
    : Exception(file, line, message), message_("") {
  if (message != nullptr) std::strncpy(message_, message, kMessageSize - 1);
}

void QuarleLog(const char* format, ...) {
  Zef::LogChannel* const channel = BeginLine();
  if (channel == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  const Zef::FormatBuffer text(format, arguments);
  va_end(arguments);
  Zef::LogText(*channel, text.View());
}

void QuarleLogFatal(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const Zef::FormatBuffer text(format, arguments);
  va_end(arguments);
  WriteLine(text);
  throw QuarleEx(kSource, __LINE__, text.Text());
}

void QuarleLogError(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const Zef::FormatBuffer text(format, arguments);
  va_end(arguments);
  WriteLine(text);
  if (raiseOnError.load()) throw QuarleEx(kSource, __LINE__, text.Text());
}

void RecordFrameTime(double seconds) {
  if (!(seconds >= 0 && seconds < kLongestFrame)) return;
  const std::lock_guard guard(frameSum.lock);
  frameSum.seconds += seconds;
  ++frameSum.frames;
}

void QuarleLogEnd() {
  double seconds = 0;
  double frames = 0;
  {
    const std::lock_guard guard(frameSum.lock);
    seconds = frameSum.seconds;
    frames = static_cast<double>(frameSum.frames);
  }
  if (seconds <= 0) return;
  QuarleLog("QuarleLogEnd> Averaged %ffps over %fsec", frames / seconds, seconds);
}
