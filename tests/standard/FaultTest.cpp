#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "kernel/Thread.h"
#include "kernel/standard/FaultReport.h"
#include "kernel/standard/HardwareException.h"
#include "kernel/standard/Log.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Task.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TestFiles.h"

// The faults are meant; the sanitizer must not find them first.
#define FAULTY __attribute__((noinline, no_sanitize("undefined", "address")))

namespace Zef {
namespace {

volatile int zero = 0;

FAULTY void WriteToNull() {
  volatile int* volatile nothing = nullptr;
  *nothing = 1;
}

FAULTY void DivideByZero() { zero = 7 / zero; }

FAULTY void RunNonsense() { asm volatile("ud2"); }

// As the system tells of bad memory that nobody has read yet.
FAULTY void LoseMemory() {
  siginfo_t info{};
  info.si_signo = SIGBUS;
  info.si_code = BUS_MCEERR_AO;
  syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), SIGBUS, &info);
}

FAULTY int Recurse(volatile char* from) {  // NOLINT(misc-no-recursion)
  volatile char frame[512];
  frame[0] = *from;
  return zero != 0 ? 0 : Recurse(frame) + frame[0];
}

FAULTY void OverflowStack() {
  volatile char start = 1;
  zero = Recurse(&start);
}

struct Outcome {
  int status;
  std::string log;
  std::string err;
};

/// What `body` leaves behind in a process that reports its faults.
template <typename Body>
Outcome Report(Body body) {
  const ::Test::TempFolder folder;
  const std::string log = folder / "log";
  const std::string err = folder / "err";
  ::Test::WriteWholeFile(err, "");
  const ::Test::ChildProcess child([&]() noexcept {
    const rlimit noCore{};
    setrlimit(RLIMIT_CORE, &noCore);
    dup2(open(err.c_str(), O_WRONLY | O_APPEND), STDERR_FILENO);
    LogSettings settings;
    settings.file = log;
    LogInit(settings);
    InstallFaultReports();
    body();
    return 0;
  });
  const int status = child.AwaitEnd();
  return {status, ::Test::ReadWholeFile(log), ::Test::ReadWholeFile(err)};
}

