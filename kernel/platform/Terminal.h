// Terminal: the standard streams of the process, and whether a person is watching them.

#pragma once

#include <string_view>

namespace Zef::Platform {

enum class StandardStream { Output, Error };

/// True when the stream goes to a terminal and not into a file or a pipe.
[[nodiscard]] bool IsTerminal(StandardStream stream);

/// Writes without buffering, past what the C library may still hold; usable during a fault.
void WriteStandard(StandardStream stream, std::string_view text);

}  // namespace Zef::Platform
