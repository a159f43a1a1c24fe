#include <unistd.h>

#include "kernel/platform/Terminal.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

int DescriptorOf(StandardStream stream) {
  return stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

bool IsTerminal(StandardStream stream) { return isatty(DescriptorOf(stream)) == 1; }

void WriteStandard(StandardStream stream, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written =
        Uninterrupted([&] { return write(DescriptorOf(stream), text.data(), text.size()); });
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace Zef::Platform
