#include "kernel/standard/Exception.h"

#include <cstdarg>
#include <cstring>

#include "kernel/platform/Format.h"

namespace Zef {

Exception::Exception(const char* file, std::uint32_t line, const char* reason)
    : callStack_("No call stack available\r\n"), reason_(""), line_(line), file_(file) {
  if (reason != nullptr) std::strncpy(reason_, reason, kReasonSize - 1);
}

void Exception::FormatReason(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  if (Platform::FormatText(reason_, kReasonSize, format, arguments) < 0) reason_[0] = 0;
  va_end(arguments);
}

void RaiseFileEx(const char* reason, const char* file, std::uint32_t line) {
  throw FileEx(file, line, reason);
}

}  // namespace Zef
