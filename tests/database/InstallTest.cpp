#include "database/AssetInstall.h"

#include <functional>

#include "database/AssetArt.h"
#include "database/AssetInfo.h"
#include "tests/database/LifeFixture.h"
#include "tests/support/ChildProcess.h"

namespace {

namespace fs = std::filesystem;
using Test::AddBinary;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

constexpr auto kOver = kInstallOverwrite;

std::function<bool()> atStep;  // of a child alone

class InstallTest : public Test::LifeTest {
 protected:
  bool InstallFaulty(char fault, std::uint32_t flags) {
    TagContainer asset = Packed();
    if (fault == 'e') MUKSetPermitEdit(kId, false);
    if (fault == 'w') AddBinary(asset, "blob", "no text can hold it");
    if (fault == 'c') MUKSetPermitCommit(kId, false);
    if (fault == 'b') WriteWholeFile(folder_ / "editing", "a file bars the way");
    if (fault == 'i') asset.SetString("plid", "none");
    if (fault == 'k') asset.SetString("PLID", "<plid:6:6>");  // in a text the same key
    if (fault == 'x') asset.SetString("x", std::string(5 << 20, 'x'));
    if (fault == 't') asset.GetSubContainer("files").SetString("b.txt", "a text for a file");
    if (fault == 'o') WriteWholeFile(folder_ / (InstallFolder() + "/old.exe"), "");
    return Install(asset, flags);
  }
  /// What is told of a file, and of each asset in it.
  std::string InstallFile(const std::string& path, std::uint32_t flags = 0) {
    const bool isDone = MUKInstallFile(path, &log_, flags);
    const std::string told = Told();
    EXPECT_EQ(told.find("$muk_installed") != std::string::npos, isDone) << told;
    return told;
  }
};

// Whatever a record, a package or the disk is like: what was told, and that all is as before or as
// after, on disk, in memory, and after a start with and without the index.
TEST_F(InstallTest, InstallsWholeOrLeavesEverythingAsItWas) {
  const struct {
    const char* before;  ///< 'p' at the end: came in through a patch
    std::uint32_t flags;
    char fault;
    const char *told, *after;
  } cases[] = {
      {"", 0, '-', "$muk_installed;", "I2"},
      {"ncd", kOver, '-', "$muk_installed;", "I2"},
      {"nc", kOver, 'o', "$muk_installed;", "I2"},  // what the rules forbid goes with the old files
      {"nc", 0, '-', "$muk_already_installed;", "I1"},
      {"ncobp", kOver, '-', "$muk_skipping_open_for_edit;", "E1I1"},
      {"ncbp", kOver, '-', "$muk_skipping_built_in;", "I1"},
      {"ncp", kOver, '-', "$muk_skipping_dls_item;", "I1"},
      {"nc", kOver, 'c', "$muk_commit_perm;$muk_failed_install;", "I1"},
      {"nc", kOver, 'e', "$muk_edit_perm;$muk_write_error;", "I1"},
      {"", 0, 'w', "$muk_config_tags_lost;$muk_installed;", "I2"},
      {"", 0, 'b', "$muk_open_file_error;$muk_write_error;", "-"},
      {"", 0, 'i', "$muk_write_error;", "-"},
      {"nc", kOver, 'k', "$muk_failed_install;", "I1"},
      {"ncd", 0, 'x', "$muk_failed_install;", "."},
      {"", 0, 't', "$muk_failed_install;", "-"},
  };
  for (const auto& each : cases) {
    Renew();
    const std::string_view steps = each.before;
    ASSERT_TRUE(Live(steps.substr(0, steps.find('p'))));
    MUKSetPatched(kId, steps.ends_with('p'));
    const std::string tree = Tree();
    const bool isDone = InstallFaulty(each.fault, each.flags);
    const ResultEntry last = log_.Entries().back();
    const auto& message = dynamic_cast<const AssetMessage&>(*last.reference);
    const bool hasReason = last.text.ends_with("_failed_install") || last.text.ends_with("_error");
    EXPECT_EQ(message.parameters.size(), hasReason ? 3U : 2U) << each.told;
    EXPECT_EQ(Told(), each.told);
    EXPECT_EQ(isDone, Tree() != tree) << Tree();
    for (const bool crashed : {false, true}) {
      EXPECT_EQ(State(), each.after) << each.told;
      Restart(crashed);
    }
    EXPECT_EQ(State(), each.after) << each.told;
  }
}

TEST_F(InstallTest, InstallsAllOfAPackageAndNothingOutside) {
  Start();
  constexpr PLID kFirst(1, 1, 0);
  const std::string file = folder_ / "new.kpx";
  MUKPackage package;
  const TagContainer first = ::Test::PackedAsset(kFirst);
  TagContainer files = first.GetSubContainer("files");
  package.Tags().SetString("compression", "");
  for (const char* const name : {"../up.txt", "/tmp/up.txt", "a\\..\\up.txt", "config.txt",
                                 "box_art_icon.texture", "other.texture"}) {
    AddBinary(files, name, "plid <plid:9:9>");
  }
  for (const TagContainer& asset : {first, ::Test::PackedAsset(kId)}) {
    ASSERT_EQ(package.Add(asset), "");
  }
  ASSERT_EQ(package.Save(file), "");
  EXPECT_EQ(InstallFile(file, kInstallBinaryConfig), "$muk_installed;$muk_installed;");
  EXPECT_EQ(Tree().find("up.txt"), std::string::npos) << Tree();
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/config.grole")));
  EXPECT_EQ(MUKGetAssetInfo(kId).classKey, "Misc");

  const fs::path folder = folder_ / ("local/" + MUKGetInstallPath(kFirst));
  fs::create_directory_symlink(".", folder / "Link");
  for (const char* const name : {"box", "../content/box", "link/other"}) {
    WriteWholeFile(folder / "config.txt",
                   std::string("plid <plid:1:1>\nasset-filename \"") + name + '"');
    EXPECT_EQ(MUKFindArt(kFirst).IsNowhere(), std::string(name) != "box") << name;
  }
  fs::rename(file, folder_ / "new.zip");
  EXPECT_EQ(InstallFile(folder_ / "new.zip"), "$muk_already_installed;$muk_already_installed;");
  WriteWholeFile(folder_ / "new.txt", "kind archive\nassets {\n}\npackage-version 1");
  EXPECT_EQ(InstallFile(folder_ / "new.txt"), "$muk_unreadable_kpx;");
}

TEST_F(InstallTest, TakesAFolderAndLeavesItAsItIs) {
  Start();
  const char* const cases[][3] = {
      {"My Box", "plid <plid:1:7>", "$muk_installed;"},
      {"new", "plid <plid:1:1>\nquarle-build 2.5", "$muk_installed;"},
      {"brace", "plid <plid:1:4>\n}\nkind map", "$muk_config_tags_lost;$muk_installed;"},
      {"none", "", "$muk_unable_read_config_at;"},
      {"two", "plid <plid:1:2>", "$muk_unable_read_config_at;"},
      {"anonymous", "username x", "$muk_skipping_asset_at;"},
      {"bad", "plid <plid:1:3>", "$muk_package_file_bad_ext;$muk_skipping_asset_at;"},
  };
  for (const char* const each : {"My Box/Sub/mesh.txt", "two/Config.grole", "bad/a.exe"}) {
    WriteWholeFile(folder_ / ("in/" + std::string(each)), "");
  }
  for (const auto& [folder, config, told] : cases) {
    const std::string file = folder_ / ("in/" + std::string(folder) + "/config.txt");
    WriteWholeFile(file, config);
    EXPECT_EQ(InstallFile(file), told);
    EXPECT_EQ(ReadWholeFile(file), config);
  }
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/Sub/mesh.txt")));
  EXPECT_NE(Tree().find("\"My Box\""), std::string::npos) << "older ones know their files by it";
  EXPECT_EQ(Tree().find("\"new\""), std::string::npos);
}

// A start cleans up among the working folders: not while they are another process's work.
TEST_F(InstallTest, AnotherProcessMayStartMeanwhile) {
  const fs::path editing = folder_ / "editing";
  const ::Test::ChildProcess child([&] {
    atStep = [&] {
      const bool isOpen = fs::exists(editing) && !fs::is_empty(editing);
      return isOpen && ::Test::Eventually([&] { return fs::exists(folder_ / "go"); });
    };
    settings_.stepObserver = [](const char*) { atStep(); };
    Start();
    Live("i");
    MUKShutdown();
    return 0;
  });
  ASSERT_TRUE(::Test::Eventually([&] { return fs::exists(editing) && !fs::is_empty(editing); }));
  MUKInitialise(settings_);
  EXPECT_FALSE(fs::is_empty(editing));
  WriteWholeFile(folder_ / "go", "");
  EXPECT_EQ(child.AwaitEnd(), 0);
  EXPECT_EQ(State(), "I2");
}

}  // namespace
