#include "kernel/standard/Log.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "kernel/Sync.h"
#include "kernel/Thread.h"
#include "kernel/Time.h"
#include "kernel/platform/Terminal.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FormatBuffer.h"
#include "kernel/standard/LogFile.h"
#include "kernel/standard/Trace.h"
#include "kernel/standard/Version.h"

namespace Zef {

namespace {

constexpr std::size_t kMostPrefix = 64;
constexpr std::size_t kLongestName = 64;
constexpr std::size_t kInlineText = 4096;
constexpr double kNotStarted = -1;
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kShutdown = "Shutdown.\r\n";
constexpr const char* kTraceChannel = "Trace";

struct LevelText {
  char letter;
  const char* word;
};
constexpr LevelText kLevels[] = {
    {' ', "None"}, {'!', "Err "}, {'?', "Warn"}, {'+', "Diag"}, {'-', "Prog"}};

// Made on first use and never destroyed: a fault may come at any moment.
struct LogState {
  CriticalSection lock{"Log"};
  ICircularList<LogChannel> channels;
  // Null for none. Opened and closed outside the lock: that takes locks of the substitutions, whose
  // holders may want to log.
  std::unique_ptr<LogFile> file;
};

LogState& State() {
  alignas(LogState) static std::byte place[sizeof(LogState)];
  static LogState& state = *::new (place) LogState;
  return state;
}

constinit std::atomic<double> startSeconds{kNotStarted};
constinit std::atomic<LogStream> lineStream{LogStream::None};
constinit std::atomic<bool> flushLines{true};
constinit std::atomic<bool> prefixLines{true};
constinit std::atomic<LogDebugHook> debugHook{nullptr};
constinit std::atomic<LogChannel*> traceChannel{nullptr};

double SecondsSinceStart() {
  const double start = startSeconds.load(std::memory_order_relaxed);
  return start == kNotStarted ? 0 : Time::Seconds() - start;
}

// One line as a whole, on the stack unless it is very long.
class LineText {
 public:
  LineText(const LogChannel& channel, std::string_view text) {
    char prefix[kMostPrefix];
    std::size_t prefixLength = 0;
    if ((channel.Format() & LogFormat::kPrefix) != 0) {
      prefixLength = FormatLogPrefix(prefix, channel.Current(), CurrentThreadId(),
                                     SecondsSinceStart(), channel.Name().View());
    }
    const bool endsLine = (channel.Format() & LogFormat::kLineEnd) != 0;
    Reserve(prefixLength + text.size() + kLineEnd.size());
    Append({prefix, prefixLength});
    Append(text);
    if (endsLine) Append(kLineEnd);
    text_[length_] = 0;
  }

  const char* Text() const { return text_; }
  std::string_view View() const { return {text_, length_}; }

 private:
  void Reserve(std::size_t length) {
    if (length < sizeof inline_) return;
    large_.resize(length + 1);
    text_ = large_.data();
  }

  void Append(std::string_view text) {
    std::memcpy(text_ + length_, text.data(), text.size());
    length_ += text.size();
  }

