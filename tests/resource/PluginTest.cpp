#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "kernel/KernelBoot.h"
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
extern "C" ZEF_API void ZefGetPlugins() { static ThingFactory inner("inner", kInner, 5, {}); }

namespace {

const std::string kGroupRow = "+PluginGroup=Things:" + kGroup.Text();

std::string Row(const std::string& library, const std::string& name, const Guid& id) {
  return " +Plugin=" + library + ":" + name + ":" + id.Text() + ":" + kGroup.Text();
}

/// Runs a body in a process whose plug-in system is yet to start, with a catalogue of `text` in the
/// current folder, and lets the process end as a program does.
template <typename Body>
void WithCatalogue(const std::string& text, Body body, const TempFolder& folder = {}) {
  ::Test::WriteWholeFile(folder / "plugins.ini", text);
  const ::Test::ChildProcess child([&]() -> int {
    fs::current_path(folder.Path());
    body();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  });
  EXPECT_EQ(child.AwaitEnd(), 0);
}

/// Number of the thing that a plug-in makes, or the negative status.
int NumberOf(const PString& name, const Guid& id, const Guid& group = {}) {
  Ref<Thing> thing;
  const PluginStatus status = PluginSystem::Create(thing, name, id, group);
  EXPECT_EQ(status == kPluginOk, static_cast<bool>(thing));
  return thing ? thing->Number() : -static_cast<int>(status);
}

int tracedLines = 0;

std::string Members(const Guid& group) {
  std::vector<PluginMember> members;
  if (PluginSystem::ListGroup(members, group) == RES_PLUGINGROUPIDNOTFOUND) return "unknown";
  std::string names;
  for (const PluginMember& member : members) {
    names.append(member.name.View()).append(member.isGroup ? "/ " : " ");
  }
  return names;
}

}  // namespace

TEST(PluginSystem, LoadsALibraryWhenItsPluginIsWanted) {
  WithCatalogue(kGroupRow + Row("sample.dll", "one", kOne) + Row("sample.dll", "two", kTwo), [] {
    PluginType* type = nullptr;
    EXPECT_EQ(NumberOf("two", {}, kCompressGroup), -RES_PLUGINNAMENOTFOUND);
    EXPECT_EQ(NumberOf("", kGhost), -RES_PLUGINIDNOTFOUND);
    EXPECT_EQ(NumberOf("two", {}, kGroup), 2);
    EXPECT_EQ(NumberOf("", kOne), 1);
    EXPECT_EQ(NumberOf("one", kTwo), 1) << "with a name no id counts";
    EXPECT_EQ(NumberOf("", kGroup), -RES_PLUGINLIBRARYNOTFOUND);
    ASSERT_EQ(PluginSystem::Find(type, "one", {}), kPluginOk);
    EXPECT_TRUE(type->Id() == kOne && type->IsInGroup(kGroup));
    EXPECT_EQ(type->Group()->Members().Count(), 2U);
    Ref<Compressor> wrong;
    EXPECT_EQ(PluginSystem::Create(wrong, "one", {}), RES_PLUGINLIBRARYNOTFOUND);
    EXPECT_EQ(Members(kGroup), "one two ");
  });
}

TEST(PluginSystem, WhatFailedIsNotTriedAgain) {
  const std::string rows = kGroupRow + Row("none", "gone", kOne) + Row("hollow", "ghost", kGhost) +
                           Row("held", "two", kTwo) + Row("faulty", "bad", kInner);
  WithCatalogue(rows, [] {
    SetTraceSink([](const char*) { ++tracedLines; });
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(NumberOf("gone", {}), -RES_PLUGINLIBRARYNOTFOUND);
      EXPECT_EQ(NumberOf("", kOne), -RES_PLUGINIDNOTFOUND);
      // Registers a type while it loads, and is then unloaded for want of an entry point.
      EXPECT_EQ(NumberOf("ghost", {}), -RES_PLUGINLIBRARYNOTFOUND);
      EXPECT_EQ(NumberOf("", kGhost), -RES_PLUGINIDNOTFOUND);
      EXPECT_EQ(NumberOf("bad", {}), -RES_PLUGINLIBRARYNOTFOUND) << "its entry point throws";
      EXPECT_EQ(tracedLines, 3);
    }
    for (int i = 0; i < 2; ++i) EXPECT_EQ(NumberOf("two", {}), -RES_PLUGINLIBRARYNOTFOUND);
    EXPECT_EQ(NumberOf("ghost", {}, kGroup), 3) << "in use";
  });
}

