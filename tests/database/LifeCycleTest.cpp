#include <cstring>
#include <sstream>

#include "database/AssetFolder.h"
#include "database/Database.h"
#include "database/MUKLock.h"
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
                 "plid <plid:1:7>\nname \"one\"\nobsolete-table {\n0 <plid:1:8>\n}");
  WriteWholeFile(folder_ / (EditFolder() + "/thumbs.db/x.txt"), "a folder is none of a viewer's");
  SetAssetValidator([](const AssetPlace& place) {
    return place.path.find("/local/content ") == std::string::npos;
  });
  EXPECT_TRUE(Live("c") && MUKGetFaulty(kId));
  SetAssetValidator({});
  EXPECT_EQ(MUKGetArchiveName(kId) + ' ' + MUKGetName(kId), "local one");
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/thumbs.db/x.txt")));
  EXPECT_EQ(MUKResolve({1, 8, 0}), kId);
  EXPECT_EQ(MUKGetModifyTime(kId), 1'700'000'000u);
  EXPECT_TRUE(Live("o2k") && MUKOpenAsset(kId, false, nullptr).id == kId && !MUKGetFaulty(kId));
  EXPECT_EQ(MUKGetName(kId), "2") << "a kept working folder does not hold the fields back";
  EXPECT_EQ(MUKResolve({1, 8, 0}), PLID(1, 8, 0));
  EXPECT_TRUE(MUKDumpKeywords());
  EXPECT_NE(ReadWholeFile(folder_ / "KeywordsDump.dat").find("<plid:1:7>"), std::string::npos);
}

TEST_F(LifeTest, NoAssetTakesTheFolderOfAnother) {
  constexpr PLID kOther{1, 8, 0};
  const auto open = [](const PLID& id, const char* name) {
    MUKCreateNew(id);
    MUKSetName(id, name);
    return MUKOpenAsset(id, true, nullptr).id == id;
  };
  Start();
  ASSERT_TRUE(open(kId, "Oak") && open(kOther, "oak") && Live("1"));
  EXPECT_EQ(MUKGetEditPath(kOther).substr(0, 13), "editing/edit ") << "no twin";
  Zef::Subst("lifefolder", (folder_ / "").c_str(), true);
  for (const std::string& path :
       std::vector<std::string>{"EDITING/oak", "editing/Oak/parts", "editing//./Oak",
                                folder_ / "editing//oak", "lifefolder:editing/oak", "editing"}) {
    MUKSetEditPath(kOther, path);
    if (path != "editing") MUKDeleteAsset(kId, false);  // the last that names it deletes it
    MUKSetEditPath(kId, "editing/Oak");
    EXPECT_TRUE(MUKRevertAssetEdits({kOther, true}) && !MUKFind(kOther)) << path;
    EXPECT_EQ(State(), "E1") << path;
    MUKCreateNew(kOther);
  }
  Zef::Subst("lifefolder", nullptr, false);
  MUKSetEditPath(kOther, "editing\\OAK");
  EXPECT_FALSE(MUKCommitAssetEdits(kOther, &log_) || !MUKGetEditPath(kOther).empty());
  EXPECT_EQ(Told() + State(), "$muk_commit_open_for_edit;E1")
      << "the config there says whose it is";
  MUKSetEditPath(kOther, "editing/Oak/parts/..");
  EXPECT_TRUE(Live("d") && !fs::exists(folder_ / "editing/Oak")) << "that leads nowhere";
  MUKSetEditPath(kId, "editing/Oak");
  ASSERT_TRUE(open({1, 9, 0}, "oak"));
  EXPECT_EQ(EditFolder(), "") << "the new folder is not what it lost";
}

