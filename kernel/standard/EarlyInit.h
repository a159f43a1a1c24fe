// EarlyInit: the steps that run before the constructor of any other static object.
//
// One object of the earliest priority walks the table in EarlyInit.cpp. A file that needs a step
// to have run and may itself run earlier (a lazy accessor) calls EarlyInit() first.

#pragma once

namespace Zef {

/// Walks the table once, in order; later, nested and concurrent calls return at once.
void EarlyInit();

}  // namespace Zef