TEST(PluginSystem, ALibraryWithoutItsPluginIsUnloadedUnlessInUse) {
  const auto look = [] {
    EXPECT_EQ(NumberOf("absent", {}), -RES_PLUGINNAMENOTFOUND);
    Ref<Thing> one;
    ASSERT_EQ(PluginSystem::Create(one, "one", {}, kGroup), kPluginOk) << "loaded anew";
    EXPECT_EQ(NumberOf("missing", {}), -RES_PLUGINNAMENOTFOUND);
    EXPECT_EQ(one->Number(), 1);
    EXPECT_EQ(NumberOf("lost", {}), -RES_PLUGINNAMENOTFOUND);
    EXPECT_EQ(NumberOf("inner", {}, kGroup), 5) << "the program is never unloaded";
  };
  for (const char* const library : {"sample", "sticky"}) {
    const std::string rows = kGroupRow + Row(library, "absent", kGhost) +
                             Row(library, "missing", kInner) + Row(library, "one", kOne);
    WithCatalogue(rows + Row("*", "lost", kTwo) + Row("*", "inner", kInner), look);
  }
}

TEST(PluginSystem, LibrariesAreFoundInTheCurrentFolderAndByScans) {
  const TempFolder folder;
  fs::copy_file(SAMPLE_PATH, folder / "local_7s.so");
  const auto look = [] {
    EXPECT_EQ(NumberOf("two", {}, kGroup), 2);
    EXPECT_EQ(Members(kGroup), "two one ") << "a type without a row comes behind the rows";
  };
  WithCatalogue(kGroupRow + Row("local", "two", kTwo), look, folder);
  const TempFolder scanned;
  ::Test::WriteWholeFile(scanned / "lists/damaged.so", "no library");
  ASSERT_EQ(mkfifo((scanned / "lists/pipe.so").c_str(), 0600), 0);
  fs::copy_file(SAMPLE_PATH, scanned / "lists/any.dll");
  const fs::path beside = fs::path(SAMPLE_PATH).parent_path();
  fs::copy_file(beside / "held_7s.dll", scanned / "lists/held.so");
  fs::copy_file(beside / "faulty_7s.dll", scanned / "lists/faulty.so");
  const auto scan = [] {
    Options::Process().Add("-AutoPlugin -PluginDir=none,lists");
    EXPECT_EQ(NumberOf("one", {}, kGroup), 1);
    EXPECT_EQ(NumberOf("ghost", {}, kGroup), 3) << "came before its group was known";
  };
  WithCatalogue("", scan, scanned);
}

TEST(PluginSystem, RemapsStandForOneOtherId) {
  const std::string chain = " +PluginRemap=" + kGhost.Text() + ":" + kInner.Text() +
                            " +PluginRemap=" + kInner.Text() + ":" + kTwo.Text() +
                            " +PluginRemap=" + kInner.Text() + ":" + kGhost.Text();
  WithCatalogue(kGroupRow + Row("sample", "two", kTwo) + chain, [] {
    EXPECT_EQ(NumberOf("", kGhost), -RES_PLUGINIDNOTFOUND);
    EXPECT_EQ(NumberOf("two", kInner), 2);
    PluginSystem::AddRemap(kOne, kTwo);
    EXPECT_EQ(NumberOf("", kOne), 2);
  });
}

