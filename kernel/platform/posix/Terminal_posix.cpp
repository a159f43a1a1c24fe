#include <unistd.h>

#include "kernel/platform/Terminal.h"

namespace Zef::Platform {

bool IsTerminal(StandardStream stream) {
  return isatty(stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

}  // namespace Zef::Platform
