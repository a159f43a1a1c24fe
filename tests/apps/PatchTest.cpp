#include <filesystem>

#include "environment/IpcLock.h"
#include "tests/apps/QuarleProgram.h"

namespace {

using namespace Test;
namespace fs = std::filesystem;

/// Two releases: 2 and 3 go (of which the last deletion is lost), 4 to 7 come, 5 to 7 in place of
/// records that lie in a folder, out of the root, and nowhere. Order is by name.
class Patching : public QuarleProgram {
 protected:
  Patching() {
    Save("old/assets.mkx", {Asset(1, "a"), Asset(2, "b"), Asset(3, "c")});
    Save("new/assets.mkx",
         {Asset(1, "a"), Asset(4, "d"), Asset(5, "e"), Asset(6, "f"), Asset(7, "g")});
    std::vector<MUKAsset> there = {Asset(1, "a"), Asset(2, "b"), Asset(3, "c")};
    for (const char* path : {"world/e", "../old", "world/none"}) {
      there.push_back(Asset(static_cast<int>(there.size()) + 2, path));
      there.back().legacyPath = path;
      there.back().Set(AssetFlag::BuiltIn, false);
    }
    Save("there/assets.mkx", there);
    Write("there/world/e/config.txt", "x");
  }
};

TEST_F(Patching, DryRunSaysWhatPatchThenDoes) {
  const Outcome diff = Run("diff old new sets/a --json");
  ASSERT_EQ(diff.status, 0) << diff.err;
  EXPECT_EQ(diff.Json()["additions"], 4);
  EXPECT_EQ(diff.Json()["deletions"], 2);
  EXPECT_EQ(diff.Json()["changes"], 0);
  EXPECT_EQ(Run("diff old new sets/b/").out.find("'sets/b/'"), 10u);

  const std::string before = Read("there/assets.mkx");
  fs::permissions(temp_ / "there/assets.mkx", fs::perms::owner_all);
  nlohmann::json planned = Run("patch there sets/a --dry-run --json").Json();
  EXPECT_NE(Run("patch there sets/a -n").out.find("assets to delete:\n  ../old\n  world/e\n"),
            std::string::npos);
  EXPECT_EQ(Read("there/assets.mkx"), before);
  EXPECT_FALSE(fs::exists(temp_ / "there/assets.mkx.bak"));
  EXPECT_TRUE(fs::exists(temp_ / "there/world/e/config.txt"));

  const Outcome patch = Run("patch there sets/a --json");
  ASSERT_EQ(patch.status, 0) << patch.err;
  const nlohmann::json done = patch.Json();
  EXPECT_EQ(done["came"], 1);
  EXPECT_EQ(done["went"], 1);
  EXPECT_EQ(done["stayed"], 5);
  EXPECT_EQ(done["replacedFolders"], nlohmann::json({"world/e"}));
  EXPECT_EQ(done["keptFolders"], nlohmann::json({"../old"}));
  EXPECT_NE(patch.err.find("1 folder of replaced assets not deleted whole"), std::string::npos);
  for (const char* key : {"came", "went", "stayed", "setWhole"}) {
    EXPECT_EQ(planned[key], done[key]) << key;
  }
  EXPECT_EQ(Read("there/assets.mkx.bak"), before);
  EXPECT_EQ(fs::status(temp_ / "there/assets.mkx.bak").permissions(), fs::perms::owner_all);
  EXPECT_FALSE(fs::exists(temp_ / "there/world/e"));

  std::string ids;
  const nlohmann::json shown = Run("index show there/assets.mkx --json").Json();
  for (const auto& record : shown["records"]) {
    ids += record["id"].get<std::string>() + " ";
  }
  EXPECT_EQ(ids, "<plid:1:1> <plid:1:3> <plid:1:4> <plid:1:5> <plid:1:6> <plid:1:7> ");
}

// What a first run installed would be taken for the folders of replaced assets.
TEST_F(Patching, ASecondRunDeletesNothingUnlessToldTo) {
  MUKAsset moved = Asset(4, "d");
  moved.legacyPath = "world/d";
  Save("new/assets.mkx", {Asset(1, "a"), moved});
  ASSERT_EQ(Run("diff old new set").status, 0);
  ASSERT_EQ(Run("patch there set").status, 0);
  Write("there/world/d/config.txt", "x");
  const std::string backup = Read("there/assets.mkx.bak");
  const Outcome again = Run("patch there set");
  EXPECT_EQ(again.out, "Nothing to do: 'there/assets.mkx' has all that the set brings\n");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(Run("patch there set -n").status, 0);
  EXPECT_EQ(Read("there/assets.mkx.bak"), backup);
  EXPECT_EQ(Read("there/world/d/config.txt"), "x");
  EXPECT_EQ(Run("patch there set --again").status, 0);
  EXPECT_FALSE(fs::exists(temp_ / "there/world/d"));
}

TEST_F(Patching, KeepsACopyOnlyIfToldTo) {
  ASSERT_EQ(Run("diff old new set").status, 0);
  EXPECT_EQ(Run("patch old/ set/ --no-backup --quiet").out, "");
  EXPECT_FALSE(fs::exists(temp_ / "old/assets.mkx.bak"));
  // A folder in the place of the copy: nothing may be patched without one.
  const std::string before = Read("there/assets.mkx");
  fs::permissions(temp_ / "there/assets.mkx", fs::perms::owner_read);
  Fail("patch there set", "is read-only");
  fs::permissions(temp_ / "there/assets.mkx", fs::perms::owner_all);
  fs::create_directories(temp_ / "there/assets.mkx.bak/x");
  Fail("patch there set", "it is no file");
  fs::remove_all(temp_ / "there/assets.mkx.bak");
  fs::create_symlink("assets.mkx", temp_ / "there/assets.mkx.bak");
  Fail("patch there set", "it is the index itself");
  EXPECT_EQ(Read("there/assets.mkx"), before);
  EXPECT_FALSE(fs::exists(temp_ / "there/assets.mkx.bak.tmp"));
}

TEST_F(Patching, LeavesTheDatabaseOfARunningProgramAlone) {
  ASSERT_EQ(Run("diff old new set").status, 0);
  const std::string before = Read("there/assets.mkx");
  IpcLock program;
  program.IpcStartup(temp_ / "there");
  program.AcquireWriteLock();
  Fail("patch there set", "running program");
  EXPECT_EQ(Read("there/assets.mkx"), before);
  EXPECT_EQ(Run("patch there set --dry-run").status, 0);
  program.ReleaseWriteLock();
  ASSERT_EQ(Run("patch there set").status, 0);
  EXPECT_TRUE(program.HasChanged()) << "who shares the root must load it anew";
}

// The set replaces a record and leaves all identifiers as they are.
TEST_F(Patching, NoticesWhateverThePluginFailsIn) {
  Save("new/assets.mkx", {Asset(1, "a"), Asset(2, "b"), Asset(3, "c"), Asset(5, "e")});
  ASSERT_EQ(Run("diff old new set").status, 0);
  const std::string before = Read("there/assets.mkx");
  const struct {
    const char *fault, *options, *said;
    bool survives;
  } cases[] = {
      {"damage", "", "the copy was put back", true},
      {"nothing", "", "was not saved", true},
      {"refuse", "", "could not apply", true},
      {"other", "", "not what the set makes of it", false},
      {"damage", "--no-backup", "no copy was kept", false},
  };
  for (const auto& c : cases) {
    const Outcome outcome =
        Run(std::string("patch there set --plugin " FAKE_PLUGIN_PATH " ") + c.options,
            std::string("FAKE_PLUGIN=") + c.fault);
    EXPECT_EQ(outcome.status, 1) << c.fault;
    EXPECT_TRUE(outcome.HasOneErrorLine()) << outcome.err;
    EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
    EXPECT_EQ(Read("there/assets.mkx") == before, c.survives) << c.fault;
    Write("there/assets.mkx", before);
  }
}

TEST_F(Patching, ACrashOfThePluginIsReported) {
  ASSERT_EQ(Run("diff old new set").status, 0);
  const Outcome outcome =
      Run("patch old set --log run.log --plugin " FAKE_PLUGIN_PATH, "FAKE_PLUGIN=crash");
  EXPECT_NE(outcome.status, 0);
  for (const std::string& text : {outcome.err, Read("run.log")}) {
    EXPECT_NE(text.find("Reason: Access Violation"), std::string::npos) << text;
    EXPECT_NE(text.find("Call Stack:"), std::string::npos) << text;
  }
}

// Beside the program, then where both are installed; a program without one says so.
TEST_F(Patching, FindsThePluginThatBelongsToTheProgram) {
  fs::create_directory(temp_ / "bin");
  fs::copy(QUARLE_PATH, temp_ / "bin/quarle");
  const std::string diff = "bin/quarle diff old new set";
  const Outcome none = Shell(diff);
  EXPECT_EQ(none.status, 1);
  EXPECT_NE(none.err.find("--plugin"), std::string::npos) << none.err;
  fs::create_directories(temp_ / "lib/quarle");
  fs::copy(GNE_D_PATH, temp_ / "lib/quarle/gne_d.so");
  EXPECT_EQ(Shell(diff).status, 0);
  fs::copy(FAKE_PLUGIN_PATH, temp_ / "bin/gne_d.so");
  EXPECT_EQ(Shell(diff).status, 1);  // its Diff always fails
}

TEST_F(Patching, ADiffThatFailsLeavesTheOlderSetAndNoFolder) {
  ASSERT_EQ(Run("diff new old set").status, 0);
  const std::string fails = " --plugin " FAKE_PLUGIN_PATH;
  Fail("diff old new set" + fails, "cannot write the patch set");
  Fail("diff old new deep/er/set" + fails, "cannot write the patch set");
  EXPECT_FALSE(fs::exists(temp_ / "deep"));
  fs::permissions(temp_ / "set/data/assets.mkx.MUKDel", fs::perms::owner_read);
  Fail("diff old new set", "is read-only");
  fs::permissions(temp_ / "set/data/assets.mkx.MUKDel", fs::perms::owner_all);
  const Outcome second = Shell("flock set/data/unfinished.lock " QUARLE_PATH " diff old new set");
  EXPECT_NE(second.err.find("another program makes a set in"), std::string::npos) << second.err;
  EXPECT_FALSE(fs::exists(temp_ / "set/data/unfinished"));
  EXPECT_NE(Run("diff old new set" + fails, "FAKE_PLUGIN=crash").status, 0);
  EXPECT_EQ(Run("set show set --json").Json()["deletions"].size(), 4u);
  EXPECT_EQ(Run("diff old new set --json").Json()["deletions"], 2);
  EXPECT_EQ(Run("set check set").status, 0);
  EXPECT_FALSE(fs::exists(temp_ / "set/data/unfinished.lock"));
  const fs::path part = temp_ / "set/data/assets.mkx.MUKDel";
  EXPECT_EQ(fs::status(part).permissions(), fs::perms::owner_all);
  fs::rename(part, temp_ / "part");
  fs::create_symlink(temp_ / "part", part);
  Fail("diff old new set", "it is a link");
}

TEST_F(Patching, ADiffOfWhatIsNotBuiltInSaysSo) {
  EXPECT_EQ(Run("diff old old set").err, "") << "nothing changed is no reason to warn";
  for (const char* name : {"old/assets.mkx", "new/assets.mkx"}) {
    MUKAsset own = Asset(1, name);
    own.Set(AssetFlag::BuiltIn, false);
    Save(name, {own});
  }
  const Outcome empty = Run("diff old new set -q");
  EXPECT_EQ(empty.status, 0);
  EXPECT_NE(empty.err.find("--built-in"), std::string::npos) << empty.err;
}

TEST_F(Patching, OtherNamesAndColonsInFoldersWork) {
  fs::rename(temp_ / "old", temp_ / "local:old");
  fs::rename(temp_ / "local:old/assets.mkx", temp_ / "local:old/x.mkx");
  fs::rename(temp_ / "new/assets.mkx", temp_ / "new/x.mkx");
  EXPECT_EQ(Run("diff local:old new set:1 --index x.mkx").status, 0);
  EXPECT_EQ(Run("set check set:1 --index x.mkx").status, 0);
  EXPECT_EQ(Run("patch local:old set:1 --index x.mkx").status, 0);
  EXPECT_EQ(Run("index check local:old/x.mkx").status, 0);
}

TEST_F(Patching, SetShowAndCheckTellWhatIsCutShort) {
  const std::string record = Bytes(Asset(7, "seven"));
  const struct {
    std::string additions, deletions;
    bool whole;
    std::size_t effective;  ///< deletions
  } cases[] = {
      {"", "", true, 0},
      {record + record, IdBytes(1) + IdBytes(2), true, 1},
      {record + record.substr(0, record.size() - 1), IdBytes(1), false, 0},
      {record + "x", IdBytes(1), false, 0},
      {"", IdBytes(1) + "1234567", false, 1},  // stray bytes save the last deletion
  };
  for (const auto& c : cases) {
    Write("set/data/assets.mkx.MUKAdd", c.additions);
    Write("set/data/assets.mkx.MUKDel", c.deletions);
    Write("set/data/assets.mkx.MUKPatch", "");
    const std::string sizes =
        std::to_string(c.additions.size()) + "+" + std::to_string(c.deletions.size());
    const Outcome check = Run("set check set --json");
    EXPECT_EQ(check.status, c.whole ? 0 : 1) << sizes;
    EXPECT_EQ(check.Json()["whole"], c.whole) << sizes;
    EXPECT_EQ(Run("patch old set -n --json").Json()["setWhole"], c.whole) << sizes;
    EXPECT_EQ(Run("patch old set -n -q").err.empty(), c.whole) << sizes;
    std::size_t effective = 0;
    const nlohmann::json shown = Run("set show set --json").Json();
    EXPECT_EQ(shown["whole"], c.whole) << sizes;
    for (const auto& item : shown["additions"]) {
      EXPECT_EQ(item.value("whole", true), c.whole || &item != &shown["additions"].back());
    }
    for (const auto& item : shown["deletions"]) {
      if (item["effective"].get<bool>()) ++effective;
    }
    EXPECT_EQ(effective, c.effective) << sizes;
    // What show promises is what applying does.
    Save("copy/assets.mkx", {Asset(1, "a"), Asset(2, "b"), Asset(3, "c")});
    EXPECT_EQ(Run("patch copy set --json").Json()["went"], c.effective) << sizes;
  }
  EXPECT_NE(Run("set show set").out.find("<plid:1:1>\n"), std::string::npos);
}

}  // namespace
