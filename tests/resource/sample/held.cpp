#include "tests/resource/sample/Sample.h"

// No entry point either, but a thing that holds its type, so that the library cannot be unloaded.
static Sample::ThingFactory ghost("ghost", Sample::kGhost, 3);
static const Zef::Ref<Sample::Thing> thing = ghost.Create();
