// Trace: one line of diagnostics from code below the log.
//
// The lines are dropped until a sink is installed; the log installs one when it comes up. May be
// called from any thread, and costs one atomic load without a sink.

#pragma once

namespace Zef {

/// Receives one formatted line without a line end.
using TraceSink = void (*)(const char* line);

/// Null drops the lines again.
void SetTraceSink(TraceSink sink);

void Trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Zef
