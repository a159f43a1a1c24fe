#include "kernel/standard/FaultReport.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <string_view>

#include "kernel/KernelBoot.h"
#include "kernel/Thread.h"
#include "kernel/platform/Terminal.h"
#include "kernel/standard/HardwareException.h"
#include "kernel/standard/Log.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Version.h"

namespace Zef {

namespace {

using Platform::Fault;
using Platform::FaultAnswer;
using Platform::Guarded;

constexpr const char* kChannelName = "ExceptionHandler";
constexpr std::string_view kBreak = "\r\n";
constexpr std::uint32_t kNobody = 0;
constexpr std::uint32_t kClosed = 0xFFFFFFFF;     // a report was made and the process is to end
constexpr std::uint32_t kMostGathering = 10'000;  // milliseconds
constexpr std::uint32_t kMostClosing = 1'000;

constinit std::atomic<LogChannel*> reportChannel{nullptr};
constinit std::atomic<FatalWindow> fatalWindow{nullptr};
constinit std::atomic<std::uint32_t> reportingThread{kNobody};
constinit std::atomic<bool> windowIsUp{false};

void LogReport(std::string_view line) {
  LogChannel* const channel = reportChannel.load(std::memory_order_acquire);
  if (channel == nullptr || !channel->Begin(LogLevel::Error)) return;
  static_cast<void>(Guarded([&] { LogText(*channel, line); }));
}

// Functions for one moment of a report. Nodes are only added, so that a report needs no lock.
class CriticalList {
 public:
  constexpr CriticalList(const char* begin, const char* failure)
      : begin_(begin), failure_(failure) {}

  void Add(void* parameter, CriticalFunction function) {
    const std::lock_guard guard(mutex_);
    std::atomic<Node*>* link = &first_;
    while (Node* const node = link->load(std::memory_order_relaxed)) link = &node->next;
    link->store(new Node(parameter, function), std::memory_order_release);
  }

  void Run() {
    if (running_.exchange(true)) return;
    LogReport(begin_);
    for (Node* node = first_.load(); node != nullptr; node = node->next.load()) {
      if (!Guarded([node] { node->function(node->parameter); })) LogReport(failure_);
    }
    running_.store(false);
  }

  void Clear() {
    const std::lock_guard guard(mutex_);
    for (Node* node = first_.exchange(nullptr); node != nullptr;) {
      Node* const next = node->next.load();
      delete node;
      node = next;
    }
  }

 private:
  struct Node : KernelObject {
    Node(void* argument, CriticalFunction called) : parameter(argument), function(called) {}
    void* parameter;
    CriticalFunction function;
    std::atomic<Node*> next{nullptr};
  };

  const char* begin_;
  const char* failure_;
  std::mutex mutex_;
  std::atomic<Node*> first_{nullptr};
  std::atomic<bool> running_{false};
};

constinit CriticalList shutdownList("Critical Shutdown ...", "Critical Shutdown failure!");
constinit CriticalList startupList("Critical Startup ...", "Critical Startup failure!");

// The lines of the window; each is logged as it is added.
class WindowLines {
 public:
  void Clear() { count_ = used_ = 0; }

  void Add(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    char line[1024];
    std::va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(line, sizeof line, format, arguments));
    va_end(arguments);
    AddText(line);
  }

  /// Every line of the text, which ends with a line break.
  void AddText(std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = text.find(kBreak);
      AddLine(text.substr(0, end));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + kBreak.size());
    }
  }

  std::span<const char* const> View() const { return {lines_, count_}; }

 private:
  void AddLine(std::string_view line) {
    if (count_ == std::size(lines_) || line.size() >= sizeof text_ - used_) return;
    char* const copy = text_ + used_;
    std::memcpy(copy, line.data(), line.size());
    copy[line.size()] = 0;
    used_ += line.size() + 1;
    lines_[count_++] = copy;
    LogReport(line);
  }

  const char* lines_[160] = {};
  std::size_t count_ = 0;
  std::size_t used_ = 0;
  char text_[2 * Exception::kCallStackSize] = {};
};

constinit WindowLines windowLines;

FatalAnswer PrintLines(std::span<const char* const> lines) {
  for (const char* const line : lines) {
    Platform::WriteStandard(Platform::StandardStream::Error, line);
    Platform::WriteStandard(Platform::StandardStream::Error, "\n");
  }
  return FatalAnswer::Stop;
}

