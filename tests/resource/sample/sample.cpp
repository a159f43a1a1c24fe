#include "tests/resource/sample/Sample.h"

extern "C" ZEF_API void ZefGetPlugins() {
  static Sample::ThingFactory one("one", Sample::kOne, 1);
  static Sample::ThingFactory two("two", Sample::kTwo, 2);
}

extern "C" ZEF_API const char* const* PluginList() {
  static const char* const texts[] = {
      "+PluginGroup=Things:00000001-0000-0000-0000-000000000001",
      "+Plugin=sample:one:00000001-0000-0000-0000-000000000002"
      ":00000001-0000-0000-0000-000000000001",
      nullptr,
  };
  return texts;
}
