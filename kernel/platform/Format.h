// Format: vsnprintf whose numbers look as in the "C" locale, whatever the host has set.
//
// Touches the locale of the calling thread alone, and only for the length of the call.

#pragma once

#include <cstdarg>
#include <cstddef>

namespace Zef::Platform {

/// As vsnprintf: writes at most `size` bytes with the terminator, returns the needed length or a
/// negative value. `arguments` is used up.
[[nodiscard]] int FormatText(char* to, std::size_t size, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));

}  // namespace Zef::Platform
