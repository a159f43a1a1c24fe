#include <filesystem>
#include <set>

#include "environment/IpcLock.h"
#include "tests/apps/QuarleProgram.h"

namespace {

using namespace Test;
using nlohmann::json;
namespace fs = std::filesystem;

class IndexBuild : public QuarleProgram {
 protected:
  void Config(const std::string& folder, const std::string& text) const {
    Write(folder + "/config.txt", text);
  }
  json Records(const char* file) const {
    return Run(std::string("index show --json ") + file).Json()["records"];
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(temp_.Path())) {
      if (entry.path().filename() == ".out" || entry.path().filename() == ".err") continue;
      names.insert(fs::relative(entry.path(), temp_.Path()).string());
    }
    return names;
  }
};

constexpr const char* kHouse = "plid <plid2:1:2:3>\nkind scenery\nname House\n";

TEST_F(IndexBuild, TakesInWhatItCanAndTellsTheRest) {
  Config("p/world/a/b/house", kHouse);
  Config("p/world/a/b/house2", kHouse);
  Config("p/world/a/b/null", "plid <NULL>\n");
  Write("p/world/a/b/stray.txt", "");
  fs::create_directories(temp_ / "p/world/a/b/away");
  fs::create_symlink("../house/config.txt", temp_ / "p/world/a/b/away/config.txt");
  fs::create_directories(temp_ / "p/world/a/b/empty");
  Config("p/local/shed", "plid <plid:9:1>\nkind scenery\nname Shed\n");
  Config("p/Editing/shed", "plid <plid:9:1>\nkind scenery\nname Shed\n");

  const Outcome built = Run("index build p --json --built-in");
  ASSERT_EQ(built.status, 0) << built.err;
  const json report = built.Json();
  EXPECT_EQ(report["index"], "p/assets.mkx");
  EXPECT_EQ(report["records"], 2);
  EXPECT_EQ(report["skipped"], 4);
  EXPECT_NE(built.err.find("whose config cannot, such as 'world/a/b/away'"), std::string::npos);
  const std::pair<const char*, int> outcomes[] = {
      {"found", 2}, {"merged", 1}, {"conflict", 1}, {"noIdentifier", 1}, {"noConfig", 1}};
  for (const auto& [name, count] : outcomes) EXPECT_EQ(report["outcomes"][name], count) << name;
  EXPECT_EQ(report["messages"][1], json({{"folder", "world/a/b/empty"}, {"outcome", "noConfig"}}));
  EXPECT_EQ(report["classes"][0], json({{"name", "Scenery"}, {"records", 2}}));
  EXPECT_EQ(report["backups"], json::array());

  const json records = Records("p/assets.mkx");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0]["legacyPath"], "world/a/b/house");
  EXPECT_EQ(records[1]["installPath"], "shed");
}

TEST_F(IndexBuild, ListsSoManySkippedFoldersAndAllWhenAsked) {
  for (int i = 10; i < 40; ++i) Config("p/local/x" + std::to_string(i), "kind scenery\n");
  fs::create_directories(temp_ / "p/local/y\x1b[31m");
  const std::string text = Run("index build p").out;
  EXPECT_NE(text.find("0 records; 0 found, 0 merged, 31 skipped"), std::string::npos) << text;
  EXPECT_NE(text.find("x29: "), std::string::npos) << text;
  EXPECT_EQ(text.find("x30"), std::string::npos) << text;
  EXPECT_NE(text.find("and 11 more"), std::string::npos) << text;
  const std::string all = Run("index build p --verbose").out;
  EXPECT_NE(all.find("x39: "), std::string::npos) << all;
  EXPECT_EQ(all.find('\x1b'), std::string::npos) << "a folder's name steers the terminal";
  EXPECT_EQ(Run("index build p -q").out, "");
}

TEST_F(IndexBuild, KeepsTheOlderIndexAndTouchesNothingElse) {
  Config("p/local/house", kHouse);
  Save("p/Assets.MKX", {Asset(5, "from the catalogue")});
  const std::string older = Read("p/Assets.MKX");
  ASSERT_EQ(Run("index build p").status, 0);
  EXPECT_EQ(Read("p/Assets.MKX.bak"), older);
  EXPECT_EQ(Records("p/Assets.MKX").size(), 1u);
  const std::set<std::string> expected = {"p",       "p/Assets.MKX",  "p/Assets.MKX.bak",
                                          "p/local", "p/local/house", "p/local/house/config.txt"};
  EXPECT_EQ(Names(), expected);
  ASSERT_EQ(Run("index build p --no-backup --out i.mkx").status, 0);
  EXPECT_EQ(Records("i.mkx").size(), 1u);
  EXPECT_FALSE(fs::exists(temp_ / "i.mkx.bak"));
}

