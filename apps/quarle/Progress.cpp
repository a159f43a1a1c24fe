#include "apps/quarle/Progress.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

#include "apps/quarle/Utf8.h"
#include "kernel/platform/Terminal.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 500ms;
constexpr auto kFrame = 100ms;
constexpr std::uint64_t kBarWidth = 30;

/// Bytes of the first characters of a well-formed text.
std::size_t CharactersSize(std::string_view text, std::size_t count) {
  std::size_t size = 0;
  for (; count > 0 && size < text.size(); --count) size += Utf8CharacterSize(text.substr(size));
  return size;
}

}  // namespace

bool Progress::IsWanted(const CommonOptions& options) {
  if (options.quiet || options.progress == ProgressMode::Never) return false;
  return options.progress == ProgressMode::Always ||
         Zef::Platform::IsTerminal(Zef::Platform::StandardStream::Error);
}

Progress::Progress(const CommonOptions& options, std::string label, std::uint64_t total)
    : label_(std::move(label)), total_(total) {
  if (!IsWanted(options)) return;
  drawer_ = std::thread([this, atOnce = options.progress == ProgressMode::Always] { Run(atOnce); });
}

Progress::~Progress() {
  if (!drawer_.joinable()) return;
  {
    const std::lock_guard hold(lock_);
    ending_ = true;
  }
  ended_.notify_one();
  drawer_.join();
}

void Progress::Run(bool atOnce) {
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock hold(lock_);
  const auto ending = [this] { return ending_; };
  if (!atOnce && ended_.wait_for(hold, kPatience, ending)) return;
  do {
    const auto elapsed = std::chrono::steady_clock::now() - start;
    Draw(static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()));
  } while (!ended_.wait_for(hold, kFrame, ending));
  static_cast<void>(std::fputs("\r\x1b[K", stderr));
}

void Progress::Draw(std::uint64_t elapsedMilliseconds) const {
  // A line that wraps cannot be cleared: the label gives way to the bar.
  constexpr std::size_t kBehindLabel = kBarWidth + 12;  // dots, brackets, share
  const int columns = Zef::Platform::TerminalColumns(Zef::Platform::StandardStream::Error);
  const auto room = static_cast<std::size_t>(columns);
  std::string label = label_;
  if (columns > 0 && label.size() + kBehindLabel > room) {
    label.resize(CharactersSize(label, room > kBehindLabel ? room - kBehindLabel : 0));
    label += "...";
  }
  std::string line = "\r\x1b[K" + label + " ";
  std::array<char, 32> text{};
  if (total_ != 0) {
    const std::uint64_t done = std::min(done_.load(std::memory_order_relaxed), total_);
    const std::uint64_t filled = done * kBarWidth / total_;
    line += '[' + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + ']';
    std::snprintf(text.data(), text.size(), " %3d%%", static_cast<int>(done * 100 / total_));
  } else {
    std::snprintf(text.data(), text.size(), "%.1f s",
                  static_cast<double>(elapsedMilliseconds) / 1000);
  }
  line += text.data();
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
  static_cast<void>(std::fflush(stderr));
}
