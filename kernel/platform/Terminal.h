// Terminal: whether a person is watching what the process prints.

#pragma once

namespace Zef::Platform {

enum class StandardStream { Output, Error };

/// True when the stream goes to a terminal and not into a file or a pipe.
[[nodiscard]] bool IsTerminal(StandardStream stream);

}  // namespace Zef::Platform
