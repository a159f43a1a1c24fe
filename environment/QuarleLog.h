// QuarleLog: lines in the log from the product layer, and the exception of its fatal failures.
//
// Lines go to the channel "Quarle" as warnings; kernel/standard/Log.h says where they come out. A
// format is the program's own: texts from files go through "%s". Any thread may call.
//
// The average frame rate is gathered beside it: hosts report each frame and log the result in the
// end.

#pragma once

#include <atomic>
#include <cstdint>

#include "kernel/standard/Exception.h"

/// Raised for what the product cannot go on without. A value, copied whole.
class QuarleEx : public Zef::Exception {
 public:
  static constexpr std::uint32_t kMessageSize = 4096;

  /// `file` is kept as a pointer. The message is cut at 4095 bytes; the reason is its beginning.
  QuarleEx(const char* file, std::uint32_t line, const char* message);

  const char* Class() const override { return "Quarle Error"; }
  const char* Message() const { return message_; }

 private:
  char message_[kMessageSize];
};

/// While set, QuarleLogError raises. Clear at first.
extern std::atomic<bool> raiseOnError;

void QuarleLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Writes the line and raises it as a QuarleEx.
[[noreturn]] void QuarleLogFatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Writes the line, and raises it while `raiseOnError` is set.
void QuarleLogError(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Adds a frame to the average. One of 0.2 seconds and more was a pause and does not count.
void RecordFrameTime(double seconds);
/// Logs the average frame rate and the time it is made of, if any frame counted.
void QuarleLogEnd();
