#include <clocale>
#include <cstdio>

#include "kernel/platform/Format.h"

namespace Zef::Platform {

int FormatText(char* to, std::size_t size, const char* format, std::va_list arguments) {
  // The plain locale is a constant of the library: made without memory, never freed.
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t before = uselocale(plain);
  const int length = std::vsnprintf(to, size, format, arguments);
  uselocale(before);
  return length;
}

}  // namespace Zef::Platform
