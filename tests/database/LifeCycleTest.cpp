#include <sys/stat.h>

#include <cstring>
#include <sstream>

#include "database/AssetFolder.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tests/database/LifeFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::LifeTest;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

TEST_F(LifeTest, EveryStateIsReachedAndLeftByEveryRoad) {
  std::istringstream roads(
      "n=E1 nc=I1 nk=E1I1 nd=. nf=- nr=- nsr=. nco=E1I1 ncoo=E1I1 nco2=E2I1 nco2c=I2 nco2tc=I2 "
      "nco2k=E2I2 nco2kr=I2 nco2r=I1 nco2d=. nco2f=- ncd=. ncf=- ncsf=. ncdo3=E3 ncdo3c=I3 "
      "ncbd=I1 ncbo2d=I1 ncbo2f=I1 ncdf=- ncfn=E1 ncdo2r=- l=L1 lo2=E2L1 lo2c=L2 lo2u=L2 lo2r=L1 "
      "lo2f=- lbd=. Lo2u=I2");
  for (std::string road; roads >> road;) {
    Renew();
    const std::size_t sign = road.find('=');
    EXPECT_TRUE(Live(road.substr(0, sign))) << road << ' ' << Told();
    EXPECT_EQ(State(), road.substr(sign + 1)) << road;
    const std::string tree = Tree();
    for (const bool crashed : {false, true}) {
      Restart(crashed);
      EXPECT_EQ(State(), road.substr(sign + 1)) << road << " started again " << crashed;
      EXPECT_EQ(Tree(), tree) << road << " started again " << crashed;
    }
    EXPECT_EQ(tree.find("staged-asset"), std::string::npos) << tree;
  }
  EXPECT_EQ(Told(), "");
}