  char* text_ = inline_;
  std::size_t length_ = 0;
  std::string large_;
  char inline_[kMostPrefix + kInlineText + kLineEnd.size() + 1];
};

void WriteToFile(std::string_view text) {
  LogState& state = State();
  const SyncGuard guard(state.lock);
  if (!state.file) return;
  state.file->Write(text);
  if (flushLines.load(std::memory_order_relaxed)) state.file->Flush();
}

void CloseFile(std::string_view lastWord) {
  LogState& state = State();
  std::unique_ptr<LogFile> file;
  {
    const SyncGuard guard(state.lock);
    std::swap(state.file, file);
  }
  if (file) file->Write(lastWord);
}

void WriteToStream(std::string_view text) {
  const LogStream stream = lineStream.load(std::memory_order_relaxed);
  if (stream == LogStream::None) return;
  Platform::WriteStandard(stream == LogStream::Output ? Platform::StandardStream::Output
                                                      : Platform::StandardStream::Error,
                          text);
}

void WriteLine(LogChannel& channel, std::string_view text) {
  const LineText line(channel, text);
  const std::uint8_t outputs = channel.Outputs();
  if ((outputs & LogOutput::kFile) != 0) WriteToFile(line.View());
  const LogDebugHook hook = debugHook.load(std::memory_order_acquire);
  if ((outputs & LogOutput::kDebug) != 0 && hook != nullptr) hook(line.Text());
  WriteToStream(line.View());
}

// Lines of the trace may bring a line end of their own.
void LogTrace(const char* line) {
  LogChannel* const channel = traceChannel.load(std::memory_order_acquire);
  if (channel == nullptr || !channel->Begin(LogLevel::Warning)) return;
  std::string_view text(line);
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  LogText(*channel, text);
}

std::string Banner() {
  const BuildVersion& build = kBuildVersion;
  std::string text = "Zef v";
  text.append(build.version).append(" Build ").append(build.build).append(".");
  text.append(build.revision).append(" on ").append(build.date).append(" at ");
  return text.append(build.time).append(".\r\n\r\n");
}

// The file that lines go to, if any. False when the settings or the system want no logging.
bool OpenFile(const LogSettings& settings, std::unique_ptr<LogFile>& file) {
  if (settings.file.empty()) return !settings.disabled;
  auto opened = std::make_unique<LogFile>();
  if (!opened->Open(settings.file.c_str(), Banner())) return false;
  opened->Write(settings.disabled ? "Log Disabled.\r\n" : "Begin:\r\n");
  opened->Flush();
  if (!settings.disabled) file = std::move(opened);
  return !settings.disabled;
}

bool ApplyLevel(LogChannel& channel, std::string_view item) {
  for (std::size_t i = 0; i < std::size(kLevels); ++i) {
    // Options name a level without the blank that fills its word up.
    const std::string_view word(kLevels[i].word);
    if (!EqualFolded(item, word.substr(0, word.find(' ')))) continue;
    channel.SetLevel(static_cast<LogLevel>(i));
    return true;
  }
  return false;
}

constexpr struct {
  std::string_view name;
  std::uint8_t outputs;
  std::uint8_t format;
} kFlags[] = {
    {"mono", LogOutput::kDebug, 0},       {"window", LogOutput::kWindow, 0},
    {"newlines", 0, LogFormat::kLineEnd}, {"displaymodulename", 0, LogFormat::kPrefix},
    {"file", LogOutput::kFile, 0},
};

void ApplyFlag(LogChannel& channel, std::string_view item) {
  const std::size_t nameEnd = std::min(item.find('='), item.size());
  const std::string_view suffix = item.substr(nameEnd);
  const bool on = suffix.empty() || EqualFolded(suffix, "=on");
  if (!on && !EqualFolded(suffix, "=off")) return;
  for (const auto& flag : kFlags) {
    if (!EqualFolded(item.substr(0, nameEnd), flag.name)) continue;
    channel.SetOutput(flag.outputs, on);
    channel.SetFormat(flag.format, on);
  }
}

// The next item that is not empty; an empty one at the end.
std::string_view PopItem(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(':'), rest.size()));
  const std::string_view item = rest.substr(0, rest.find(':'));
  rest.remove_prefix(item.size());
  return item;
}

void ApplySetting(std::string_view rest) {
  const std::string_view name = PopItem(rest);
  if (name.empty()) return;
  LogChannel& channel = GetLog(name);
  for (std::string_view item = PopItem(rest); !item.empty(); item = PopItem(rest)) {
    if (!ApplyLevel(channel, item)) ApplyFlag(channel, item);
  }
}

