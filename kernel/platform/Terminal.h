// Terminal: the standard streams of the process, and whether a person is watching them.

#pragma once

#include <string_view>

namespace Zef::Platform {

enum class StandardStream { Output, Error };

/// True when the stream goes to a terminal and not into a file or a pipe.
[[nodiscard]] bool IsTerminal(StandardStream stream);

/// Columns of the terminal that the stream goes to; 0 for any other stream.
[[nodiscard]] int TerminalColumns(StandardStream stream);

/// Gives a standard stream that the process was started without a place that yields and takes
/// nothing. Else the first file that is opened would get what is printed. To be called before any
/// file is opened.
void FillStandardStreams();

/// Writes without buffering, past what the C library may still hold; usable during a fault.
void WriteStandard(StandardStream stream, std::string_view text);

}  // namespace Zef::Platform
