// Trace: one line of diagnostics from code below the log.
//
// The lines are dropped until a sink is installed; the log installs one when it comes up. May be
// called from any thread, and costs one atomic load without a sink.
//
// Names and texts from outside may stand in a line: none forges a second one or steers a terminal.

#pragma once

namespace Zef {

/// Called on the thread that traces, which may hold locks: it must not call what may wait for one.
/// Receives one formatted line, with the line ends that stand behind the text.
using TraceSink = void (*)(const char* line);

/// Null drops the lines again.
void SetTraceSink(TraceSink sink);

/// Each byte of a control character within the text, U+0080 to U+009F in UTF-8 among them, becomes
/// '?'.
void Trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Zef
