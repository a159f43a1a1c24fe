#include "database/AssetClone.h"

#include "tagdata/TagFiles.h"
#include "tests/database/InstallFixture.h"

namespace {

namespace fs = std::filesystem;

constexpr PLID kMine(77, 1, 0);
constexpr PLID kNext(77, 500, 0);

class CloneTest : public Test::InstallTest {
 protected:
  CloneTest() {
    for (const auto& [file, text] : std::map<const char*, const char*>{
             {"settings/plid.txt", "base-plid <plid:77:500>"},
             {"local/mine/config.txt", "plid <plid:77:1>\nobsolete-table {\n7 <plid:77:9>\n}"},
             {"local/mine/Sub/mesh.txt", "mesh"},
             {"local/last/config.txt", "plid <plid2:77:2:127>"},
             {"local/bad/config.txt", "plid <plid:5:1>"},
             {"local/bad/tool.exe", ""}}) {
      ::Test::WriteWholeFile(folder_ / file, text);
    }
    fs::create_directory(folder_ / "local/binary");
    const TagContainer binary = Content({5, 2, 0}, {});
    EXPECT_TRUE(SaveTagFile(binary, {}, folder_ / "local/binary/config.grole"));
    Start();
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
    EXPECT_EQ(Told(), "1 cloned " + c.source.ToDelimited(':') + ';');
    EXPECT_EQ(Config(c.clone), c.config);
    EXPECT_EQ(MUKGetIsClone(c.clone), !c.asNewVersion);
  }
  EXPECT_TRUE(fs::exists(folder_ / (MUKGetEditPath({77, 1, 1}) + "/Sub/mesh.txt")));
  EXPECT_FALSE(fs::exists(folder_ / (MUKGetEditPath(kNext) + "/config.grole")));
  Restart(true);
  for (const auto& c : cases) EXPECT_EQ(Config(c.clone), c.config) << "as it was";
}

TEST_F(CloneTest, AFailureLeavesEverythingAsItWas) {
  for (const PLID& id : {PLID(77, 4, 3), PLID(77, 4, 4), PLID(5, 9, 0)}) ::Test::AddRecord(id, "x");
  MUKSetInstallPath({77, 4, 4}, "mine");
  MUKSetPermitEdit({5, 9, 0}, false);
  const struct {
    PLID source;
    PLID target;
    bool asNewVersion;
    const char* told;
  } cases[] = {
      {{9, 9, 9}, {}, false, "3 clone_perm 9:9:9;"},
      {{5, 9, 0}, {}, true, "3 clone_perm 5:9;"},
      {{5, 2, 0}, {}, true, "3 not_local_owner 5:2;"},
      {{77, 4, 3}, {}, true, "3 asset_out_of_date 77:4:3;"},
      {{77, 4, 3}, {}, false, "3 copy_file_error 77:4:3;"},
      {{5, 1, 0}, {77, 8, 0}, false, "3 copy_file_error 5:1;"},
      {{5, 2, 0}, kMine, false, "3 open_file_error 5:2;"},
  };
  for (const auto& c : cases) {
    const std::string before = Tree() + ::Test::RunningNames();
    EXPECT_TRUE(MUKCloneAsset(c.source, c.target, c.asNewVersion, &log_).IsNull()) << c.told;
    EXPECT_EQ(Told(), c.told);
    EXPECT_EQ(Tree() + ::Test::RunningNames(), before) << c.told;
  }
}

}  // namespace