// The folder of the one goes, and only the case of a letter tells it from that of the other.
TEST_F(LifeTest, ACommitPutsNothingInThePlaceOfAnotherAsset) {
  for (const std::string area : {"world/w/g/", "local/"}) {
    Renew();
    Write(area + "Foo", '1');
    const std::string theirs = folder_ / (area + "foo/config.txt");
    WriteWholeFile(theirs, "plid <plid:1:8>");
    for (const auto& [id, name] : {std::pair(kId, "Foo"), {PLID(1, 8, 0), "foo"}}) {
      MUKCreateNew(id);
      if (area == "local/") MUKSetArchiveName(id, "local");
      area == "local/" ? MUKSetInstallPath(id, name) : MUKSetLegacyPath(id, area + name);
    }
    ASSERT_TRUE(Live("o2"));
    const std::string index = Index();
    fs::remove_all(folder_ / (area + "Foo"));
    EXPECT_TRUE(Live("c")) << Told();
    for (const bool crashed : {false, true}) {
      if (crashed) Crash(index);
      EXPECT_EQ(State(), "I2") << area << crashed;
      EXPECT_EQ(ReadWholeFile(theirs), "plid <plid:1:8>") << area << crashed;
    }
    const std::string own = InstallFolder();
    MUKSetLegacyPath(kId, area + "Foo");
    EXPECT_FALSE(Do('o')) << "these are not its files";
    MUKSetEditPath(kId, "editing/mine");
    EXPECT_TRUE(Live("3c") && State() == "I3" && InstallFolder() == own) << Told();
    fs::remove_all(folder_ / own);
    MUKSetInstallPath(kId, "");
    MUKSetLegacyPath(kId, area + "Foo");
    Write(area + "Foo", '3');
    EXPECT_TRUE(Live("o4c")) << Told();
    MUKDeleteAsset({1, 8, 0}, false);
    EXPECT_TRUE(!fs::exists(theirs) && State() == "L4") << "twins are two folders";
  }
}

TEST_F(LifeTest, AnOlderIndexLearnsWhatHappenedSince) {
  constexpr PLID kOther{1, 8, 0};
  Start();
  ASSERT_TRUE(Live("n"));
  std::string index = Index();
  ASSERT_TRUE(Live("c") && MUKCreateNew(kOther) == kOther);
  ASSERT_EQ(MUKOpenAsset(kOther, true, nullptr).id, kOther);
  WriteWholeFile(folder_ / "editing/New Asset/config.txt", "plid <plid:1:8>");
  Crash(index);
  EXPECT_EQ(State(), "I1") << "another asset is open for edit in what was its working folder";
  EXPECT_EQ(MUKGetEditPath(kOther), "editing/New Asset");

  const PLID old(1, 9, 0);
  ASSERT_TRUE(Install(::Test::PackedAsset(kId, {}, {old}), kInstallOverwrite));
  EXPECT_EQ(MUKResolve(old), kId);
  index = Index();
  ASSERT_TRUE(Live("i"));
  const std::uint32_t size = MUKGetSizeBytes(kId);
  Crash(index);
  EXPECT_EQ(State(), "I2");
  EXPECT_EQ(MUKGetSizeBytes(kId), size);
  EXPECT_EQ(MUKResolve(old), old);
}

TEST_F(LifeTest, LeftoversAreClearedButForThoseOfTheLiving) {
  WriteWholeFile(folder_ / "temp/staged-asset 1.lock", "");
  for (const char* const name : {"1", "2", "3.old"}) {
    WriteWholeFile(folder_ / ("temp/staged-asset " + std::string(name) + "/x"), name);
  }
  WriteWholeFile(folder_ / "temp/staged-asset 3.note", "0\nworld/none/x\n");
  Zef::Platform::OwnedFile lock =
      Zef::Platform::OpenFile(folder_ / "temp/staged-asset 1.lock",
                              {.write = true, .sharing = Zef::Platform::Sharing::DenyAll});
  Start();
  const std::string tree = Tree();
  EXPECT_NE(tree.find("asset 1/x=1"), std::string::npos) << "somebody fills it";
  EXPECT_EQ(tree.find("asset 2"), std::string::npos);
  EXPECT_NE(tree.find("asset 3.old/x"), std::string::npos) << "it has no place to go back to";
  lock.Close();
  Restart(true);
  EXPECT_EQ(Tree().find("asset 1"), std::string::npos);
}

