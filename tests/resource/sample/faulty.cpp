#include "tests/resource/sample/Sample.h"

extern "C" ZEF_API void ZefGetPlugins() {
  static Sample::ThingFactory bad("bad", Sample::kInner, 4);
  throw 1;
}

extern "C" ZEF_API const char* const* PluginList() { throw 2; }
