#include <sys/stat.h>

#include <cstring>
#include <sstream>

#include "database/AssetFolder.h"
#include "database/StagedFolder.h"
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
      "ncbd=I1 ncbo2d=I1 ncbo2f=I1 ncdf=- ncfn=E1 ncdo2r=-");
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

TEST_F(LifeTest, TheOlderLayoutStaysOrIsLeftOnRequest) {
  std::istringstream roads("o2=E2L1 o2c=L2 o2u=L2 bd=. o2f=- o2r=L1 LOCALo2u=I2");
  for (std::string road; roads >> road;) {
    Renew();
    const bool isLocal = road.starts_with("LOCAL");
    const std::size_t sign = road.find('=');
    Write(isLocal ? "local/a" : "world/w/g/a", '1');
    MUKCreateNew(kId);
    MUKSetLegacyPath(kId, isLocal ? "LOCAL/a" : "world/w/g/a");
    EXPECT_TRUE(Live(road.substr(isLocal ? 5 : 0, sign - (isLocal ? 5 : 0)))) << road << Told();
    EXPECT_EQ(State(), road.substr(sign + 1)) << road;
  }
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
  const auto put = [this](const std::string& name) {
    fs::remove_all(folder_ / name);
    WriteWholeFile(folder_ / name, "x");
  };
  const struct {
    const char* before;
    std::function<void()> hinder;
    char step;
    const char* told;
  } cases[] = {
      {"nc", [] { MUKSetPermitEdit(kId, false); }, 'o', "$muk_edit_perm;"},
      {"nc", [&] { put("editing"); }, 'o', "$muk_open_file_error;"},
      {"nc", [&] { put(InstallFolder() + "/run.exe"); }, 'o', "$muk_copy_file_error;"},
      {"nc", [&] { mkfifo((folder_ / (InstallFolder() + "/a.txt")).c_str(), 0600); }, 'o',
       "$muk_copy_file_error;"},
      {"nc", [&] { fs::create_symlink("/etc", folder_ / (InstallFolder() + "/a.txt")); }, 'o',
       "$muk_copy_file_error;"},
      {"nc", [&] { put("temp"); }, 'o', "$muk_copy_file_error;"},
      {"n", [] { MUKSetPermitCommit(kId, false); }, 'c', "$muk_commit_perm;"},
      {"nc", [] {}, 'c', "$muk_commit_open_for_edit;"},
      {"n", [&] { put("local"); }, 'c', "$muk_commit_database_error;"},
      {"n", [&] { fs::remove(folder_ / (EditFolder() + "/config.txt")); }, 'c',
       "$muk_commit_missing_config;"},
      {"n", [&] { put(EditFolder() + "/CONFIG.GROLE"); }, 'c', "$muk_commit_duplicate_config;"},
      {"nco", [&] { put(EditFolder() + "/Config.txt"); }, 'k', "$muk_commit_duplicate_config;"},
      {"n", [&] { put(EditFolder() + "/.hidden.txt"); }, 'c',
       "$muk_package_file_bad_name;$muk_commit_invalid_files;"},
      {"nco", [&] { fs::create_symlink("/etc", folder_ / (EditFolder() + "/e")); }, 'c',
       "$muk_package_file_bad_name;$muk_commit_invalid_files;"},
      {"n", [&] { put("temp"); }, 'k', "$muk_commit_file_error;"},
      {"nco", [&] { put("temp"); }, 'c', "$muk_commit_file_error;"},
      {"nco", [] { MUKSetArchiveName(kId, "lifesubst"); }, 'c', "$muk_commit_file_error;"},
      {"nco", [] { MUKSetInstallPath(kId, "../up"); }, 'c', "$muk_commit_file_error;"},
      {"nco", [&] { MUKSetEditPath(kId, InstallFolder()); }, 'c', "$muk_commit_file_error;"},
  };
  Zef::Subst("lifesubst", (folder_ / "local/").c_str(), false);
  for (const auto& each : cases) {
    Renew();
    ASSERT_TRUE(Live(each.before));
    each.hinder();
    const std::string state = State();
    const std::string tree = Tree();
    EXPECT_FALSE(Do(each.step)) << each.told;
    EXPECT_EQ(Told(), each.told);
    EXPECT_EQ(State(), state) << each.told;
    EXPECT_EQ(Tree(), tree) << each.told;
  }
  Zef::Subst("lifesubst", nullptr, false);
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
    EXPECT_EQ(Tree(), tree) << each.path;
    EXPECT_TRUE(fs::exists(elsewhere / "a/config.txt")) << each.path;
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
  EXPECT_TRUE(Live("2") && !Do('c'));
  EXPECT_EQ(Told(), "$muk_commit_file_error;");
  EXPECT_EQ(Generation(EditFolder()), "2");
  EXPECT_TRUE(Live("f") && MUKFind(kId) && EditFolder().empty());
  EXPECT_EQ(MUKGetInstallPath(kId), "a");
  MUKShutdown();
  Zef::Subst("lifearchive", nullptr, false);
}

TEST_F(LifeTest, AFolderSetAsideByACrashComesBackOrGoes) {
  const auto lay = [this](const std::string& name, const std::string& text) {
    WriteWholeFile(folder_ / ("temp/staged-asset 9-1" + name), text);
  };
  const auto serial = [this](const char* path) {
    struct stat facts {};
    EXPECT_EQ(stat((folder_ / path).c_str(), &facts), 0);
    return std::to_string(facts.st_ino);
  };
  WriteWholeFile(folder_ / "local/new/config.txt", "new");
  WriteWholeFile(folder_ / "editing/old/config.txt", "old");
  WriteWholeFile(folder_ / "temp/mine.txt", "mine");
  const struct {
    const char* name;
    std::string note;
    const char* left;  ///< of a/b, new and old
  } cases[] = {{"gone", "0\nlocal/a/b\n", "a/b new old "},
               {"stands", "0\nlocal/new\n", "new old "},
               {"half", "0\nlocal/a", "new old "},
               {"out", "0\n../x/y\n", "new old "},
               {"another", "1\nediting/old\n", "new old "},
               {"rubbish", serial("editing/old") + "\nediting/old\n", "new "}};
  for (const auto& each : cases) {
    fs::remove_all(folder_ / "local/a");
    fs::create_directories(folder_ / "local/a");
    lay("/config.txt", "half");
    lay(".old/config.txt", "before");
    lay(".note", each.note);
    StagedFolder::ClearLeftovers(folder_.Path().string());
    AwaitSweeps();
    std::string left;
    if (fs::exists(folder_ / "local/a/b/config.txt")) left += "a/b ";
    if (fs::exists(folder_ / "local/new/config.txt")) left += "new ";
    if (fs::exists(folder_ / "editing/old/config.txt")) left += "old ";
    EXPECT_EQ(left, each.left) << each.name;
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "temp"), {}), 1) << each.name;
  }
}

}  // namespace
