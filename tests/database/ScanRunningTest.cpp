#include "database/BaseId.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "environment/IpcLock.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"
#include "tests/database/RunningFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::Eventually;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

class ScanRunningTest : public Test::RunningTest {
 protected:
  ~ScanRunningTest() override {
    MUKShutdown();
    SetBaseUserId(PLID::kUnassignedUser);
  }
  void Put(const std::string& folder, const std::string& config) const {
    WriteWholeFile(folder_ / (folder + "/config.txt"), config);
  }
};

TEST_F(ScanRunningTest, RebuildsAndRecoversFromTheFolders) {
  Put("world/w/g/one", "plid <plid:1:1>\nname \"one\"");
  Put("local/two", "plid <plid2:1:2:1>\nname \"two\"\nplid-table {\n0 <plid:1:1>\n}");
  Put("local/bad", "name \"bad\"");
  Lay("x", "x", "x");
  static std::string traced;
  traced.clear();
  Zef::SetTraceSink([](const char* line) { traced += line; });
  std::string folders;
  settings_.progress = [&](const char* folder) { folders += std::string(folder) + ';'; };
  EXPECT_EQ(Start(), "one two ");
  EXPECT_EQ(folders, "world/w/g/one;local/bad;local/two;");
  EXPECT_NE(traced.find("\"local/bad\": its config has no valid plid"), std::string::npos);
  EXPECT_EQ(MUKResolve({1, 2, 0}), PLID(1, 2, 1));
  EXPECT_EQ(MUKGetModifyTime({1, 1, 0}), 1'700'000'000u);
  EXPECT_FALSE(MUKGetMissingDependency({1, 2, 1}));
  MUKShutdown();
  EXPECT_EQ(Stored(kMain), "one two ");

  // An unclean end; meanwhile a folder came, one changed and one went.
  fs::rename(folder_ / kMain, folder_ / kBackup);
  clock_.Advance(100);
  fs::remove_all(folder_ / "world");
  Put("local/two", "plid <plid2:1:2:1>\nname \"second\"\nplid-table {\n0 <plid:1:1>\n}");
  Put("editing/three", "plid <plid:1:3>\nname \"three\"");
  EXPECT_EQ(Start(), "one second three ");
  EXPECT_EQ(MUKGetLegacyPath({1, 1, 0}), "");
  EXPECT_EQ(MUKGetEditPath({1, 3, 0}), "editing/three");
  EXPECT_EQ(MUKGetModifyTime({1, 2, 1}), 1'700'000'000u) << "a check is no change";
  EXPECT_TRUE(MUKGetMissingDependency({1, 2, 1}));
  EXPECT_TRUE(MUKSetLegacyPath({1, 1, 0}, "world/elsewhere"));
  EXPECT_FALSE(MUKGetMissingDependency({1, 2, 1})) << "the setters tell who depends";
  EXPECT_TRUE(MUKSetFaulty({1, 1, 0}, true));
  EXPECT_TRUE(MUKGetFaultyDependency({1, 2, 1}));
  EXPECT_TRUE(MUKSetFaulty({1, 1, 0}, false));
  EXPECT_FALSE(MUKGetFaultyDependency({1, 2, 1}));
  Zef::SetTraceSink(nullptr);
}

TEST_F(ScanRunningTest, GivesLocalIdentifiersThatAreFree) {
  WriteWholeFile(folder_ / "settings/PLID.txt", "base-plid <plid:77:500>\n");
  Put("local/taken", "plid <plid2:77:501:3>");
  Start();
  EXPECT_EQ(BaseUserId(), 77);
  EXPECT_TRUE(PLID(77, 1, 0).IsLocal());
  EXPECT_EQ(MUKCreateNew(PLID()), PLID(77, 500, 0));
  EXPECT_EQ(MUKCreateNew(PLID()), PLID(77, 502, 0)) << "501 has a record in another version";
  EXPECT_NE(ReadWholeFile(folder_ / "settings/PLID.txt").find("<plid:77:503>"), std::string::npos);
  SetBaseUserId(99);
  MUKShutdown();
  EXPECT_NE(ReadWholeFile(folder_ / "settings/PLID.txt").find("<plid:99:1000>"), std::string::npos)
      << "brought up to date before a save";
}

TEST_F(ScanRunningTest, GoesOnFromTheNumberOfAnotherProcess) {
  WriteWholeFile(folder_ / "settings/plid.txt", "base-plid <plid:77:500>\n");
  Start();
  IpcLock other(1);
  other.IpcStartup(settings_.productRoot);
  std::atomic<bool> owns = false;
  std::thread waiter([&] {
    other.AcquireWriteLock();
    owns = true;
  });
  EXPECT_TRUE(Eventually([&] {
    MUKIdle();
    return owns.load();
  }));
  waiter.join();
  WriteWholeFile(folder_ / "settings/plid.txt", "base-plid <plid:77:600>\n");
  other.MarkChanged();
  other.ReleaseWriteLock();
  EXPECT_EQ(MUKCreateNew(PLID()), PLID(77, 600, 0));
}

TEST_F(ScanRunningTest, GivesUpARebuildWhenItEnds) {
  constexpr int kFolders = 400;
  for (int i = 0; i < kFolders; ++i) {
    Put("local/" + std::to_string(i), "plid <plid:1:" + std::to_string(i) + ">");
  }
  std::atomic<int> calls = 0;
  settings_.progress = [&](const char*) {
    ++calls;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  };
  MUKInitialise(settings_);
  EXPECT_TRUE(Eventually([&] { return calls > 0; }));
  MUKShutdown();
  EXPECT_LT(calls, kFolders);
  EXPECT_EQ(Files(), "") << "a part does not pass for the whole";
  settings_.progress = nullptr;
  Start();
  MUKShutdown();
  MUKAssetIndex index;
  ASSERT_TRUE(index.Load(folder_ / kMain));
  EXPECT_EQ(index.Count(), static_cast<std::size_t>(kFolders));
}

TEST_F(ScanRunningTest, NeverWritesOverABaseIdentifierThatItCannotRead) {
  const std::string file = folder_ / "Settings/plid.txt";
  WriteWholeFile(file, "base-plid <plid:77:500>\n");
  BaseIdSettings settings;
  const MUKAssetIndex index;
  {
    Zef::File other;
    ASSERT_EQ(other.Open(file.c_str(), Zef::FileMode::kWrite), Zef::RES_OK);
    settings.LoadBaseId(folder_.Path().string());
    EXPECT_EQ(settings.GetBaseUser(), -1);
    EXPECT_FALSE(settings.SetBaseId({5, 1, 0}));
    EXPECT_TRUE(settings.NextLocalId(index).IsNull());
    EXPECT_EQ(ReadWholeFile(file), "base-plid <plid:77:500>\n");
  }
  EXPECT_EQ(settings.GetBaseUser(), 77) << "at the next turn";
  EXPECT_EQ(settings.NextLocalId(index), PLID(77, 500, 0));

  // What could not be written is written later, and not forgotten meanwhile.
  fs::rename(folder_ / "Settings", folder_ / "aside");
  WriteWholeFile(folder_ / "Settings", "in the way");
  EXPECT_EQ(settings.NextLocalId(index), PLID(77, 501, 0));
  fs::remove(folder_ / "Settings");
  fs::rename(folder_ / "aside", folder_ / "Settings");
  settings.Reload();
  EXPECT_EQ(settings.GetBaseUser(), 77);
  EXPECT_NE(ReadWholeFile(file).find("<plid:77:502>"), std::string::npos);

  // A host's choice of another user outlives the next load.
  SetBaseUserId(99);
  settings.Reload();
  EXPECT_EQ(BaseUserId(), 99);
}

TEST_F(ScanRunningTest, BaseIdentifiersOfAllKindsOfUsers) {
  const struct {
    std::int32_t user;
    std::int32_t expectedUser;
    PLID expectedNext;
  } cases[] = {
      {1, 1, {1, 1000, 0}},         {0, -1, {0, 1000, 0}},
      {-2, -1, {-2, 1000, 127}},    {-9, -1, {-9, 1000, 127}},
      {-10, -10, {-10, 1000, 127}}, {33554432, -1, PLID()},  // no valid user
  };
  const MUKAssetIndex index;
  for (const auto& c : cases) {
    BaseIdSettings settings;
    SetBaseUserId(c.user);
    EXPECT_EQ(settings.GetBaseUser(), c.expectedUser) << c.user;
    EXPECT_EQ(settings.NextLocalId(index), c.expectedNext) << c.user;
  }
  BaseIdSettings settings;
  EXPECT_FALSE(settings.SetBaseId(PLID()));
  SetBaseUserId(5);
  EXPECT_TRUE(settings.SetBaseId({5, 2147483647, 0}));
  EXPECT_EQ(settings.NextLocalId(index), PLID(5, 2147483647, 0));
  EXPECT_EQ(settings.NextLocalId(index), PLID(5, -2147483648, 0)) << "without a sign";
  MUKAssetIndex taken;
  taken.Add(::Test::Asset({5, -1, 0}, "last"));
  EXPECT_TRUE(settings.SetBaseId({5, -1, 0}));
  EXPECT_EQ(settings.NextLocalId(taken), PLID(5, 0, 0)) << "and again from the start";
  EXPECT_TRUE(fs::is_empty(folder_.Path())) << "without a root no file is written";

  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  ASSERT_TRUE(Zef::Subst("sealed", (folder_ / "none/").c_str(), false));
  settings.LoadBaseId("sealed:product");
  EXPECT_FALSE(settings.SetBaseId({5, 7, 0}));
  Zef::Subst("sealed", nullptr, false);
  fs::current_path(before);
  EXPECT_TRUE(fs::is_empty(folder_.Path())) << "a name with its colon is no folder";

  WriteWholeFile(folder_ / "Settings", "in the way");
  settings.LoadBaseId(folder_.Path().string());
  EXPECT_TRUE(settings.Get().IsNull());
  static std::string traced;
  Zef::SetTraceSink([](const char* line) { traced = line; });
  EXPECT_FALSE(settings.SetBaseId({5, 7, 0}));
  Zef::SetTraceSink(nullptr);
  EXPECT_EQ(traced, "Unable to write 'Settings/plid.txt' file.\n");
}

}  // namespace
