#include "database/AssetClone.h"

#include "tagdata/TagFiles.h"
#include "tests/database/InstallFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

class CloneTest : public Test::InstallTest {
 protected:
  CloneTest() {
    WriteWholeFile(folder_ / "settings/plid.txt", "base-plid <plid:77:500>\n");
    Put("local/mine", "plid <plid:77:1>\nusername \"Mine\"\nobsolete-table {\n7 <plid:77:9>\n}\n");
    WriteWholeFile(folder_ / "local/mine/Sub/mesh.txt", "mesh");
    Put("local/last", "plid <plid2:77:2:127>\nusername \"Last\"\n");
    Put("local/other", "plid <plid:5:1>\nusername \"Other\"\n");
  }
  /// The config of an asset that is open for edit.
  TagContainer Config(PLID id) const {
    TagContainer config;
    EXPECT_TRUE(LoadTagFile(config, {}, folder_ / (MUKGetEditPath(id) + "/config.txt")));
    return config;
  }
};

constexpr PLID kMine(77, 1, 0);

TEST_F(CloneTest, MakesANewAssetFromAnother) {
  TagContainer binary;
  binary.SetPLID(Zef::PString("plid"), {5, 2, 0});
  ASSERT_TRUE(SaveTagFile(binary, {}, folder_ / "local/other/config.grole"));
  fs::remove(folder_ / "local/other/config.txt");
  Start();
  const std::string before = OnDisk();
  EXPECT_EQ(MUKCloneAsset({5, 2, 0}, PLID(), false, &log_), PLID(77, 500, 0));
  EXPECT_EQ(Told(), "1 $muk_cloned 5:2;");
  EXPECT_TRUE(MUKGetIsClone({77, 500, 0}));
  EXPECT_EQ(Config({77, 500, 0}).GetPLID(Zef::PString("plid")), PLID(77, 500, 0));
  EXPECT_FALSE(fs::exists(folder_ / (MUKGetEditPath({77, 500, 0}) + "/config.grole")));
  EXPECT_EQ(MUKCloneAsset(kMine, {77, 600, 0}, false, &log_), PLID(77, 600, 0));
  EXPECT_EQ(ReadWholeFile(folder_ / (MUKGetEditPath({77, 600, 0}) + "/Sub/mesh.txt")), "mesh");
  EXPECT_EQ(MUKGetName({77, 600, 0}), "Mine");
  EXPECT_NE(OnDisk().find(before.substr(before.find("local"))), std::string::npos)
      << "the sources are as they were";
  const std::string records = Records();
  EXPECT_EQ(Restarted(), records);
}

TEST_F(CloneTest, MakesANewVersion) {
  Start();
  ::Test::AddRecord({77, 1, 1}, "absent");
  EXPECT_EQ(MUKCloneAsset(kMine, PLID(), true, &log_), PLID(77, 1, 1));
  EXPECT_FALSE(MUKGetIsClone({77, 1, 1}));
  const Zef::PString table("obsolete-table");
  EXPECT_EQ(Config({77, 1, 1}).GetSubContainer(table).GetCount(), 1u) << "the version says it";
  const PLID fallback = MUKCloneAsset({77, 2, 127}, PLID(), true, &log_);
  EXPECT_EQ(fallback, PLID(77, 500, 0)) << "there is no version 128";
  std::vector<PLID> obsolete;
  Config(fallback).GetSubContainer(table).CollectPLIDsFlat(obsolete);
  EXPECT_EQ(obsolete, std::vector<PLID>({PLID(77, 2, 127)}));
  EXPECT_EQ(Told(), "1 $muk_cloned 77:1;1 $muk_cloned 77:2:127;");
  const std::string records = Records();
  EXPECT_EQ(Restarted(), records);
}

TEST_F(CloneTest, AFailureLeavesEverythingAsItWas) {
  WriteWholeFile(folder_ / "local/last/tool.exe", "x");
  Start();
  ::Test::AddRecord({77, 4, 3}, "old and absent");
  ::Test::AddRecord({77, 4, 4}, "later");
  MUKSetInstallPath({77, 4, 4}, "other");
  MUKSetArchiveName({77, 4, 4}, "local");
  Put("local/locked", "plid <plid:5:9>");
  ::Test::AddRecord({5, 9, 0}, "locked");
  MUKSetPermitEdit({5, 9, 0}, false);
  const struct {
    PLID source;
    PLID target;
    bool asNewVersion;
    const char* told;
  } cases[] = {
      {{9, 9, 9}, {}, false, "3 $muk_clone_perm 9:9:9;"},
      {{5, 9, 0}, {}, true, "3 $muk_clone_perm 5:9;"},
      {{5, 1, 0}, {}, true, "3 $muk_not_local_owner 5:1;"},
      {{77, 4, 3}, {}, true, "3 $muk_asset_out_of_date 77:4:3;"},
      {{77, 4, 3}, {}, false, "3 $muk_copy_file_error 77:4:3;"},
      {{5, 1, 0}, kMine, false, "3 $muk_open_file_error 5:1;"},
      {{77, 2, 127}, {77, 8, 0}, false, "3 $muk_copy_file_error 77:2:127;"},
  };
  for (const auto& c : cases) {
    const std::string before = OnDisk() + Records();
    EXPECT_TRUE(MUKCloneAsset(c.source, c.target, c.asNewVersion, &log_).IsNull()) << c.told;
    EXPECT_EQ(Told(), c.told);
    EXPECT_EQ(OnDisk() + Records(), before) << c.told;
  }
}

}  // namespace
