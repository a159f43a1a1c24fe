// Export: the mark of what plug-in libraries may use of the kernel.
//
// Everything else is hidden. A program that loads plug-in libraries has to export its marked
// symbols (ENABLE_EXPORTS in CMake); the libraries leave them undefined, and so share the
// program's one kernel.

#pragma once

#define ZEF_API __attribute__((visibility("default")))