TEST_F(LifeTest, FoldersAreNamedAndRecordsFollow) {
  Start();
  MUKCreateNew(kId);
  MUKSetName(kId, "Big: Boy/../x" + std::string(300, 'y'));
  ASSERT_TRUE(Live("o1"));
  EXPECT_EQ(EditFolder(), "editing/Big_ Boy____x" + std::string(107, 'y'));
  WriteWholeFile(folder_ / (EditFolder() + "/config.txt"),
                 "plid <plid:1:7>\nname \"one\"\nquarle-build 2.9\nplid-table {\n0 <plid:1:9>\n}\n"
                 "obsolete-table {\n0 <plid:1:8>\n}");
  const auto old = fs::last_write_time(folder_ / (EditFolder() + "/parts/body.txt"));
  SetAssetValidator([](const AssetPlace& place) {
    return place.path.find("/local/content ") == std::string::npos;
  });
  EXPECT_TRUE(Live("c"));
  SetAssetValidator({});
  EXPECT_TRUE(MUKGetFaulty(kId) && MUKGetMissingDependency(kId));
  EXPECT_EQ(InstallFolder().substr(0, 14), "local/content ");
  EXPECT_EQ(MUKGetArchiveName(kId) + ' ' + MUKGetName(kId), "local one");
  EXPECT_EQ(MUKResolve({1, 8, 0}), kId);
  EXPECT_EQ(MUKGetModifyTime(kId), 1'700'000'000u);
  const std::uint32_t size = MUKGetSizeBytes(kId);

  WriteWholeFile(folder_ / "editing/one/x.txt", "in the way");
  ASSERT_TRUE(Live("o2"));
  EXPECT_EQ(EditFolder().substr(0, 13), "editing/edit ");
  EXPECT_TRUE(MUKOpenAsset(kId, false, nullptr).id == kId);
  EXPECT_TRUE(Live("k"));
  EXPECT_EQ(MUKGetName(kId), "2") << "a kept working folder does not hold the fields back";
  EXPECT_FALSE(MUKGetFaulty(kId) || MUKGetMissingDependency(kId));
  EXPECT_EQ(MUKResolve({1, 8, 0}), PLID(1, 8, 0));
  EXPECT_LT(MUKGetSizeBytes(kId), size);
  EXPECT_LT(MUKGetBuild(kId), 2.0f);
  EXPECT_GE(fs::last_write_time(folder_ / (InstallFolder() + "/parts/body.txt")), old);
  EXPECT_TRUE(MUKDumpKeywords());
  EXPECT_NE(ReadWholeFile(folder_ / "KeywordsDump.dat").find("<plid:1:7>"), std::string::npos);
}

/// What stands in the way of an operation, its messages, and that nothing else changes.
TEST_F(LifeTest, ARefusedOperationSaysWhyAndChangesNothing) {
  const struct {
    const char* before;
    std::string way;  ///< a file that is put there, or '-' removed, '@' a link, '|' a pipe
    char step;
    const char* told;
  } cases[] = {{"nc", "editing", 'o', "open_file_error;"},
               {"nc", "I/run.exe", 'o', "copy_file_error;"},
               {"nc", "|I/a.txt", 'o', "copy_file_error;"},
               {"nc", "@I/a.txt", 'o', "copy_file_error;"},
               {"nc", "temp", 'o', "copy_file_error;"},
               {"nc", "other", 'c', "commit_open_for_edit;"},
               {"n", "local", 'c', "commit_database_error;"},
               {"n", "-E/config.txt", 'c', "commit_missing_config;"},
               {"n", "E/CONFIG.GROLE", 'c', "commit_duplicate_config;"},
               {"nco", "E/Config.txt", 'k', "commit_duplicate_config;"},
               {"n", "E/.hidden.txt", 'c', "package_file_bad_name;commit_invalid_files;"},
               {"nco", "@E/parts/e", 'c', "package_file_bad_name;commit_invalid_files;"},
               {"n", "temp", 'k', "commit_file_error;"},
               {"nco", "temp", 'c', "commit_file_error;"},
               {"nc", "P", 'o', "edit_perm;"},
               {"nco", "P", 'c', "commit_perm;"},
               {"nco", "U", 'c', "commit_file_error;"},
               {"nco", "S", 'c', "commit_file_error;"}};
  for (const auto& each : cases) {
    Renew();
    ASSERT_TRUE(Live(each.before));
    if (each.way == "P") MUKSetPermitEdit(kId, false), MUKSetPermitCommit(kId, false);
    if (each.way == "U") MUKSetInstallPath(kId, "../up");
    if (each.way == "S") MUKSetEditPath(kId, InstallFolder());  // the very same folder
    std::string way = each.way.substr(each.way.find_first_not_of("-@|"));
    if (way[0] == 'I') way = InstallFolder() + way.substr(1);
    if (way[0] == 'E') way = EditFolder() + way.substr(1);
    fs::remove_all(folder_ / way);
    if (each.way[0] == '@') fs::create_symlink("/etc", folder_ / way);
    if (each.way[0] == '|') mkfifo((folder_ / way).c_str(), 0600);
    if (std::strchr("-@|", each.way[0]) == nullptr) WriteWholeFile(folder_ / way, "x");
    const std::string before = State() + Tree();
    EXPECT_FALSE(Do(each.step)) << each.told;
    std::string told = Told();
    for (std::size_t at = 0; (at = told.find("$muk_")) != std::string::npos;) told.erase(at, 5);
    EXPECT_EQ(told, each.told);
    EXPECT_EQ(State() + Tree(), before) << each.told;
  }
}

TEST_F(LifeTest, NothingOutsideAnAssetsOwnFoldersIsDeleted) {
  const ::Test::TempFolder elsewhere;
  WriteWholeFile(elsewhere / "a/config.txt", "plid <plid:1:7>\nname \"far\"");
  Start();
  WriteWholeFile(folder_ / "world/w/g/a/config.txt", "x");
  WriteWholeFile(folder_ / "local/other/config.txt", "x");
  fs::create_directory_symlink(elsewhere.Path(), folder_ / "world/link");
  const std::string tree = Tree();
  const struct {
    bool (*set)(const PLID&, std::string_view);
    std::string path;
    bool isForgotten;  ///< else it keeps a place that could not be deleted
  } cases[] = {
      {MUKSetEditPath, elsewhere / "a", true},    {MUKSetEditPath, "../../a", true},
      {MUKSetEditPath, "editing/../local", true}, {MUKSetEditPath, "local/./other", false},
      {MUKSetEditPath, "world/link/a", false},    {MUKSetEditPath, "world", false},
      {MUKSetEditPath, folder_ / "world", false}, {MUKSetLegacyPath, "world", false},
      {MUKSetLegacyPath, "world/link/a", false},  {MUKSetLegacyPath, elsewhere / "a", true},
      {MUKSetInstallPath, "../world/w", true},    {MUKSetInstallPath, ".", false},
  };
  for (const auto& each : cases) {
    MUKCreateNew(kId);
    MUKSetArchiveName(kId, "local");
    each.set(kId, each.path);
    MUKDeleteAsset(kId, true);
    EXPECT_EQ(MUKFind(kId), !each.isForgotten) << each.path;
    EXPECT_TRUE(Tree() == tree && fs::exists(elsewhere / "a/config.txt")) << each.path;
    each.set(kId, "");
    MUKDeleteAsset(kId, true);
  }
  MUKCreateNew(kId);
  MUKSetEditPath(kId, elsewhere / "a");
  EXPECT_TRUE(Do('c')) << Told();
  EXPECT_EQ(MUKGetName(kId), "far") << "and it can be committed from there";
  EXPECT_TRUE(EditFolder().empty() && fs::exists(elsewhere / "a/config.txt"));
}

TEST_F(LifeTest, AnAssetInAMountedArchiveIsCopiedOutAndStays) {
  const std::string archive = folder_ / "content.ja";
  Zef::Subst("lifearchive", archive.c_str(), true);
  for (const auto& [name, text] : {std::pair("a/config.txt", "plid <plid:1:7>\nname \"1\"\n"),
                                   {"a/parts/body.txt", "1"},
                                   {"a/parts/thumbs.db", "-"}}) {
    Zef::File file;
    ASSERT_EQ(file.Open("lifearchive", name, Zef::FileMode::kCreateWrite), Zef::RES_OK);
    file.Write(text, 1, std::strlen(text));
  }
  Start();
  MUKCreateNew(kId);
  MUKSetInstallPath(kId, "a");
  MUKSetArchiveName(kId, "lifearchive");
  ASSERT_TRUE(Live("o")) << Told();
  EXPECT_EQ(Generation(EditFolder()), "1");
  EXPECT_FALSE(fs::exists(folder_ / (EditFolder() + "/parts/thumbs.db")));
  EXPECT_TRUE(Live("2") && !Do('c') && Generation(EditFolder()) == "2");
  EXPECT_EQ(Told(), "$muk_commit_file_error;");
  EXPECT_TRUE(Live("f") && MUKFind(kId) && EditFolder().empty());
  EXPECT_EQ(MUKGetInstallPath(kId), "a");
  MUKShutdown();
  Zef::Subst("lifearchive", nullptr, false);
}

TEST_F(LifeTest, AFolderThatVanishesEndsACommitWithAMessage) {
  static fs::path vanishing;
  settings_.stepObserver = [](const char* step) {
    if (step == std::string_view("commit: files checked")) fs::remove_all(vanishing);
  };
  // What was installed may come again; what is gone from the working folder cannot.
  for (const auto& [folder, state] : {std::pair("editing", "I1"), {"local", "E2I2"}}) {
    Renew();
    ASSERT_TRUE(Live("nco2"));
    vanishing = folder_ / folder;
    EXPECT_EQ(Do('k'), folder[0] == 'l') << Told();
    vanishing.clear();
    Restart(true);
    EXPECT_EQ(State(), state);
  }
}

}  // namespace
