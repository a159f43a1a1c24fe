#include "database/AssetClone.h"

#include "tagdata/TagFiles.h"
#include "tests/database/InstallFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::WriteWholeFile;

constexpr PLID kMine(77, 1, 0);
constexpr PLID kNext(77, 500, 0);

class CloneTest : public Test::InstallTest {
 protected:
  CloneTest() {
    WriteWholeFile(folder_ / "settings/plid.txt", "base-plid <plid:77:500>\n");
    Put("mine", "plid <plid:77:1>\nusername \"Mine\"\nobsolete-table {\n7 <plid:77:9>\n}\n");
    WriteWholeFile(folder_ / "local/mine/Sub/mesh.txt", "mesh");
    Put("last", "plid <plid2:77:2:127>\n");
    Put("bad", "plid <plid:5:1>\n");
    WriteWholeFile(folder_ / "local/bad/tool.exe", "");
    TagContainer binary;
    binary.SetPLID(Zef::PString("plid"), {5, 2, 0});
    fs::create_directory(folder_ / "local/binary");
    EXPECT_TRUE(SaveTagFile(binary, {}, folder_ / "local/binary/config.grole"));
  }
  void Put(const std::string& folder, const char* config) const {
    WriteWholeFile(folder_ / ("local/" + folder + "/config.txt"), config);
  }
  /// "identifier obsolete,obsolete," in the config of an asset that is open for edit.
  std::string Config(PLID id) const {
    TagContainer config;
    EXPECT_TRUE(LoadTagFile(config, {}, folder_ / (MUKGetEditPath(id) + "/config.txt")));
    std::vector<PLID> obsolete;
    config.GetSubContainer(Zef::PString("obsolete-table")).CollectPLIDsFlat(obsolete);
    std::string text = config.GetPLID(Zef::PString("plid")).ToDelimited(':') + ' ';
    for (const PLID& each : obsolete) text += each.ToDelimited(':') + ',';
    return text;
  }
};

TEST_F(CloneTest, MakesAssetsOpenForEdit) {
  Start();
  ::Test::AddRecord({77, 1, 1}, "absent");
  const struct {
    PLID source;
    PLID target;
    bool asNewVersion;
    PLID clone;
    const char* config;
  } cases[] = {
      {{5, 2, 0}, {}, false, kNext, "77:500 "},
      {kMine, {77, 600, 0}, false, {77, 600, 0}, "77:600 77:9,"},
      {kMine, {}, true, {77, 1, 1}, "77:1:1 77:9,"},  // the version says what it replaces
      {{77, 2, 127}, {}, true, {77, 501, 0}, "77:501 77:2:127,"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MUKCloneAsset(c.source, c.target, c.asNewVersion, &log_), c.clone) << c.config;
    EXPECT_EQ(Told(), "1 $muk_cloned " + c.source.ToDelimited(':') + ';');
    EXPECT_EQ(Config(c.clone), c.config);
    EXPECT_EQ(MUKGetIsClone(c.clone), !c.asNewVersion);
  }
  EXPECT_EQ(MUKGetName({77, 1, 1}), "Mine");
  EXPECT_TRUE(fs::exists(folder_ / (MUKGetEditPath({77, 1, 1}) + "/Sub/mesh.txt")));
  EXPECT_FALSE(fs::exists(folder_ / (MUKGetEditPath(kNext) + "/config.grole")));
  const std::string state = State();
  EXPECT_EQ(Restarted(), state);
}

TEST_F(CloneTest, AFailureLeavesEverythingAsItWas) {
  Start();
  for (const PLID& id : {PLID(77, 4, 3), PLID(77, 4, 4), PLID(5, 9, 0)}) ::Test::AddRecord(id, "x");
  MUKSetInstallPath({77, 4, 4}, "mine");
  MUKSetArchiveName({77, 4, 4}, "local");
  MUKSetPermitEdit({5, 9, 0}, false);
  const struct {
    PLID source;
    PLID target;
    bool asNewVersion;
    const char* told;
  } cases[] = {
      {{9, 9, 9}, {}, false, "3 $muk_clone_perm 9:9:9;"},
      {{5, 9, 0}, {}, true, "3 $muk_clone_perm 5:9;"},
      {{5, 2, 0}, {}, true, "3 $muk_not_local_owner 5:2;"},
      {{77, 4, 3}, {}, true, "3 $muk_asset_out_of_date 77:4:3;"},
      {{77, 4, 3}, {}, false, "3 $muk_copy_file_error 77:4:3;"},
      {{5, 1, 0}, {77, 8, 0}, false, "3 $muk_copy_file_error 5:1;"},
      {{5, 2, 0}, kMine, false, "3 $muk_open_file_error 5:2;"},
  };
  for (const auto& c : cases) {
    const std::string state = State();
    EXPECT_TRUE(MUKCloneAsset(c.source, c.target, c.asNewVersion, &log_).IsNull()) << c.told;
    EXPECT_EQ(Told(), c.told);
    EXPECT_EQ(State(), state) << c.told;
  }
}

}  // namespace
