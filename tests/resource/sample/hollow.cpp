#include "tests/resource/sample/Sample.h"

// Registered while the library loads, which then turns out to have no entry point.
static Sample::ThingFactory ghost("ghost", Sample::kGhost, 3);