TEST(PluginSystem, TypesAndGroupsComeAndGo) {
  WithCatalogue(kGroupRow + ":" + kCompressGroup.Text() + " +PluginGroup=Free:" + kInner.Text(),
                [] {
                  EXPECT_EQ(Members(kGroup), "unknown") << "the group above stands behind it";
                  auto mine = std::make_unique<ThingFactory>("mine", kOne, 7);
                  EXPECT_EQ(mine->Group(), nullptr);
                  EXPECT_EQ(NumberOf("mine", {}), 7);
                  mine.reset();
                  EXPECT_EQ(NumberOf("", kOne), -RES_PLUGINIDNOTFOUND);
                  PluginGroup* group = nullptr;
                  ASSERT_EQ(PluginSystem::CreateGroup(group, kInner), kPluginOk);
                  PluginGroup* same = nullptr;
                  ASSERT_EQ(PluginSystem::CreateGroup(same, kInner), kPluginOk);
                  EXPECT_TRUE(group == same && group->Name() == PString("Free"));
                  group->Release();
                  PluginType* type = nullptr;
                  EXPECT_EQ(PluginSystem::Find(type, "Free", {}), kPluginOk);
                  same->Release();
                  EXPECT_EQ(PluginSystem::Find(type, "Free", {}), RES_PLUGINLIBRARYNOTFOUND);
                  EXPECT_EQ(PluginSystem::CreateGroup(group, kOne), RES_PLUGINIDNOTFOUND);
                  group = new PluginGroup("outer", kOne, {});
                  same = new PluginGroup("nested", kTwo, kOne);
                  EXPECT_EQ(Members(kOne), "nested/ ");
                  same->Release();
                  group->Release();
                });
}

// In the folder of a copy of this program, so that all three places are one file.
TEST(PluginSystem, AFileIsReadOnceAndAheadOfTheBuiltInText) {
  if (std::getenv("PLUGIN_TEST_COPY") != nullptr) {
    EXPECT_EQ(Members(kCompressGroup), "mine LZSS ");
    return;
  }
  const TempFolder folder;
  fs::copy_file("/proc/self/exe", folder / "copy");
  const std::string rows = "+PluginGroup=Mine:" + kCompressGroup.Text() +
                           " +Plugin=none:mine:" + kOne.Text() + ":" + kCompressGroup.Text();
  const auto runCopy = [] {
    setenv("PLUGIN_TEST_COPY", "1", 1);
    execl("./copy", "copy", "--gtest_filter=*AFileIsReadOnce*", nullptr);
    ADD_FAILURE();
  };
  WithCatalogue(rows, runCopy, folder);
}

TEST(Compress, LZSSIsAPlugin) {
  struct Sink : ByteSink {
    bool Write(const void* bytes, std::uint32_t size) override {
      stream.append(static_cast<const char*>(bytes), size);
      return true;
    }
    std::string stream;
  };
  std::string tooLong;
  for (std::size_t i = 0; i < PluginCatalogue::kMostRows; ++i) tooLong += "+PluginGroup=A:1 ";
  WithCatalogue(tooLong, [] {
    Ref<Compressor> other;
    ASSERT_EQ(PluginSystem::Create(other, "", kLZSSId), kPluginOk);
    for (int i = 0; i < 2; ++i) dynamic_cast<PluginInstance&>(*other).ReleaseType();
    Ref<Compressor> coder;
    ASSERT_EQ(PluginSystem::Create(coder, "LZSS", {}, kCompressGroup), kPluginOk);
    const Ref<Sink> sink(new Sink);
    EXPECT_TRUE(coder->BeginCompress(sink, 1) && coder->Compress("x", 1) && coder->EndCompress());
    char back = 0;
    EXPECT_EQ(coder->Decompress(&back, 1, sink->stream.data(), sink->stream.size()), 1U);
    EXPECT_EQ(back, 'x');
    KernelExitTable::Run();
    EXPECT_EQ(PluginSystem::Create(other, "", kLZSSId), kPluginOk) << "for a coder of it is left";
  });
}
