#include "apps/quarle/Output.h"

#include <array>
#include <cstdio>

#include "apps/quarle/Utf8.h"
#include "kernel/platform/System.h"
#include "kernel/platform/Terminal.h"
#include "kernel/standard/PopWord.h"
#include "kernel/standard/Trace.h"

namespace {

using Zef::Platform::StandardStream;

bool UseColours(StandardStream stream) {
  std::string value;
  if (Zef::Platform::GetEnvironment("NO_COLOR", &value) && !value.empty()) return false;
  if (Zef::Platform::GetEnvironment("TERM", &value) && value == "dumb") return false;
  return Zef::Platform::IsTerminal(stream);
}

std::string Coloured(const char* code, std::string_view text) {
  return std::string("\x1b[") + code + "m" + std::string(text) + "\x1b[0m";
}

int PrintFailure(std::string_view message, int status) {
  static_cast<void>(std::fflush(stdout));
  const bool colours = UseColours(StandardStream::Error);
  std::string line = colours ? Coloured("1;31", "quarle:") : "quarle:";
  line += ' ';
  line += message;
  line += '\n';
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
  while (!message.empty()) {
    const std::string_view one = Zef::PopWord(message, '\n');
    Zef::Trace("%.*s", static_cast<int>(one.size()), one.data());
  }
  return status;
}

bool outputFailed = false;

}  // namespace

int Fail(std::string_view message) { return PrintFailure(message, kFailed); }

int FailUsage(std::string_view message) { return PrintFailure(message, kUsage); }

void Warn(std::string_view message) {
  static_cast<void>(PrintFailure("warning: " + std::string(message), kDone));
}

void Print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) outputFailed = true;
}

int FinishOutput(int status) {
  if (std::fflush(stdout) == 0 && !outputFailed) return status;
  return Fail("cannot write the output; make room where it goes, and leave it open");
}

std::string Emphasised(Emphasis emphasis, std::string_view text) {
  static const bool colours = UseColours(StandardStream::Output);
  static constexpr std::array<const char*, 3> kCodes = {"1", "2", "33"};
  if (!colours) return std::string(text);
  return Coloured(kCodes[static_cast<std::size_t>(emphasis)], text);
}

std::string Quoted(std::string_view name) { return "'" + Printable(name) + "'"; }

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string ByteSize(std::uint64_t bytes) {
  static constexpr std::array<const char*, 4> kUnits = {"KiB", "MiB", "GiB", "TiB"};
  if (bytes < 1024) return Counted(bytes, "byte");
  double value = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  for (; value >= 1024 && unit + 1 < kUnits.size(); ++unit) value /= 1024;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", value, kUnits[unit]);
  return text.data();
}

std::string Padded(std::string_view text, std::size_t width) {
  std::string result(text);
  const std::size_t length = Utf8Length(text);
  if (length < width) result.append(width - length, ' ');
  return result;
}