LogChannel* FindChannel(std::string_view name) {
  const ICircularList<LogChannel>& channels = State().channels;
  LogChannel* channel = channels.First();
  while (channel != nullptr && !EqualFolded(channel->Name().View(), name)) {
    channel = channels.Next(channel);
  }
  return channel;
}

}  // namespace

constinit std::atomic<bool> LogChannel::disabled{false};

LogChannel::LogChannel(std::string_view name, bool prefix)
    : format_(static_cast<std::uint8_t>(LogFormat::kLineEnd | (prefix ? LogFormat::kPrefix : 0))) {
  name_.Assign(name);
}

LogChannel& GetLog(std::string_view name) {
  name = name.substr(0, kLongestName);
  LogState& state = State();
  const SyncGuard guard(state.lock);
  if (LogChannel* known = FindChannel(name)) return *known;
  auto* const channel = new LogChannel(name, prefixLines.load(std::memory_order_relaxed));
  state.channels.PushBack(channel);
  return *channel;
}

void Log(LogChannel& channel, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const FormatBuffer text(format, arguments);
  va_end(arguments);
  LogText(channel, text.View());
}

void LogText(LogChannel& channel, std::string_view text) noexcept {
  try {
    WriteLine(channel, text);
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is no log to tell it to
  }
}

std::size_t FormatLogPrefix(std::span<char> to, LogLevel level, std::uint32_t thread,
                            double seconds, std::string_view name) {
  const LevelText& text =
      kLevels[std::min<std::size_t>(static_cast<std::size_t>(level), std::size(kLevels) - 1)];
  // Halves go to the even minute, so a full minute may show as 60 seconds. Readers know it.
  const long minutes = std::lrint(seconds / 60 - 0.5);
  const double rest = std::max(0.0, seconds - 60.0 * static_cast<double>(minutes));
  // In tenths, and put together from integers: a point, whatever the host's locale has.
  const auto tenths = std::lrint(rest * 10);
  const int length =
      std::snprintf(to.data(), to.size(), "%c %08X %s %3ld:%02ld.%ld %-15.*s : ", text.letter,
                    thread, text.word, minutes, tenths / 10, tenths % 10,
                    static_cast<int>(std::min<std::size_t>(name.size(), 15)), name.data());
  return std::min(static_cast<std::size_t>(std::max(length, 0)), to.size() - 1);
}

void LogInit(const LogSettings& settings) {
  LogShutdown(false);
  std::unique_ptr<LogFile> file;
  const bool isOn = OpenFile(settings, file);
  LogState& state = State();
  const SyncGuard guard(state.lock);
  if (startSeconds.load() == kNotStarted) startSeconds.store(Time::Seconds());
  flushLines.store(settings.flush);
  prefixLines.store(settings.prefix);
  lineStream.store(settings.stream);
  LogChannel::disabled.store(!isOn);
  std::swap(state.file, file);
  for (auto* channel = state.channels.First(); channel != nullptr;
       channel = state.channels.Next(channel)) {
    channel->SetFormat(LogFormat::kPrefix, settings.prefix);
  }
  for (const std::string& value : settings.channels) ApplySetting(value);
  traceChannel.store(&GetLog(kTraceChannel), std::memory_order_release);
  SetTraceSink(LogTrace);
}

void LogShutdown(bool final) { CloseFile(final ? std::string_view() : kShutdown); }

void LogShutdownInFault() {
  LogState& state = State();
  const SyncGuard guard(state.lock);
  if (!state.file) return;
  state.file->Write(kShutdown);
  state.file->Seal();
}

void LogEnd() {
  SetTraceSink(nullptr);
  traceChannel.store(nullptr);
  CloseFile("End.\r\n");
  LogState& state = State();
  const SyncGuard guard(state.lock);
  while (LogChannel* channel = state.channels.First()) {
    ICircularList<LogChannel>::Unlink(channel);
    delete channel;
  }
}

LogDebugHook SetLogDebugHook(LogDebugHook hook) { return debugHook.exchange(hook); }

}  // namespace Zef
