#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "database/MUKPackage.h"
#include "environment/IpcLock.h"
#include "tests/apps/QuarleProgram.h"

namespace {

using namespace Test;
using nlohmann::json;
namespace fs = std::filesystem;

const std::string kShed = "'<plid:61044:1003>'";       // committed and open for edit
const std::string kClone = "'<plid:-25:13>'";          // what the next clone will be
const std::string kNewVersion = "'<plid:-25:14>'";     // a negative user has no versions
const std::string kExpress = "4110:10101";             // of the older layout
const std::string kQuarry = "'<plid2:4110:10050:2>'";  // lacks something

class AssetTool : public QuarleProgram {
 protected:
  AssetTool() { fs::copy(EXAMPLES_PATH "/release-1", temp_ / "p", fs::copy_options::recursive); }

  Outcome Asset(const std::string& arguments) const {
    return Run("asset " + arguments + " --root p");
  }
  json Show(const std::string& id) const { return Asset("show --json " + id).Json(); }
  std::set<std::string> Listed(const std::string& filter) const {
    std::set<std::string> names;
    const json list = Asset("list --json " + filter).Json();
    for (const json& asset : list["assets"]) {
      names.insert(asset["name"].get<std::string>());
    }
    return names;
  }
};

TEST_F(AssetTool, ListsWhatIsAskedForByName) {
  using Names = std::set<std::string>;
  const struct {
    const char* filter;
    Names names;
  } cases[] = {
      {"--query 'LOCO engine'", {"4-6-0 Corrin Express Engine", "Ashdell Tank Engine"}},
      {"--query 'engine corrin western'", {"4-6-0 Corrin Express Engine"}},
      {"--query 'engine;loco' --kind TDR", {"Ashdell Tank Engine"}},
      {"--kind 'BRG;TURN'",
       {"Lattice Footbridge", "Plate Girder Bridge, Single Track", "Stone Road Arch",
        "Telegraph Line, Four Wires", "Turntable, 18 m"}},
      {"--kind 'brg;-TK'", {}},
      {"--missing", {"Limestone Quarry"}},
      {"--faulty", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(Listed(c.filter), c.names) << c.filter;

  const Outcome all = Asset("list");
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_LT(all.out.find("gasworks"), all.out.find("Gated Level")) << "sorted in any letter case";
  EXPECT_LT(all.out.find("Zollh"), all.out.find("4-6-0")) << "digits behind letters";
  EXPECT_TRUE(all.out.ends_with("\n77 assets\n")) << all.out;
}

TEST_F(AssetTool, TellsHowAnAssetStandsAndWhatItLacks) {
  const json shed = Show(kShed);
  EXPECT_EQ(shed["state"], "openForEdit");
  EXPECT_EQ(shed["folders"][0]["path"], temp_ / "p/editing/Garden Shed");
  EXPECT_EQ(shed["folders"][1]["exists"], true);

  const json quarry = Show(kQuarry);
  EXPECT_EQ(quarry["asset"]["legacyPath"], "world/base/scenery/quarry");
  EXPECT_EQ(quarry["dependencies"][1]["state"], "unknown");
  EXPECT_EQ(quarry["replaces"].size(), 2u);
  EXPECT_TRUE(quarry["replacedBy"].is_null());
  const std::string text = Asset("show " + kQuarry).out;
  for (const char* part : {"replaces", "Depends on\n  <plid", "region        UK\n"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << text;
  }

  // Two steps away, and through an identifier that is replaced.
  Write("p/local/mine/config.txt",
        "plid <plid:9:1>\nkind scenery\nname Mine\nplid-table\n{\n a <plid:4110:10050>\n}\n");
  fs::remove(temp_ / "p/assets.mkx");
  fs::remove_all(temp_ / "p/cache");
  const json why = Asset("why 9:1 --json").Json();
  ASSERT_EQ(why["routes"].size(), 1u);
  EXPECT_EQ(why["routes"][0]["end"], "unknown");
  EXPECT_EQ(why["routes"][0]["steps"][0]["named"], "<plid:4110:10050>");
  EXPECT_EQ(why["routes"][0]["steps"][1]["id"], "<plid:4110:19999>");
  EXPECT_NE(Asset("why 9:1").out.find("    needs <plid:4110:19999>: it has no record\n"),
            std::string::npos);
}

// One asset by every command, each a process of its own: what one did the next one must find.
TEST_F(AssetTool, LeadsAnAssetThroughItsLife) {
  const struct {
    std::string command, said, id;
    const char* state;
  } steps[] = {
      {"edit " + kExpress, temp_ / "p/editing/", kExpress, "openForEdit"},
      {"edit -q " + kExpress, temp_ / "p/editing/", kExpress, "openForEdit"},
      {"commit --keep " + kExpress, "is committed", kExpress, "openForEdit"},
      {"revert " + kExpress, "is as it was committed", kExpress, "installed"},
      {"clone " + kExpress, "is open for edit: '", kClone, "new"},
      {"commit " + kClone, "local/content ", kClone, "installed"},
      {"clone --new-version " + kClone, "was cloned.", kNewVersion, "new"},
      {"revert " + kNewVersion, "never committed and is deleted", kClone, "installed"},
      {"delete " + kClone, "its record stays", kClone, "absent"},
      {"install src pit/config.txt", "was installed.", "9:1", "installed"},
      {"install --overwrite src", "was installed.", "9:1", "installed"},
      {"delete --forget 9:1", "deleted and forgotten", "9:2", "installed"},
  };
  Write("src/config.txt", "plid <plid:9:1>\nkind scenery\nname Mine\n");
  Write("pit/config.txt", "plid <plid:9:2>\nkind scenery\nname Pit\n");
  for (const auto& step : steps) {
    const Outcome done = Asset(step.command);
    EXPECT_EQ(done.status, 0) << step.command << ": " << done.err;
    EXPECT_NE(done.out.find(step.said), std::string::npos) << step.command << ": " << done.out;
    EXPECT_EQ(Show(step.id)["state"], step.state) << step.command;
  }
  EXPECT_EQ(Asset("show 9:1").status, 1);
}

TEST_F(AssetTool, FailsInOneLineThatSaysWhatToDo) {
  Write("bad.kpx", "this is no package");
  fs::create_directories(temp_ / "empty");
  const struct {
    std::string command;
    int status;
    const char* said;
  } cases[] = {
      {"list", 2, "--root"},
      {"list --root nowhere", 1, "'nowhere'"},
      {"list --root empty", 1, "no product"},
      {"show shed --root p", 2, "no asset identifier"},
      {"show 1:1 --root p", 1, "<plid:1:1> is unknown"},
      {"why 4110:10050 --root p", 1, "replaced by <plid2:4110:10050:2>"},
      {"commit " + kQuarry + " --root p", 1, "Open it for editing first ('quarle asset edit')."},
      {"revert " + kQuarry + " --root p", 1, "nothing to revert"},
      {"clone --new-version " + kShed + " --root p", 1, "made by another user"},
      {"install p/local/garden_shed --root p", 1, "replace it (--overwrite)."},
      {"install --overwrite p/local/garden_shed --root p", 1, "is open for editing"},
      {"install empty --root p", 1, "no config that can be read"},
      {"install bad.kpx --root p", 1, "cannot be read"},
      {"install p/local/garden_shed nix --root p", 1, "'nix'"},
  };
  for (const auto& c : cases) EXPECT_EQ(Fail("asset " + c.command, c.said, c.status).out, "");
  EXPECT_TRUE(fs::is_empty(temp_ / "empty")) << "a mistyped root became a product";
  const json failed = Asset("commit --json " + kQuarry).Json();
  EXPECT_EQ(failed["done"], false);
  EXPECT_EQ(failed["messages"][0]["key"], "$muk_commit_open_for_edit");
  EXPECT_EQ(failed["messages"][0]["parameters"][1], "Limestone Quarry");
}

TEST_F(AssetTool, ShowsKeysWhereItHasNoTexts) {
  fs::copy(QUARLE_PATH, temp_ / "quarle");
  const Outcome failed = Shell("./quarle asset commit --root p " + kQuarry);
  EXPECT_EQ(failed.err,
            "quarle: $muk_commit_open_for_edit '<plid2:4110:10050:2>' "
            "'Limestone Quarry'\n");
}

// Each must find what the others left, or two clones would get one identifier.
TEST_F(AssetTool, TakesTurnsWithOthersOnOneRoot) {
  ASSERT_EQ(Asset("list").status, 0);
  const std::string clone = QUARLE_PATH " asset clone " + kExpress + " --root p --json -q";
  const Outcome all = Shell("for i in 1 2 3 4 5 6; do " + clone + " >out$i & done; wait");
  std::set<std::string> clones;
  for (char i = '1'; i <= '6'; ++i) {
    const json made = json::parse(Read(std::string("out") + i));
    EXPECT_EQ(made["done"], true) << made;
    clones.insert(made["id"].get<std::string>());
  }
  EXPECT_EQ(clones.size(), 6u) << all.err;
  EXPECT_EQ(Asset("list --json").Json()["assets"].size(), 83u);
}

TEST_F(AssetTool, SaysThatItWaitsForAnother) {
  IpcLock other;
  other.IpcStartup(temp_ / "p");
  for (const char* arguments : {"list --progress always", "list"}) {
    ASSERT_TRUE(other.TryAcquireWriteLock());
    fs::remove(temp_ / ".err");
    Outcome waited;
    std::thread waiter([&] { waited = Asset(arguments); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string said;
    while (std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      if (fs::exists(temp_ / ".err")) said = Read(".err");
      if (said.find("waiting for another process") != std::string::npos) break;
    }
    EXPECT_NE(said.find("waiting for another process"), std::string::npos) << arguments;
    other.ReleaseWriteLock();
    waiter.join();
    EXPECT_EQ(waited.status, 0) << waited.err;
  }
}

TEST_F(AssetTool, InstallsWhatItCanOfPackagesAndFolders) {
  for (const char* name : {"one", "two"}) {
    Write(std::string("src/") + name + "/config.txt", std::string("plid <plid:9:") +
                                                          (name[0] == 'o' ? "1" : "2") +
                                                          ">\nkind scenery\nname " + name);
  }
  ASSERT_EQ(Run("package create both.kpx src/one src/two").status, 0);
  Write("bad/config.txt", "plid <plid:9:3>\nkind scenery\n");
  Write("bad/virus.exe", "");
  const Outcome some = Asset("install bad both.kpx --json --progress always");
  EXPECT_EQ(some.status, 1);
  EXPECT_EQ(some.Json()["installed"], json::array({"<plid:9:1>", "<plid:9:2>"}));
  EXPECT_EQ(some.Json()["done"], false);
  EXPECT_NE(some.err.find("installing ["), std::string::npos) << some.err;
  EXPECT_NE(some.err.find("virus.exe' is of a type"), std::string::npos) << some.err;
  EXPECT_NE(some.err.find("warning: The asset in '"), std::string::npos) << some.err;
  EXPECT_EQ(Show("9:2")["state"], "installed");
  EXPECT_EQ(Asset("show 9:3").status, 1);
  ASSERT_EQ(MUKPackage().Save(temp_ / "none.kpx"), "");
  EXPECT_NE(Asset("install none.kpx").err.find("holds no assets"), std::string::npos);
}

TEST_F(AssetTool, TellsWhenTheDatabaseCannotBeWritten) {
  ASSERT_EQ(Shell(QUARLE_PATH " asset list --root p && rm -r p/cache").status, 0);
  Write("p/cache", "in the way of the folder");
  const Outcome looked = Asset("list --query gasworks");
  EXPECT_EQ(looked.status, 0);
  EXPECT_NE(looked.out.find("\n1 asset\n"), std::string::npos) << looked.out;
  EXPECT_TRUE(looked.err.starts_with("quarle: warning: cannot write the database in 'p'"));
  // A folder that was made now would be known to nobody.
  const auto working = Shell("ls p/editing").out;
  for (const std::string& work : {"edit " + kExpress, std::string("install p/local/garden_shed")}) {
    const Outcome worked = Asset(work);
    EXPECT_EQ(worked.status, 1) << work;
    EXPECT_TRUE(worked.err.ends_with("; nothing was changed\n")) << worked.err;
  }
  EXPECT_EQ(Shell("ls p/editing").out, working);

  fs::remove(temp_ / "p/cache");
  fs::create_directories(temp_ / "p/cache/assets.mkx");  // in the way of the write alone
  const Outcome worked = Asset("edit --json " + kExpress);
  EXPECT_EQ(worked.status, 1);
  EXPECT_EQ(worked.Json()["done"], false);
  fs::remove(temp_ / "p/cache/assets.mkx");
  EXPECT_EQ(Show(kExpress)["state"], "openForEdit");
}

TEST_F(AssetTool, TellsWhatStaysOnDisk) {
  ASSERT_EQ(Asset("list").status, 0);
  fs::create_directories(temp_ / "elsewhere");
  MUKAssetIndex index;
  ASSERT_TRUE(index.Load(temp_ / "p/assets.mkx"));
  MUKAsset& express = *index.Find(PLID(4110, 10101, 0));
  express.editPath = temp_ / "elsewhere";
  index.Find(PLID(4110, 10050, 2))->legacyPath = express.legacyPath;
  const std::string shared = express.legacyPath.String();
  Save("p/assets.mkx", index);
  for (const auto& [command, left] :
       {std::pair("revert " + kExpress, std::string("elsewhere")), {"delete " + kQuarry, shared}}) {
    const Outcome done = Asset(command);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_NE(done.out.find("/" + left + "' stays on disk\n"), std::string::npos) << done.out;
  }
  EXPECT_EQ(Show(kExpress)["state"], "installed");
}

// Who prints while the database is open would be killed with it unwritten.
TEST_F(AssetTool, LeavesTheDatabaseWholeWhenNobodyReads) {
  ASSERT_EQ(Shell("for i in 1 2 3; do " QUARLE_PATH " asset list --root p | true; done").status, 0);
  EXPECT_TRUE(fs::exists(temp_ / "p/assets.mkx"));
}

}  // namespace
