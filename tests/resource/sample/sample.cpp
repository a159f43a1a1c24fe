#include <memory>
#include <vector>

#include "kernel/resource/PluginSystem.h"
#include "tests/resource/sample/Sample.h"

static std::vector<std::unique_ptr<Sample::ThingFactory>> made;

// Asks for a plug-in of its own library while that is loading.
static Zef::PluginType* found = nullptr;
static const Zef::PluginStatus early = Zef::PluginSystem::Find(found, "two", {});

extern "C" ZEF_API void ZefGetPlugins() {
  static Sample::ThingFactory one("one", Sample::kOne, 1);
  made.push_back(std::make_unique<Sample::ThingFactory>(
      "two", Sample::kTwo, early == Zef::RES_PLUGINNAMENOTFOUND ? 2 : 0));
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