TEST_F(IndexBuild, KeepsEveryOlderIndexAndWhatACrashLeft) {
  Config("p/local/house", kHouse);
  Save("p/cache/assets.bku", {Asset(5, "before")});
  Save("p/cache/assets.mkx", {Asset(5, "after")});
  const std::string left = Read("p/cache/assets.mkx");
  EXPECT_EQ(Run("index build p --json").Json()["backups"], json::array({"p/assets.mkx.bak"}));
  EXPECT_EQ(Read("p/assets.mkx.bak"), left) << "a start would have recovered from it";

  const std::string built = Read("p/assets.mkx");
  EXPECT_EQ(Run("index build p --json").Json()["backups"], json::array({"p/assets.mkx.bak2"}));
  EXPECT_EQ(Read("p/assets.mkx.bak"), left);
  EXPECT_EQ(Read("p/assets.mkx.bak2"), built);

  Write("p/assets.mkx", "damaged");
  Write("p/cache/assets.mkx", "unfinished");
  fs::create_symlink("nowhere", temp_ / "p/assets.mkx.bak3");
  EXPECT_EQ(Run("index build p --json").Json()["backups"],
            json::array({"p/assets.mkx.bak4", "p/assets.mkx.bak5"}));
  EXPECT_EQ(Read("p/assets.mkx.bak5"), Read("p/cache/assets.bku"));
  EXPECT_EQ(Run("index build p --json --out p/i.mkx").Json()["backups"], json::array());
}

TEST_F(IndexBuild, CountsNoFoldersBehindLinks) {
  Config("p/world/a/b/house", kHouse);
  for (int i = 0; i < 300; ++i) {
    fs::create_directory_symlink(".", temp_ / ("p/world/a/l" + std::to_string(i)));
  }
  const Outcome built = Run("index build p --progress always");
  EXPECT_EQ(built.status, 0) << built.err;
  EXPECT_NE(built.out.find("\n  300 it is a link\n"), std::string::npos) << built.out;
}

TEST_F(IndexBuild, RefusesInOneLineAndWritesNothing) {
  Config("p/local/house", kHouse);
  Write("p/assets.mkx", "whatever it is");
  fs::create_directories(temp_ / "void/worlds");
  fs::create_directories(temp_ / "taken.mkx");
  Config("away/local/house", kHouse);
  fs::create_symlink("/nowhere", temp_ / "away/world");
  Write("fixed.mkx", "");
  fs::permissions(temp_ / "fixed.mkx", fs::perms::owner_read);
  Write("full.mkx", "");
  fs::create_directories(temp_ / "full.mkx.saving");
  const std::set<std::string> before = Names();
  const struct {
    const char *arguments, *says;
    int status;
  } cases[] = {
      {"missing", "no folder 'missing'", 1},
      {"p/assets.mkx", "no folder 'p/assets.mkx'", 1},
      {"void", "none of the folders world", 1},
      {"away", "is a link that leads to no folder", 1},
      {"p --out fixed.mkx", "it is read-only", 1},
      {"p --out full.mkx", "cannot write the index 'full.mkx'", 1},
      {"p --out gone/i.mkx", "no folder 'gone/'", 1},
      {"p --out taken.mkx --no-backup", "cannot write the index 'taken.mkx'", 1},
      {"", "ROOT", 2},
      {"p --out ''", "empty", 2},
      {"p --colour", "--colour", 2},
  };
  for (const auto& c : cases) {
    Fail(std::string("index build ") + c.arguments, c.says, c.status);
    EXPECT_EQ(Names(), before) << c.arguments;
  }
  EXPECT_EQ(Read("p/assets.mkx"), "whatever it is");
}

TEST_F(IndexBuild, LeavesTheDatabaseOfARunningProgramAlone) {
  Config("p/local/house", kHouse);
  Write("p/assets.mkx", "whatever it is");
  IpcLock program;
  program.IpcStartup(temp_ / "p");
  program.AcquireWriteLock();
  Fail("index build p", "running program");
  EXPECT_EQ(Read("p/assets.mkx"), "whatever it is");
  EXPECT_FALSE(program.OthersWaiting());
  EXPECT_EQ(Run("index build p --out elsewhere.mkx").status, 0);

  program.ReleaseWriteLock();
  EXPECT_FALSE(program.HasChanged());
  ASSERT_EQ(Run("index build p").status, 0);
  EXPECT_TRUE(program.HasChanged()) << "who shares the root must load it anew";
}

}  // namespace