// An index that others wrote may hold two records of one identifier.
TEST_F(LifeTest, TwinRecordsAreDeletedTogetherAndOtherwiseLeftAlone) {
  Start();
  MUKAsset twin;
  ASSERT_TRUE(Live("nc") && MUKFind(kId, &twin));
  const std::string folder = folder_ / InstallFolder();
  MUKSetInstallPath(kId, "");
  {
    const MUKLock guard(true);
    Database::Get().Index().Add(std::move(twin));
  }
  EXPECT_TRUE(Live("or")) << Told();
  MUKSetPermitCommit(kId, false);
  EXPECT_FALSE(Do('i'));
  EXPECT_TRUE(MUKFind(kId) && State() == "." && fs::exists(folder));
  EXPECT_TRUE(Live("f") && !MUKFind(kId) && !fs::exists(folder));
}

/// What stands in the way of an operation, its messages, and that nothing else changes.
TEST_F(LifeTest, ARefusedOperationSaysWhyAndChangesNothing) {
  const struct {
    const char* before;
    std::string way;  ///< a file that is put there, or '+' a folder, '@' a link
    char step;
    const char* told;  ///< with the last word of a reason
  } cases[] = {{"nc", "editing", 'o', "open_file_error;"},
               {"nc", "I/run.exe", 'o', "copy_file_error have;"},
               {"nc", "temp", 'o', "copy_file_error write;"},
               {"nc", "U", 'o', "copy_file_error nowhere;"},
               {"nc", "other", 'c', "commit_open_for_edit;"},
               {"n", "local", 'c', "commit_database_error;"},
               {"nco", "+E/config.txt", 'c', "commit_missing_config;"},
               {"n", "E/CONFIG.GROLE", 'c', "commit_duplicate_config;"},
               {"n", "@E/parts/e", 'c', "package_file_bad_name;commit_invalid_files;"},
               {"nco", "temp", 'c', "commit_file_error write;"},
               {"nco", "@I", 'c', "commit_file_error link;"},
               {"nco", "W", 'c', "commit_file_error way;"},
               {"nco", "P", 'c', "commit_perm;"},
               {"nco", "U", 'c', "commit_file_error nowhere;"},
               {"nco", "S", 'c', "commit_file_error overlap;"}};
  for (const auto& each : cases) {
    Renew();
    ASSERT_TRUE(Live(each.before));
    if (each.way == "P") MUKSetPermitCommit(kId, false);
    if (each.way == "W") MUKSetLegacyPath(kId, "world");  // where no asset lies
    if (each.way == "U") MUKSetInstallPath(kId, "../up");
    if (each.way == "S") MUKSetEditPath(kId, InstallFolder());  // the very same folder
    std::string way = each.way.substr(each.way.find_first_not_of("+@"));
    if (way[0] == 'I') way = InstallFolder() + way.substr(1);
    if (way[0] == 'E') way = EditFolder() + way.substr(1);
    fs::remove_all(folder_ / way);
    if (each.way[0] == '@') fs::create_symlink("/etc", folder_ / way);
    if (each.way[0] == '+') fs::create_directory(folder_ / way);
    if (std::strchr("+@", each.way[0]) == nullptr) WriteWholeFile(folder_ / way, "x");
    const std::string before = State() + Tree();
    EXPECT_FALSE(Do(each.step)) << each.told;
    std::string told;
    for (const ResultEntry& entry : log_.Entries()) {
      const auto& values = dynamic_cast<const AssetMessage&>(*entry.reference).parameters;
      const bool hasReason = values.size() > 2;
      told +=
          entry.text.substr(5) + (hasReason ? values[2].substr(values[2].rfind(' ')) : "") + ';';
    }
    log_.Clear();
    EXPECT_EQ(told, each.told);
    EXPECT_EQ(State() + Tree(), before) << each.told;
  }
}

