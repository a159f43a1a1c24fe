// Faults as signals, on a stack of their own, and the runtime's terminate handler.

#include <cxxabi.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <utility>

#include "kernel/platform/Fault.h"

namespace Zef::Platform {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
constexpr std::size_t kSignalCount = std::size(kSignals);

// A report needs a few pages; a window may need more. Only what is used takes memory.
constexpr std::size_t kStackSize = std::size_t{128} << 10;
// How far beyond the guard a function with large locals may reach before it touches them.
constexpr std::uint64_t kGuardReach = std::uint64_t{64} << 10;

constinit std::atomic<FaultFilter> faultFilter{nullptr};
constinit std::atomic<bool> installed{false};
struct sigaction actionsBefore[kSignalCount];
constinit std::terminate_handler terminateBefore = nullptr;

struct ThreadState {
  sigjmp_buf* guard = nullptr;   // of the innermost RunGuarded
  void* faultStack = nullptr;    // the guard page and the stack above it
  stack_t stackBefore{};         // what faults ran on before
  std::uint64_t stackLow = 0;    // end of the thread's own stack
  std::uint64_t stackGuard = 0;  // size of the guard below it
};

constinit thread_local ThreadState threadState;

std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

// Learnt beforehand: asking the system takes memory.
void LearnStackBounds() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  void* low = nullptr;
  std::size_t size = 0;
  std::size_t guard = 0;
  if (pthread_attr_getstack(&attributes, &low, &size) == 0 &&
      pthread_attr_getguardsize(&attributes, &guard) == 0) {
    threadState.stackLow = reinterpret_cast<std::uintptr_t>(low);
    threadState.stackGuard = std::max<std::uint64_t>(guard, PageSize());
  }
  pthread_attr_destroy(&attributes);
}

bool IsStackOverflow(const void* address) {
  const ThreadState& thread = threadState;
  const std::uint64_t at = reinterpret_cast<std::uintptr_t>(address);
  // The guard lies above or below the end, depending on who made the stack.
  return thread.stackLow != 0 && at < thread.stackLow + thread.stackGuard &&
         at + thread.stackGuard + kGuardReach >= thread.stackLow;
}

FaultCode FloatCode(int reason) {
  switch (reason) {
    case FPE_INTDIV:
      return FaultCode::DivideByZero;
    case FPE_INTOVF:
      return FaultCode::IntegerOverflow;
    case FPE_FLTDIV:
      return FaultCode::FloatDivideByZero;
    case FPE_FLTOVF:
      return FaultCode::FloatOverflow;
    case FPE_FLTUND:
      return FaultCode::FloatUnderflow;
    case FPE_FLTRES:
      return FaultCode::FloatInexact;
    case FPE_FLTSUB:
      return FaultCode::ArrayBounds;
    default:
      return FaultCode::FloatInvalid;
  }
}

FaultCode CodeOf(const siginfo_t& info) {
  switch (info.si_signo) {
    case SIGBUS:
      return info.si_code == BUS_ADRALN ? FaultCode::Misalignment : FaultCode::InPageError;
    case SIGFPE:
      return FloatCode(info.si_code);
    case SIGILL:
      return info.si_code == ILL_PRVOPC ? FaultCode::PrivilegedInstruction
                                        : FaultCode::IllegalInstruction;
    case SIGTRAP:
      return info.si_code == TRAP_TRACE ? FaultCode::SingleStep : FaultCode::Breakpoint;
    default:
      return info.si_code > 0 && IsStackOverflow(info.si_addr) ? FaultCode::StackOverflow
                                                               : FaultCode::AccessViolation;
  }
}

Registers RegistersOf(const ucontext_t& context) {
  const auto& saved = context.uc_mcontext.gregs;
  const auto word = [&saved](int name) { return static_cast<std::uint64_t>(saved[name]); };
  const std::uint64_t segments = word(REG_CSGSFS);
  // The system saves no data segments, which no program has a use for.
  std::uint16_t ds = 0;
  std::uint16_t es = 0;
  asm("mov %%ds, %0" : "=r"(ds));
  asm("mov %%es, %0" : "=r"(es));
  return {
      .rax = word(REG_RAX),
      .rbx = word(REG_RBX),
      .rcx = word(REG_RCX),
      .rdx = word(REG_RDX),
      .rsp = word(REG_RSP),
      .rbp = word(REG_RBP),
      .rsi = word(REG_RSI),
      .rdi = word(REG_RDI),
      .r8 = word(REG_R8),
      .r9 = word(REG_R9),
      .r10 = word(REG_R10),
      .r11 = word(REG_R11),
      .r12 = word(REG_R12),
      .r13 = word(REG_R13),
      .r14 = word(REG_R14),
      .r15 = word(REG_R15),
      .rip = word(REG_RIP),
      .flags = static_cast<std::uint32_t>(word(REG_EFL)),
      .cs = static_cast<std::uint16_t>(segments),
      .ds = ds,
      .es = es,
      .fs = static_cast<std::uint16_t>(segments >> 32),
      .gs = static_cast<std::uint16_t>(segments >> 16),
      .ss = static_cast<std::uint16_t>(segments >> 48),
  };
}

FaultAnswer AskFilter(const Fault& fault) {
  const FaultFilter filter = faultFilter.load(std::memory_order_acquire);
  return filter != nullptr ? filter(fault) : FaultAnswer::Decline;
}

void RestoreAction(int signal) {
  for (std::size_t i = 0; i < kSignalCount; ++i) {
    if (kSignals[i] == signal) sigaction(signal, &actionsBefore[i], nullptr);
  }
}

