#include <fcntl.h>
#include <sys/ioctl.h>
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

int TerminalColumns(StandardStream stream) {
  winsize size{};
  return ioctl(DescriptorOf(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void FillStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // Read only: printing must go on failing. The lowest free number is taken.
    if (fcntl(stream, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDONLY));
  }
}

void WriteStandard(StandardStream stream, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written =
        Uninterrupted([&] { return write(DescriptorOf(stream), text.data(), text.size()); });
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace Zef::Platform
