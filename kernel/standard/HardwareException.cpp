#include "kernel/standard/HardwareException.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace Zef {

namespace {

using Platform::FaultCode;
using Platform::Registers;

constexpr std::size_t kMostFrames = 51;
constexpr std::uint64_t kFrameAlignment = 8;
constexpr char kIncomplete[] = "\r\nUnable to gather full diagnostics\r\n";

constexpr std::uint32_t kCarryFlag = 0x01;
constexpr std::uint32_t kZeroFlag = 0x40;
constexpr std::uint32_t kSignFlag = 0x80;

// Programs that collect reports know these names, the misspelt one as well.
constexpr struct {
  FaultCode code;
  const char* name;
} kNames[] = {
    {FaultCode::AccessViolation, "Access Violation"},
    {FaultCode::ArrayBounds, "Array Bounds Exceeded"},
    {FaultCode::Breakpoint, "Breakpoint"},
    {FaultCode::Misalignment, "Data Type Misalignment"},
    {FaultCode::FloatDenormal, "Floating Point Denormal Operation"},
    {FaultCode::FloatDivideByZero, "Floating Point Divide By Zero"},
    {FaultCode::FloatInexact, "Floating Point Inexact Result"},
    {FaultCode::FloatInvalid, "Floating Point Invalid Operaton"},
    {FaultCode::FloatOverflow, "Floating Point Overflow"},
    {FaultCode::FloatStackCheck, "Floating Point Stack Check"},
    {FaultCode::FloatUnderflow, "Floating Point Underflow"},
    {FaultCode::IllegalInstruction, "Illegal Instruction"},
    {FaultCode::InPageError, "In Page Error"},
    {FaultCode::DivideByZero, "Integer Divide By Zero"},
    {FaultCode::IntegerOverflow, "Integer Overflow"},
    {FaultCode::InvalidDisposition, "Invalid Disposition"},
    {FaultCode::NonContinuable, "Non-continuable Exception"},
    {FaultCode::PrivilegedInstruction, "Privileged Instruction"},
    {FaultCode::SingleStep, "Single Step"},
    {FaultCode::StackOverflow, "Stack Overflow"},
    {FaultCode::CppException, "C++ Exception"},
};

// Appends to a buffer that is kept terminated. What does not fit is not begun.
class ReportText {
 public:
  explicit ReportText(char* text) : text_(text) { text_[0] = 0; }

  bool Add(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    const std::size_t room = Exception::kCallStackSize - length_;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text_ + length_, room, format, arguments);
    va_end(arguments);
    const bool fits = length >= 0 && static_cast<std::size_t>(length) < room;
    if (fits) length_ += static_cast<std::size_t>(length);
    text_[length_] = 0;
    return fits;
  }

 private:
  char* text_;
  std::size_t length_ = 0;
};

void AddHead(ReportText& report, const Platform::Fault& fault) {
  const Registers& r = fault.registers;
  Platform::CodePlace place{};
  const bool known = Platform::FindCode(r.rip, &place) && place.module != nullptr;
  const auto row = [&report](const char* const(&names)[4], const std::uint64_t(&values)[4]) {
    for (int i = 0; i < 4; ++i) {
      report.Add("%*s%s: %016" PRIX64, i == 0 ? 2 : 5, "", names[i], values[i]);
    }
    report.Add("\r\n");
  };
  report.Add(" \r\nException @ %016" PRIX64 " in %s\r\n \r\n", r.rip,
             known ? place.module : "unknown module");
  report.Add("Recoverable exception: %s\r\n \r\n", fault.continuable ? "Yes" : "No");
  row({"RAX", "RBX", "RCX", "RDX"}, {r.rax, r.rbx, r.rcx, r.rdx});
  row({"RSP", "RBP", "RSI", "RDI"}, {r.rsp, r.rbp, r.rsi, r.rdi});
  row({" R8", " R9", "R10", "R11"}, {r.r8, r.r9, r.r10, r.r11});
  row({"R12", "R13", "R14", "R15"}, {r.r12, r.r13, r.r14, r.r15});
  report.Add(" \r\n   DS: %08X      FS: %08X\r\n   ES: %08X      GS: %08X\r\n", r.ds, r.fs, r.es,
             r.gs);
  report.Add("   SS: %08X  CS:RIP: %04X:%016" PRIX64 "\r\n \r\n", r.ss, r.cs, r.rip);
  const auto flag = [&r](std::uint32_t bit) { return (r.flags & bit) != 0 ? 1 : 0; };
  report.Add("Flags: %08X (CF:%d ZF:%d SF:%d)\r\n \r\nCall Stack:\r\n \r\n", r.flags,
             flag(kCarryFlag), flag(kZeroFlag), flag(kSignFlag));
}

// Without an exported name near it an address is told by its offset in the file, which is what
// tools ask for.
bool AddFrame(ReportText& report, std::uint64_t address) {
  Platform::CodePlace place{};
  if (!Platform::FindCode(address, &place)) return report.Add(" %016" PRIX64 "\r\n", address);
  const char* const name = place.symbol != nullptr ? place.symbol : place.module;
  return report.Add(" %016" PRIX64 " - %016" PRIX64 "(+%" PRIX64 ") %s\r\n", address, place.base,
                    address - place.base, name != nullptr ? name : "");
}

void AddFrames(ReportText& report, const Registers& registers) {
  std::uint64_t address = registers.rip;
  std::uint64_t frame = registers.rbp;
  std::uint64_t below = 0;
  for (std::size_t i = 0; i < kMostFrames; ++i) {
    if (!AddFrame(report, address)) return;
    if (frame % kFrameAlignment != 0 || frame <= below) return;
    std::uint64_t words[2];  // the caller's frame, and where this one returns to
    if (!Platform::ReadMemory(frame, words, sizeof words)) return;
    below = frame;
    frame = words[0];
    address = words[1];
    if (address == 0) return;
  }
}

void MarkIncomplete(char* text) {
  const std::size_t most = Exception::kCallStackSize - sizeof kIncomplete;
  std::memcpy(text + std::min(std::strlen(text), most), kIncomplete, sizeof kIncomplete);
}

}  // namespace

const char* FaultName(FaultCode code) {
  for (const auto& entry : kNames) {
    if (entry.code == code) return entry.name;
  }
  return nullptr;
}

HardwareException::HardwareException(const Platform::Fault& fault) : Exception(nullptr, 0) {
  if (const char* const name = FaultName(fault.code)) {
    FormatReason("%s", name);
  } else {
    FormatReason("Unknown Exception - %08xh", static_cast<std::uint32_t>(fault.code));
  }
  char* const text = CallStackSpace();
  const bool whole = Platform::Guarded([&fault, text] {
    ReportText report(text);
    AddHead(report, fault);
    if (fault.code != FaultCode::StackOverflow) AddFrames(report, fault.registers);
  });
  if (!whole) MarkIncomplete(text);
}

}  // namespace Zef
