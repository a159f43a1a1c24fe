#include "database/AssetClone.h"

#include <span>

#include "tagdata/TagFiles.h"
#include "tests/database/LifeFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::WriteWholeFile;

constexpr PLID kMine(77, 1, 0);
constexpr PLID kNone;

class CloneTest : public Test::LifeTest {
 protected:
  ~CloneTest() override {
    MUKShutdown();
    SetBaseUserId(PLID::kUnassignedUser);
  }
  /// "identifier obsolete,obsolete," in the config of an asset that is open for edit.
  std::string Config(PLID id) const {
    TagContainer config;
    EXPECT_TRUE(LoadTagFile(config, {}, folder_ / (MUKGetEditPath(id) + "/config.txt")));
    std::vector<PLID> obsolete;
    config.GetSubContainer("obsolete-table").CollectPLIDsFlat(obsolete);
    std::string text = config.GetPLID("plid").ToDelimited(':') + ' ';
    for (const PLID& each : obsolete) text += each.ToDelimited(':') + ',';
    return text;
  }
};

TEST_F(CloneTest, MakesAnAssetOpenForEditOrLeavesEverythingAsItWas) {
  WriteWholeFile(folder_ / "settings/plid.txt", "base-plid <plid:77:500>");
  WriteWholeFile(folder_ / "local/mine/config.txt",
                 "plid <plid:77:1>\nobsolete-table {\n7 <plid:77:9>\n}");
  WriteWholeFile(folder_ / "local/mine/Sub/mesh.txt", "mesh");
  WriteWholeFile(folder_ / "local/last/config.txt", "plid <plid2:77:2:127>");
  WriteWholeFile(folder_ / "local/bad/config.txt", "plid <plid:5:1>");
  WriteWholeFile(folder_ / "local/bad/tool.exe", "");
  fs::create_directory(folder_ / "local/binary");
  TagContainer binary = ::Test::PackedAsset({5, 2, 0});
  ::Test::AddBinary(binary, "blob", "no text can hold it");
  ASSERT_TRUE(SaveTagFile(binary, {}, folder_ / "local/binary/config.grole"));
  Start();
  for (const PLID& id : {PLID(77, 1, 1), PLID(77, 4, 3), PLID(77, 4, 4), PLID(5, 9, 0)}) {
    ::Test::AddRecord(id, "x");
  }
  MUKSetInstallPath({77, 4, 4}, "mine");
  MUKSetPermitEdit({5, 9, 0}, false);
  const struct {
    PLID source;
    PLID target;
    bool asNewVersion;
    const char* told;
    PLID clone{};
    const char* config = "";
  } cases[] = {
      {{9, 9, 9}, kNone, false, "$muk_clone_perm;"},
      {{5, 9, 0}, kNone, true, "$muk_clone_perm;"},
      {{5, 2, 0}, kNone, true, "$muk_not_local_owner;"},
      {{77, 4, 3}, kNone, true, "$muk_asset_out_of_date;"},
      {{77, 4, 3}, {77, 8, 0}, false, "$muk_clone_error;"},
      {{5, 1, 0}, {77, 8, 0}, false, "$muk_clone_error;"},
      {{5, 2, 0}, kMine, false, "$muk_clone_error;"},
      {{5, 2, 0}, kNone, false, "$muk_config_tags_lost;$muk_cloned;", {77, 500, 0}, "77:500 "},
      {kMine, {77, 600, 0}, false, "$muk_cloned;", {77, 600, 0}, "77:600 77:9,"},
      {kMine, kNone, true, "$muk_cloned;", {77, 1, 1}, "77:1:1 77:9,"},  // the version says it
      {{77, 2, 127}, kNone, true, "$muk_cloned;", {77, 501, 0}, "77:501 77:2:127,"},
  };
  for (const auto& c : cases) {
    const std::string before = Tree() + ::Test::RunningNames();
    EXPECT_EQ(MUKCloneAsset(c.source, c.target, c.asNewVersion, &log_), c.clone) << c.config;
    EXPECT_EQ(Told(), c.told);
    EXPECT_EQ(Tree() + ::Test::RunningNames() == before, c.clone.IsNull()) << c.told;
    EXPECT_EQ(MUKGetIsClone(c.clone), !c.clone.IsNull() && !c.asNewVersion);
  }
  EXPECT_TRUE(fs::exists(folder_ / (MUKGetEditPath({77, 1, 1}) + "/Sub/mesh.txt")));
  EXPECT_FALSE(fs::exists(folder_ / (MUKGetEditPath({77, 500, 0}) + "/config.grole")));
  Restart(true);
  for (const auto& c : std::span(cases).last(4)) EXPECT_EQ(Config(c.clone), c.config);
}

}  // namespace