// A fault within a report has to arrive, also where a sanitizer runs the handler and blocks all.
void UnblockFaults() {
  sigset_t faults;
  sigemptyset(&faults);
  for (const int signal : kSignals) sigaddset(&faults, signal);
  pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

void OnSignal(int signal, siginfo_t* info, void* context) {
  if (threadState.guard != nullptr) siglongjmp(*threadState.guard, 1);
  const int errorBefore = errno;
  UnblockFaults();
  const Fault fault{CodeOf(*info), true, RegistersOf(*static_cast<const ucontext_t*>(context))};
  if (AskFilter(fault) == FaultAnswer::Resume) {
    errno = errorBefore;
    return;
  }
  RestoreAction(signal);
  errno = errorBefore;
  // A fault repeats itself on return. A trap is behind us, a signal that was sent is spent, and so
  // is the news of bad memory that nobody has read yet.
  const bool isNews = signal == SIGBUS && info->si_code == BUS_MCEERR_AO;
  if (info->si_code <= 0 || signal == SIGTRAP || isNews) static_cast<void>(raise(signal));
}

struct ThrowSearch {
  Registers registers;
  bool atThrow;  // the frame before was that of a function that throws
};

constexpr int kFrameRegister = 6;  // as unwinders number them

_Unwind_Reason_Code LookForThrow(_Unwind_Context* context, void* argument) {
  auto* const search = static_cast<ThrowSearch*>(argument);
  if (search->atThrow) {
    search->registers.rip = _Unwind_GetIP(context);
    search->registers.rsp = _Unwind_GetCFA(context);
    search->registers.rbp = _Unwind_GetGR(context, kFrameRegister);
    return _URC_END_OF_STACK;
  }
  void (*const rethrow)(std::exception_ptr) = std::rethrow_exception;
  const _Unwind_Ptr function = _Unwind_GetRegionStart(context);
  search->atThrow = function == reinterpret_cast<_Unwind_Ptr>(&abi::__cxa_throw) ||
                    function == reinterpret_cast<_Unwind_Ptr>(&abi::__cxa_rethrow) ||
                    function == reinterpret_cast<_Unwind_Ptr>(rethrow);
  return _URC_NO_REASON;
}

// An exception that nobody catches leaves the stack as it was. The frames between here and its
// throw belong to the runtime, which keeps no frame pointers.
[[noreturn]] void OnTerminate() {
  ucontext_t context{};
  getcontext(&context);
  ThrowSearch search{RegistersOf(context), false};
  _Unwind_Backtrace(LookForThrow, &search);
  static_cast<void>(AskFilter({FaultCode::CppException, false, search.registers}));
  if (terminateBefore != nullptr) terminateBefore();
  std::abort();
}

}  // namespace

bool InstallFaultHandlers(FaultFilter filter) {
  faultFilter.store(filter, std::memory_order_release);
  const bool isFirst = !installed.exchange(true);
  static thread_local const FaultStack stackOfCaller;
  if (!isFirst) return true;
  struct sigaction action {};
  action.sa_sigaction = OnSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  bool accepted = true;
  for (std::size_t i = 0; i < kSignalCount; ++i) {
    accepted = sigaction(kSignals[i], &action, &actionsBefore[i]) == 0 && accepted;
  }
  terminateBefore = std::set_terminate(OnTerminate);
  return accepted;
}

void RemoveFaultHandlers() {
  if (!installed.exchange(false)) return;
  for (const int signal : kSignals) RestoreAction(signal);
  std::set_terminate(terminateBefore);
  faultFilter.store(nullptr, std::memory_order_release);
}

FaultStack::FaultStack() {
  if (!installed.load() || threadState.faultStack != nullptr) return;
  LearnStackBounds();
  const std::size_t page = PageSize();
  void* const memory =
      mmap(nullptr, page + kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return;
  mprotect(memory, page, PROT_NONE);
  stack_t stack{};
  stack.ss_sp = static_cast<char*>(memory) + page;
  stack.ss_size = kStackSize;
  if (sigaltstack(&stack, &threadState.stackBefore) != 0) {
    munmap(memory, page + kStackSize);
    return;
  }
  threadState.faultStack = memory;
  isOwner_ = true;
}

FaultStack::~FaultStack() {
  if (!isOwner_) return;
  sigaltstack(&threadState.stackBefore, nullptr);
  munmap(std::exchange(threadState.faultStack, nullptr), PageSize() + kStackSize);
}

bool RunGuarded(void (*function)(void* argument), void* argument) {
  sigjmp_buf here;
  sigjmp_buf* volatile const outer = threadState.guard;
  if (sigsetjmp(here, 1) != 0) {
    threadState.guard = outer;
    return false;
  }
  threadState.guard = &here;
  try {
    function(argument);
  } catch (...) {
    threadState.guard = outer;
    return false;
  }
  threadState.guard = outer;
  return true;
}

bool ReadMemory(std::uint64_t address, void* to, std::size_t size) {
  const iovec local{to, size};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address out of a register
  const iovec remote{reinterpret_cast<void*>(address), size};
  return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(size);
}

bool FindCode(std::uint64_t address, CodePlace* place) {
  Dl_info info{};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address out of a register
  if (dladdr(reinterpret_cast<const void*>(address), &info) == 0) return false;
  const void* const base = info.dli_sname != nullptr ? info.dli_saddr : info.dli_fbase;
  *place = {info.dli_fname, info.dli_sname, reinterpret_cast<std::uintptr_t>(base)};
  return true;
}

}  // namespace Zef::Platform