void DescribeException(WindowLines& lines, const Exception& exception) {
  const BuildVersion& build = kBuildVersion;
  if (exception.File() != nullptr) lines.Add("File: %s\r\n", exception.File());
  if (exception.Line() > 0) lines.Add("Line: %u\r\n", exception.Line());
  lines.Add("Class: %s\r\n", exception.Class());
  lines.Add("Reason: %s\r\n", exception.Reason());
  lines.Add("Version: Zef v%s Build %s.%s\r\n", build.version, build.build, build.revision);
  lines.AddText(exception.CallStack());
}

FatalAnswer ShowWindow(const Exception& exception, bool isHardware) {
  FatalAnswer answer = FatalAnswer::Stop;
  const bool shown = Guarded([&] {
    windowLines.Clear();
    DescribeException(windowLines, exception);
    const FatalWindow window = fatalWindow.load();
    windowIsUp.store(true);
    answer = (window != nullptr ? window : PrintLines)(windowLines.View());
  });
  windowIsUp.store(false);
  if (!shown) {
    Platform::WriteStandard(
        Platform::StandardStream::Error,
        isHardware
            ? "Fatal Error: An error occurred trying to display the fatal error window! (1)\n"
            : "Fatal Error: An error occurred trying to display the fatal error window! (0)\n");
  }
  static_cast<void>(Guarded(LogShutdownInFault));
  return answer;
}

// `what`, if any, says more than the name of the fault.
FatalAnswer ShowFault(const Fault& fault, const char* what = nullptr) {
  alignas(HardwareException) static std::byte place[sizeof(HardwareException)];
  auto* const exception = ::new (place) HardwareException(fault);
  if (what != nullptr) exception->FormatReason("%s: %s", FaultName(fault.code), what);
  return ShowWindow(*exception, true);
}

FatalAnswer Show(const Fault& fault) {
  if (fault.code != Platform::FaultCode::CppException || !std::current_exception()) {
    return ShowFault(fault);
  }
  try {
    throw;
  } catch (const Exception& exception) {
    return ShowWindow(exception, false);
  } catch (const std::exception& exception) {
    return ShowFault(fault, exception.what());
  } catch (...) {
    return ShowFault(fault);
  }
}

// Makes this thread the one that reports; waits while another one is. False in a report of this
// thread, when one has been made and `mostClosing` milliseconds have not ended the process, and
// when one does not get as far as its window, which may be for want of a lock that this thread
// holds.
bool TakeTurn(std::uint32_t mostClosing) {
  const std::uint32_t self = CurrentThreadId();
  std::uint32_t gathering = 0;
  std::uint32_t closing = 0;
  std::uint32_t before = kNobody;
  while (!reportingThread.compare_exchange_strong(before, self)) {
    if (before == self) return false;
    if (before == kClosed && closing++ == mostClosing) return false;
    gathering = windowIsUp.load() ? 0 : gathering + 1;
    if (gathering > kMostGathering) return false;
    before = kNobody;
    Sleep(1);
  }
  return true;
}

FaultAnswer Report(const Fault& fault) {
  if (!TakeTurn(0)) return FaultAnswer::Decline;
  shutdownList.Run();
  if (Show(fault) == FatalAnswer::Stop || !fault.continuable) {
    reportingThread.store(kClosed);
    return FaultAnswer::Decline;
  }
  startupList.Run();
  reportingThread.store(kNobody);
  return FaultAnswer::Resume;
}

// A report of another thread comes first: it walks what goes here, and as a rule ends the process.
void EndReports() {
  const bool isMine = TakeTurn(kMostClosing);
  Platform::RemoveFaultHandlers();
  reportChannel.store(nullptr);
  shutdownList.Clear();
  startupList.Clear();
  if (isMine) reportingThread.store(kNobody);
}

void EndWithProcess() {
  static const bool registered = (KernelExitTable::Register(EndReports), true);
  static_cast<void>(registered);
}

}  // namespace

void InstallFaultReports() {
  EndWithProcess();
  reportChannel.store(&GetLog(kChannelName), std::memory_order_release);
  static_cast<void>(Platform::InstallFaultHandlers(Report));
}

void OpenLogAndReports() {
  InstallFaultReports();
  Options::Process().LoadForProgram();
  LogInit(Options::Process());
}

FatalWindow SetFatalWindow(FatalWindow window) { return fatalWindow.exchange(window); }

void AddCriticalShutdown(void* parameter, CriticalFunction function) {
  EndWithProcess();
  shutdownList.Add(parameter, function);
}

void AddCriticalStartup(void* parameter, CriticalFunction function) {
  EndWithProcess();
  startupList.Add(parameter, function);
}

}  // namespace Zef
