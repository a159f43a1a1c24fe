// Log: named channels of diagnostics with levels, and the one log file of the process.
//
// Each channel has the most detailed level that it lets through and the places where its lines go.
// Callers ask first and format then:
//
//   if (log.Begin(LogLevel::Warning)) Log(log, "%s is damaged", name);
//
// Nothing is written to a file until the program calls LogInit; until then lines go to the
// debugger's hook alone. Any thread may write; a line reaches the file whole. The level shown in a
// line is a word that threads share, so two that use one channel at once may show each other's.
// Failures of writing are never reported. Lines and options are told in docs/log.md.
//
// Cost: two loads for a line that does not pass, one system call for one that does.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/BlockAllocator.h"
#include "kernel/Containers.h"
#include "kernel/standard/SharedText.h"

namespace Zef {

class Options;

enum class LogLevel : std::uint32_t { None, Error, Warning, Diagnostic, Progress };

namespace LogOutput {
inline constexpr std::uint8_t kFile = 0x01;
inline constexpr std::uint8_t kDebug = 0x02;
inline constexpr std::uint8_t kWindow = 0x08;  ///< noted for hosts that have one
}  // namespace LogOutput

namespace LogFormat {
inline constexpr std::uint8_t kLineEnd = 0x01;
inline constexpr std::uint8_t kPrefix = 0x02;
}  // namespace LogFormat

class LogChannel : public KernelObject, public IListNode {
 public:
  /// Lets warnings through, into the file and to the debugger.
  LogChannel(std::string_view name, bool prefix);

  /// True for a line that is to be written, whose level is noted for the prefix.
  bool Begin(LogLevel level) {
    if (level_.load(std::memory_order_relaxed) < level) return false;
    if (Outputs() == 0 || disabled.load(std::memory_order_relaxed)) return false;
    current_.store(level, std::memory_order_relaxed);
    return true;
  }

  const SharedText& Name() const { return name_; }
  LogLevel Level() const { return level_.load(std::memory_order_relaxed); }
  LogLevel Current() const { return current_.load(std::memory_order_relaxed); }
  std::uint8_t Outputs() const { return outputs_.load(std::memory_order_relaxed); }
  std::uint8_t Format() const { return format_.load(std::memory_order_relaxed); }

  void SetLevel(LogLevel level) { level_.store(level, std::memory_order_relaxed); }
  void SetOutput(std::uint8_t bits, bool on) { SetBits(outputs_, bits, on); }
  void SetFormat(std::uint8_t bits, bool on) { SetBits(format_, bits, on); }

  /// Set while all logging is off.
  static std::atomic<bool> disabled;

 private:
  static void SetBits(std::atomic<std::uint8_t>& word, std::uint8_t bits, bool on) {
    if (on) {
      word.fetch_or(bits, std::memory_order_relaxed);
    } else {
      word.fetch_and(static_cast<std::uint8_t>(~bits), std::memory_order_relaxed);
    }
  }

  SharedText name_;
  std::atomic<LogLevel> level_{LogLevel::Warning};
  std::atomic<LogLevel> current_{LogLevel::None};
  std::atomic<std::uint8_t> outputs_{LogOutput::kFile | LogOutput::kDebug};
  std::atomic<std::uint8_t> format_;
};

/// The channel of that name in any letter case, made if need be; lives until LogEnd. Names are cut
/// to 64 bytes. Throws std::bad_alloc.
LogChannel& GetLog(std::string_view name);

/// Writes one line at the level that Begin noted.
void Log(LogChannel& channel, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// The same for a finished text. Up to 4096 bytes need no heap, so that a fault may be told.
void LogText(LogChannel& channel, std::string_view text) noexcept;

/// Makes the start of a line, zero-terminated, and gives its length; `to` has 64 bytes at least.
/// `seconds` since the log began.
std::size_t FormatLogPrefix(std::span<char> to, LogLevel level, std::uint32_t thread,
                            double seconds, std::string_view name);

enum class LogStream { None, Output, Error };

struct LogSettings {
  std::string file = "ZefLog.txt";  ///< empty for none
  bool flush = true;                ///< hand each line to the system at once
  bool prefix = true;
  bool disabled = false;  ///< leave a file that says so, and log nothing
  LogStream stream = LogStream::None;
  std::vector<std::string> channels;  ///< "name:item:item=off"
};

/// What the options ask for.
LogSettings ReadLogSettings(Options& options);
/// Opens the log and becomes the sink of Trace. A file that cannot be opened and written turns
/// logging off. A log that is open already is shut down first.
void LogInit(const LogSettings& settings);
void LogInit(Options& options);
/// Closes the file, after a last word unless `final`.
void LogShutdown(bool final);
/// LogShutdown(false) in the middle of a fault: without the heap.
void LogShutdownInFault();
/// Last words of the process: closes the file and frees the channels. Called when the string pool
/// has gone, so it uses no pooled text; no thread may be logging any more.
void LogEnd();

/// Receives every line for the debugger; null for none, as at the start. Called in any thread,
/// which may hold locks of the system: it must not wait for any.
using LogDebugHook = void (*)(const char* line);
LogDebugHook SetLogDebugHook(LogDebugHook hook);

}  // namespace Zef
