// FaultReport: the last words of a process that faulted, or that left an exception uncaught.
//
// The report tells what happened, the registers and the calls that led there, line by line in the
// log's channel "ExceptionHandler" and to the fatal window, which by default is standard error.
// Before it, callbacks may make the devices safe that a window would need; see docs/log.md.
//
// Only a program installs it: a library leaves the signals of its host alone. During a report
// everything lies in static memory, and only one thread reports; others that fault meanwhile wait,
// and so does the exit of the process.

#pragma once

#include <span>

namespace Zef {

/// Reports every fault of this process from now on, and gives the calling thread a stack for the
/// overflow of its own; threads of the kernel that start later have one too. Ends with the exit
/// table. Harmless to repeat.
void InstallFaultReports();

/// Opener for LogTask::SetOpener: InstallFaultReports, and LogInit with the process's options,
/// which it loads for the program.
void OpenLogAndReports();

enum class FatalAnswer { Stop, Continue };
/// Shows the report's lines, which have no line ends, in the faulting thread: no heap, and no lock
/// that it may hold. To continue repeats the instruction that faulted.
using FatalWindow = FatalAnswer (*)(std::span<const char* const> lines);
/// Null for the default, which prints to standard error and stops. Returns the one before.
FatalWindow SetFatalWindow(FatalWindow window);

/// Called in order of registration ahead of a report, and when the process goes on after one. A
/// function that faults or throws is noted and passed over.
using CriticalFunction = void (*)(void* parameter);
void AddCriticalShutdown(void* parameter, CriticalFunction function);
void AddCriticalStartup(void* parameter, CriticalFunction function);

}  // namespace Zef