std::size_t Count(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

template <typename Function>
void InThread(Function* function) {
  const auto call = [](void* argument) {
    reinterpret_cast<Function*>(argument)();
    return 0;
  };
  Thread(call, reinterpret_cast<void*>(function)).Stop();
}

TEST(FaultReport, EveryKindOfEndIsToldInTheLogAndOnStandardError) {
  const struct {
    void (*fault)();
    const char* told;
    bool hasFrames;
  } cases[] = {{WriteToNull, "Class: Hardware\nReason: Access Violation\nVersion: Zef v", true},
               {DivideByZero, "Class: Hardware\nReason: Integer Divide By Zero\n", true},
               {RunNonsense, "Reason: Illegal Instruction\n", true},
               {LoseMemory, "Reason: In Page Error\n", true},
               {OverflowStack, "Reason: Stack Overflow\n", false},
               {[] { throw std::runtime_error("for want of a nail"); },
                "Class: Hardware\nReason: C++ Exception: for want of a nail\n", true},
               {[] { throw 1; }, "Reason: C++ Exception\n", true},
               {[] { throw FileEx("lost.cpp", 12, "the shoe"); },
                "File: lost.cpp\nLine: 12\nClass: File\nReason: the shoe\nVersion: Zef v", false}};
  for (const auto& c : cases) {
    for (const bool inThread : {false, true}) {
      // Its own stack ends first; and what it adds to functions has exceptions forgotten on the
      // way to the handlers of the test framework.
      if (::Test::kThreadSanitizer && (!inThread || c.fault == OverflowStack)) continue;
      SCOPED_TRACE(std::string(c.told) + (inThread ? "in a thread" : ""));
      const Outcome outcome = Report([&] { inThread ? InThread(c.fault) : c.fault(); });
      EXPECT_NE(outcome.status, 0);
      EXPECT_NE(outcome.err.find(c.told), std::string::npos) << outcome.err;
      EXPECT_TRUE(outcome.log.ends_with("\r\nShutdown.\r\n"));
      EXPECT_NE(outcome.log.find(" ExceptionHandle : Critical Shutdown ...\r\n"),
                std::string::npos);
      EXPECT_NE(outcome.log.find(" ExceptionHandle : Reason: "), std::string::npos);
      EXPECT_EQ(Count(outcome.err, "Exception @ "), Count(c.told, "File: ") == 0 ? 1U : 0U);
      // The module of the fault, then at least one frame in it.
      EXPECT_EQ(Count(outcome.err, "test_standard\n") > 1, c.hasFrames) << outcome.err;
      EXPECT_EQ(Count(outcome.log, "test_standard\r\n") > 1, c.hasFrames);
    }
  }
}

TEST(FaultReport, OneThreadReportsWhereSeveralFaultAndTheExitOfTheProcessWaits) {
  const Outcome outcome = Report([] {
    static std::atomic<bool> begun;
    AddCriticalShutdown(&begun, [](void* flag) {
      *static_cast<std::atomic<bool>*>(flag) = true;
      Sleep(100);
    });
    const auto fault = [](void*) { return WriteToNull(), 0; };
    const Thread first(fault, nullptr);
    const Thread second(fault, nullptr);
    while (!begun) Sleep(1);
    std::exit(0);
  });
  EXPECT_EQ(Count(outcome.err, "Exception @ "), 1U) << outcome.err;
  EXPECT_TRUE(outcome.log.ends_with("\r\nShutdown.\r\n")) << outcome.log;
  EXPECT_NE(outcome.status, 0);
}

TEST(FaultReport, PassesOverCallbacksAndWindowsThatFail) {
  const Outcome outcome = Report([] {
    AddCriticalShutdown(nullptr, [](void*) { WriteToNull(); });
    AddCriticalShutdown(nullptr, [](void*) { throw 1; });
    static const char kCalled[] = "called\n";
    AddCriticalShutdown(const_cast<char*>(kCalled), [](void* text) {
      static_cast<void>(!write(STDERR_FILENO, text, sizeof kCalled - 1));
    });
    SetFatalWindow([](std::span<const char* const>) { return WriteToNull(), FatalAnswer::Stop; });
    DivideByZero();
  });
  EXPECT_EQ(Count(outcome.log, "Critical Shutdown failure!\r\n"), 2U);
  EXPECT_EQ(Count(outcome.err, "called\nFatal Error: An error occurred"), 1U) << outcome.err;
  EXPECT_EQ(Count(outcome.err, "fatal error window! (1)\n"), 1U);
  EXPECT_EQ(Count(outcome.log, "Integer Divide By Zero"), 1U) << "logged ahead of the window";
}

TEST(FaultReport, GoesOnWhereTheWindowMendsWhatWasWrong) {
  static char* page;
  static bool restarted;
  const Outcome outcome = Report([] {
    page = static_cast<char*>(mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    AddCriticalStartup(&restarted, [](void* flag) { *static_cast<bool*>(flag) = true; });
    SetFatalWindow([](std::span<const char* const>) {
      mprotect(page, 4096, PROT_READ | PROT_WRITE);
      return FatalAnswer::Continue;
    });
    *static_cast<volatile char*>(page) = 7;
    _exit(*page == 7 && restarted ? 5 : 6);
  });
  EXPECT_EQ(outcome.status, 5);
}

// The log of the task system, as a host's first cycle brings it up.
TEST(FaultReport, TheLogTaskInstallsIt) {
  const ::Test::TempFolder folder;
  const std::string log = folder / "of the environment";
  const Outcome outcome = Report([&log] {
    Platform::RemoveFaultHandlers();
    setenv("Options", ("-LogFile='" + log + "'").c_str(), 1);
    LogTask::SetOpener(OpenLogAndReports);
    TaskSystem::Get()->Cycle();
    WriteToNull();
  });
  EXPECT_EQ(Count(outcome.err, "Reason: Access Violation\n"), 1U) << outcome.err;
  EXPECT_EQ(Count(::Test::ReadWholeFile(log), "Reason: Access Violation\r\n"), 1U);
}

TEST(HardwareException, TellsUnknownCodesAndWalksOnlySoundFrames) {
  struct Frame {
    Frame* caller;
    std::uint64_t returnsTo;
  };
  static Frame frames[100];
  const auto framesTold = [](std::size_t count, Frame* last) {
    for (std::size_t i = 0; i < count; ++i) frames[i] = {&frames[i + 1], 0x1000 + i};
    frames[count - 1].caller = last;
    Platform::Fault fault{static_cast<Platform::FaultCode>(0x12ab), true, {}};
    fault.registers.rip = 0x100;
    fault.registers.rbp = reinterpret_cast<std::uintptr_t>(frames);
    const HardwareException exception(fault);
    EXPECT_STREQ(exception.Reason(), "Unknown Exception - 000012abh");
    const std::string_view text(exception.CallStack());
    return Count(text.substr(text.find("Call Stack:\r\n \r\n") + 16), "\r\n");
  };
  EXPECT_EQ(framesTold(100, nullptr), 51U);
  EXPECT_EQ(framesTold(3, nullptr), 4U);
  EXPECT_EQ(framesTold(3, &frames[98]), 6U);
  EXPECT_EQ(framesTold(3, frames), 4U) << "a circle";
  EXPECT_EQ(framesTold(3, std::bit_cast<Frame*>(~std::uintptr_t{15})), 4U) << "unreadable";
  char* const odd = reinterpret_cast<char*>(&frames[98]) + 4;
  EXPECT_EQ(framesTold(3, reinterpret_cast<Frame*>(odd)), 4U);
}

}  // namespace
}  // namespace Zef
