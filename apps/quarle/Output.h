// Output: what the commands print, and how they end.
//
// Results go to standard output; everything about the run itself (failures, progress) goes to
// standard error. A failure is one line: what, which file, what to do. Used from one thread.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Exit statuses of the program.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kUsage = 2;

enum class ProgressMode { Auto, Always, Never };

/// Options that every command takes.
struct CommonOptions {
  bool json = false;
  bool quiet = false;  ///< no summaries and no progress
  ProgressMode progress = ProgressMode::Auto;
  std::string log;  ///< file of the run's log; empty for none
};

/// Prints the one line of a failed operation and gives its exit status.
[[nodiscard]] int Fail(std::string_view message);
/// The same for wrong usage.
[[nodiscard]] int FailUsage(std::string_view message);

/// Prints a line about work that goes on: "quarle: warning: " and the message.
void Warn(std::string_view message);

/// Appends to standard output, which is buffered. The text is taken as it stands: pass what
/// comes from files through Printable first.
void Print(std::string_view text);
/// Writes out what is buffered; kFailed, with its line printed, when not everything could be
/// written since the program began, else `status`.
[[nodiscard]] int FinishOutput(int status);

/// Emphasis on standard output; the text alone when that is no terminal or NO_COLOR is set.
enum class Emphasis { Heading, Faint, Warning };
std::string Emphasised(Emphasis emphasis, std::string_view text);

/// A file name in quotes, fit for a message.
std::string Quoted(std::string_view name);
/// "1 record", "2 records".
std::string Counted(std::uint64_t count, std::string_view noun);
/// Bytes in a unit a person reads: "512 bytes", "1.4 MiB".
std::string ByteSize(std::uint64_t bytes);
/// The text filled up with spaces to `width` characters.
std::string Padded(std::string_view text, std::size_t width);
