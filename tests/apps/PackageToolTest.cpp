// The package commands as their users run them.

#include <filesystem>

#include "database/MUKPackage.h"
#include "tests/apps/QuarleProgram.h"

namespace {

namespace fs = std::filesystem;
using namespace Test;

class PackageTool : public QuarleProgram {
 protected:
  PackageTool() {
    Write("coal/config.txt",
          "plid <plid2:1001:7:1>\nusername \"Coal wagon\"\nplid-table {\n0 <plid:2:2>\n"
          "1 <plid:1001:8>\n}\n");
    Write("coal/textures/coal.tga", std::string(50'000, 'c'));
    Write("ore/config.txt", "plid <plid:1001:8>\nusername \"Ore wagon\"\n");
    Write("ore/ore.txt", "ore");
  }
};

TEST_F(PackageTool, WhatGoesInComesOut) {
  EXPECT_EQ(Run("package create w.kpx coal ore --author 'Agnes Å'").out.substr(0, 34),
            "'w.kpx': 2 assets, 2 files, 48.8 K");
  const nlohmann::json list = Run("package list w.kpx --json").Json();
  EXPECT_EQ(list["author"], "Agnes Å");
  EXPECT_FALSE(list.contains("license"));
  EXPECT_EQ(list["assets"][0]["name"], "Coal wagon");
  EXPECT_EQ(list["assets"][0]["bytes"], 50'000);
  EXPECT_LT(list["assets"][0]["storedBytes"], 5000);
  EXPECT_EQ(list["assets"][1]["id"], "<plid:1001:8>");
  EXPECT_EQ(list["dependencies"], nlohmann::json({"<plid:2:2>"}));
  EXPECT_NE(Run("package list w.kpx").out.find("Ore wagon\n2 assets, 2 files"), std::string::npos);
  EXPECT_EQ(Run("package check w.kpx --json").Json()["ok"], true);

  EXPECT_EQ(Run("package extract w.kpx --asset 1001:8 --asset '<plid:1001:8>' -q").out, "");
  EXPECT_EQ(Read("plid 1001 8/ore.txt"), "ore");
  EXPECT_EQ(Run("package extract w.kpx out/new --json").Json()["assets"].size(), 2u);
  EXPECT_EQ(Read("out/new/plid2 1001 7 1/textures/coal.tga"), Read("coal/textures/coal.tga"));
  // What came out makes the same package.
  const Outcome again =
      Run("package create x.kpx 'out/new/plid2 1001 7 1' 'plid 1001 8' --author 'Agnes Å' --json");
  EXPECT_EQ(again.Json()["assets"].size(), 2u);
  EXPECT_TRUE(Read("x.kpx") == Read("w.kpx"));
}

TEST_F(PackageTool, FailuresAreOneLineAndLeaveNothing) {
  ASSERT_EQ(Run("package create w.kpx coal ore").status, 0);
  Write("bare/a.txt", "");
  Write("doc/config.txt", "plid <plid:1:1>");
  Write("doc/sub/a.doc", "");
  Write("anonymous/config.txt", "username \"None\"");
  Write("junk.kpx", "junk");
  ASSERT_EQ(Shell("mkfifo pipe").status, 0);
  const std::pair<const char*, const char*> cases[] = {
      {"package create w.kpx coal", "exists already"},
      {"package create w.zip coal", "Needs to be .kpx"},
      {"package create n.kpx coal coal", "<plid2:1001:7:1> is already present"},
      {"package create n.kpx coal bare", "'bare' has no config"},
      {"package create n.kpx none", "'none' is no folder"},
      {"package create n.kpx anonymous", "valid PLID"},
      {"package create n.kpx doc", "'doc/sub/a.doc' is of a type"},
      {"package create no/n.kpx coal", "Unable to write"},
      {"package list none.kpx", "no such file"},
      {"package list pipe", "it is no file"},
      {"package check junk.kpx", "not a valid KPX"},
      {"package extract --asset 1:1 w.kpx out", "no asset <plid:1:1>"},
      {"package extract w.kpx junk.kpx", "cannot be made"}};
  for (const auto& [arguments, said] : cases) Fail(arguments, said);
  const Outcome rivals = Shell("{ for i in coal ore coal ore; do (" QUARLE_PATH
                               " package create n.kpx $i; true) & done; wait; rm n.kpx; }");
  EXPECT_EQ(std::count(rivals.out.begin(), rivals.out.end(), '\n'), 1) << rivals.out;
  EXPECT_EQ(Shell("ls").out, "anonymous\nbare\ncoal\ndoc\njunk.kpx\nore\npipe\nw.kpx\n");

  Write("out/plid 1001 8/mine.txt", "mine");
  Fail("package extract w.kpx out --asset 1001:8", "exists already");
  EXPECT_EQ(Shell("ls 'out/plid 1001 8'").out, "mine.txt\n");
}

TEST_F(PackageTool, AKilledExtractionLeavesNoHalfAsset) {
  ASSERT_EQ(Run("package create w.kpx coal").status, 0);
  Shell("( ulimit -c 0; ulimit -f 50; " QUARLE_PATH " package extract w.kpx out; true )");
  ASSERT_FALSE(fs::is_empty(temp_ / "out")) << "it was not killed at work";
  EXPECT_EQ(Shell("ls out").out, "");
  EXPECT_EQ(Run("package extract w.kpx out").status, 0);
  EXPECT_EQ(Read("out/plid2 1001 7 1/textures/coal.tga"), Read("coal/textures/coal.tga"));
}

TEST_F(PackageTool, DamagedPackagesAreToldOfAndNotHalfExtracted) {
  ASSERT_EQ(Run("package create w.kpx coal").status, 0);
  MUKPackage package;
  ASSERT_EQ(package.Open(temp_ / "w.kpx"), "");
  TagContainer textures = package.Get(0).GetSubContainer("files").GetSubContainer("textures");
  textures.SetBinary("zz.tga", "\x05\0\0\0junk", 8);
  textures.SetBinary("../../a.tga", "", 0);
  ASSERT_EQ(package.Save(temp_ / "bad.kpx"), "");
  Fail("package extract bad.kpx out", "<plid2:1001:7:1>: Failed to decompress data");
  EXPECT_EQ(Shell("find out").out, "out\n");
  const std::string first = "2 problems, first <plid2:1001:7:1>: ";
  EXPECT_NE(Fail("package check bad.kpx", first).out.find("textures/zz.tga"), std::string::npos);
  const Outcome outcome = Fail("package check bad.kpx --json", first);
  EXPECT_EQ(outcome.Json()["problems"][0]["path"], "textures/../../a.tga");
  EXPECT_EQ(outcome.Json()["problems"][1]["path"], "textures/zz.tga");
}

}  // namespace
