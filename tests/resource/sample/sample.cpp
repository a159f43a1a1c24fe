#include "tests/resource/sample/Sample.h"

extern "C" ZEF_API void ZefGetPlugins() {
  static Sample::CounterFactory one("one", Sample::kOne, 1);
  static Sample::CounterFactory two("two", Sample::kTwo, 2);
}

extern "C" ZEF_API const char* const* PluginList() {
  static const char* const texts[] = {
      "+PluginGroup=Counters:00000001-0000-0000-0000-000000000001",
      "+Plugin=sample:one:00000001-0000-0000-0000-000000000002"
      ":00000001-0000-0000-0000-000000000001",
      nullptr,
  };
  return texts;
}
