#include "tests/resource/sample/Sample.h"

namespace {

// Registered while the library loads, which then turns out to have no entry point.
Sample::CounterFactory ghost("ghost", Sample::kGhost, 3);

}  // namespace
