#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kernel/resource/Compress.h"
#include "kernel/resource/PluginSystem.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Trace.h"
#include "tests/resource/sample/Sample.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

using namespace Zef;
using namespace Sample;
using ::Test::TempFolder;

namespace fs = std::filesystem;

// The library "*" is this program.
extern "C" ZEF_API void ZefGetPlugins() { static CounterFactory inner("inner", kInner, 5); }

namespace {

const std::string kGroupRow = "+PluginGroup=Counters:" + kGroup.Text();

std::string Row(const std::string& library, const std::string& name, const Guid& id) {
  return " +Plugin=" + library + ":" + name + ":" + id.Text() + ":" + kGroup.Text();
}

/// Runs a body in a process whose plug-in system is yet to start, with a catalogue of `text` in the
/// current folder, and lets the process end as a program does.
template <typename Body>
void WithCatalogue(const TempFolder& folder, const std::string& text, Body body) {
  ::Test::WriteWholeFile(folder / "plugins.ini", text);
  const ::Test::ChildProcess child([&]() -> int {
    fs::current_path(folder.Path());
    body();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  });
  EXPECT_EQ(child.AwaitEnd(), 0);
}

template <typename Body>
void WithCatalogue(const std::string& text, Body body) {
  WithCatalogue(TempFolder(), text, body);
}

/// Second number that the plug-in counts, or the negative status.
int Second(const PString& name, const Guid& id, const Guid& group = {}) {
  Ref<Counter> counter;
  const PluginStatus status = PluginSystem::Create(counter, name, id, group);
  EXPECT_EQ(status == kPluginOk, static_cast<bool>(counter));
  if (!counter) return -static_cast<int>(status);
  counter->Next();
  return counter->Next();
}

int failedLoads = 0;

class CountFailedLoads {
 public:
  CountFailedLoads() {
    SetTraceSink([](const char*) { ++failedLoads; });
  }
  ~CountFailedLoads() { SetTraceSink(nullptr); }
};

std::string Members(const Guid& group) {
  std::vector<PluginMember> members;
  if (PluginSystem::ListGroup(members, group) == RES_PLUGINGROUPIDNOTFOUND) return "unknown";
  std::string names;
  for (const PluginMember& member : members) names.append(member.name.View()).append(" ");
  return names;
}

}  // namespace

TEST(PluginSystem, LoadsALibraryWhenItsPluginIsWanted) {
  WithCatalogue(kGroupRow + Row("sample.dll", "one", kOne) + Row("sample.dll", "two", kTwo), [] {
    PluginType* type = nullptr;
    EXPECT_EQ(Second("two", {}, kCompressGroup), -RES_PLUGINNAMENOTFOUND);
    EXPECT_EQ(Second("", kGhost), -RES_PLUGINIDNOTFOUND);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "no"), nullptr);
    EXPECT_EQ(Second("two", {}, kGroup), 4);
    EXPECT_EQ(Second("", kOne), 2);
    EXPECT_EQ(Second("one", kTwo), -RES_PLUGINNAMENOTFOUND);
    EXPECT_EQ(Second("", kGroup), -RES_PLUGINLIBRARYNOTFOUND);
    ASSERT_EQ(PluginSystem::Find(type, "one", {}), kPluginOk);
    EXPECT_TRUE(type->Id() == kOne && type->IsInGroup(kGroup));
    EXPECT_EQ(type->Group()->Members().Count(), 2U);
    Ref<Compressor> wrong;
    EXPECT_EQ(PluginSystem::Create(wrong, "one", {}), RES_PLUGINLIBRARYNOTFOUND);
    EXPECT_EQ(Members(kGroup), "one two ");
  });
}