TEST_F(LifeTest, NothingOutsideAnAssetsOwnFoldersIsDeleted) {
  const ::Test::TempFolder elsewhere;
  static std::string saved;
  saved = elsewhere / "a/config.txt";
  WriteWholeFile(saved, "plid <plid:1:7>\nname \"far\"");
  settings_.stepObserver = [](const char* step) {
    constexpr const char* kText = "plid <plid:1:7>\nname \"!\"";
    if (step == std::string_view("stage: filled") && ReadWholeFile(saved) != kText)
      WriteWholeFile(saved, kText);
  };
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
      {MUKSetEditPath, "editing/../local", true}, {MUKSetEditPath, "local/other", true},
      {MUKSetEditPath, "world/link/a", true},     {MUKSetEditPath, "world/w/g/a", true},
      {MUKSetEditPath, folder_ / "world", true},  {MUKSetLegacyPath, "world", false},
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
  EXPECT_TRUE(Do('c') && !EditFolder().empty()) << "what was saved meanwhile is not committed";
  EXPECT_TRUE(Do('c') && EditFolder().empty()) << Told();
  EXPECT_TRUE(MUKGetName(kId) == "!" && fs::exists(elsewhere / "a/config.txt"));
}

TEST_F(LifeTest, AnAssetBelowASubstitutionIsCommittedWhereItCanBe) {
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
  EXPECT_TRUE(Live("f") && MUKGetInstallPath(kId) == "a") << "nothing is deleted in an archive";
  EXPECT_EQ(MUKGetSizeBytes(kId), 27u);
  const std::string index = Index();
  ASSERT_TRUE(Live("o")) << Told();
  EXPECT_EQ(Generation(EditFolder()), "1");
  EXPECT_FALSE(fs::exists(folder_ / (EditFolder() + "/parts/thumbs.db")));
  EXPECT_TRUE(Live("2c")) << Told();
  EXPECT_EQ(State(), "I2") << "beside the archive";
  Crash(index);
  EXPECT_EQ(State() + MUKGetName(kId) + MUKGetArchiveName(kId), "I22local");
  fs::resize_file(archive, 100);
  EXPECT_TRUE(MUKSetArchiveName(kId, "lifearchive") && MUKSetInstallPath(kId, "a") && !Do('o'));
  const auto& told = dynamic_cast<const AssetMessage&>(*log_.Entries().back().reference);
  EXPECT_EQ(told.parameters.at(2).substr(0, 27), "'lifearchive:a/config.txt' ");

  Write("packs/b", '3');
  Zef::Subst("lifefolder", (folder_ / "packs/").c_str(), true);
  ASSERT_TRUE(MUKSetArchiveName(kId, "lifefolder") && MUKSetInstallPath(kId, "b"));
  EXPECT_TRUE(Live("o4c") && Generation("packs/b") == "4" && MUKGetInstallPath(kId) == "b")
      << Told();
  constexpr PLID kOther{1, 8, 0};
  MUKCreateNew(kOther);
  MUKSetLegacyPath(kOther, "PACKS//./b");
  MUKDeleteAsset(kOther, true);
  EXPECT_TRUE(!MUKFind(kOther) && Generation("packs/b") == "4") << "it is the other one's too";
  EXPECT_TRUE(Live("d") && Generation("packs/b") == "!" && MUKGetInstallPath(kId).empty());
  ASSERT_TRUE(MUKSetArchiveName(kId, "lifefolder") && MUKSetInstallPath(kId, "gone"));
  EXPECT_TRUE(Live("d") && MUKGetInstallPath(kId).empty()) << "nothing is left to delete";
  ASSERT_TRUE(MUKSetArchiveName(kId, "unmounted") && MUKSetInstallPath(kId, "a"));
  EXPECT_TRUE(Live("f") && MUKGetInstallPath(kId) == "a") << "its files may be there again";
  MUKShutdown();
  Zef::Subst("lifearchive", nullptr, false);
  Zef::Subst("lifefolder", nullptr, false);
}

}  // namespace
