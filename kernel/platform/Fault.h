// Fault: what the processor or the runtime refused to go on with, and how to live to tell.
//
// Handlers are the process's own affair: nothing is installed until the program asks for it, and a
// library in somebody else's process never asks. The filter runs in the faulting thread, on a stack
// of its own if that thread has a FaultStack, and may not touch the heap or wait for locks that
// the faulting code may hold.
//
// Cost: nothing until something faults, but for the memory that each FaultStack reserves.

#pragma once

#include <cstddef>
#include <cstdint>

namespace Zef::Platform {

/// What went wrong, by the numbers under which reports have always told it.
enum class FaultCode : std::uint32_t {
  AccessViolation = 0xC0000005,
  ArrayBounds = 0xC000008C,
  Breakpoint = 0x80000003,
  Misalignment = 0x80000002,
  FloatDenormal = 0xC000008D,
  FloatDivideByZero = 0xC000008E,
  FloatInexact = 0xC000008F,
  FloatInvalid = 0xC0000090,
  FloatOverflow = 0xC0000091,
  FloatStackCheck = 0xC0000092,
  FloatUnderflow = 0xC0000093,
  IllegalInstruction = 0xC000001D,
  InPageError = 0xC0000006,
  DivideByZero = 0xC0000094,
  IntegerOverflow = 0xC0000095,
  InvalidDisposition = 0xC0000026,
  NonContinuable = 0xC0000025,
  PrivilegedInstruction = 0xC0000096,
  SingleStep = 0x80000004,
  StackOverflow = 0xC00000FD,
  CppException = 0xE06D7363,
};

/// The processor at the moment of the fault.
struct Registers {
  std::uint64_t rax, rbx, rcx, rdx, rsp, rbp, rsi, rdi;
  std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15, rip;
  std::uint32_t flags;
  std::uint16_t cs, ds, es, fs, gs, ss;
};

struct Fault {
  FaultCode code;
  bool continuable;  ///< false when nothing is left to go back to: an exception that nobody caught
  Registers registers;
};

enum class FaultAnswer {
  Decline,  ///< whoever handled the fault before takes over; by default that ends the process
  Resume,   ///< repeat the instruction; a fault that is not continuable is declined all the same
};

/// For a CppException the filter is called while the exception is being handled, so that `throw;`
/// raises it again; there is none where the runtime gave up for another reason.
using FaultFilter = FaultAnswer (*)(const Fault& fault);

/// Takes over the signals of faults and the runtime's last word on exceptions, and gives the
/// calling thread a stack for them. Later calls change the filter. False when the system refuses.
bool InstallFaultHandlers(FaultFilter filter);
/// Puts back what was there before.
void RemoveFaultHandlers();

/// A stack for faults of the calling thread, without which the overflow of its own ends the process
/// unseen. Nothing while no handlers are installed. Lives and dies on one thread.
class FaultStack {
 public:
  FaultStack();
  ~FaultStack();
  FaultStack(const FaultStack&) = delete;
  FaultStack& operator=(const FaultStack&) = delete;

 private:
  bool isOwner_ = false;  // a thread has one at most
};

/// Calls the function; false when it faulted or threw. What it held then is not released.
[[nodiscard]] bool RunGuarded(void (*function)(void* argument), void* argument);

template <typename Body>
[[nodiscard]] bool Guarded(Body body) {
  return RunGuarded([](void* argument) { (*static_cast<Body*>(argument))(); }, &body);
}

/// Copies memory of this process; false where it cannot be read.
[[nodiscard]] bool ReadMemory(std::uint64_t address, void* to, std::size_t size);

/// Where an address lies. The texts are the loader's.
struct CodePlace {
  const char* module;  ///< file of the program or library
  const char* symbol;  ///< null where the file exports none near it
  std::uint64_t base;  ///< of the symbol, or else of the file
};
[[nodiscard]] bool FindCode(std::uint64_t address, CodePlace* place);

}  // namespace Zef::Platform
