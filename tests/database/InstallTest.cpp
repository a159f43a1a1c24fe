#include "database/AssetInstall.h"

#include <functional>
#include <set>

#include "database/AssetArt.h"
#include "database/AssetClone.h"
#include "database/AssetInfo.h"
#include "tests/database/InstallFixture.h"
#include "tests/support/ChildProcess.h"

namespace {

namespace fs = std::filesystem;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

constexpr auto kOver = kInstallOverwrite;

void Set(TagContainer tags, const char* key, std::string_view text) {
  tags.SetString(Zef::PString(key), text);
}

void Nest(TagContainer tags) {
  for (int depth = 0; depth < 1100; ++depth) {
    TagContainer inner;
    inner.Ensure();
    tags.SetSubContainer(Zef::PString("d"), inner);
    tags = inner;
  }
}

class InstallTest : public Test::InstallTest {
 protected:
  /// The second generation, with something wrong.
  bool Install(std::uint32_t flags, char fault = '-') {
    const Zef::PString filesKey("files");
    const TagContainer asset = Content(kId, {});
    TagContainer files = asset.GetSubContainer(filesKey);
    files.SetSubContainer(Zef::PString("parts"),
                          Content(kId, {{"body.txt", "2"}}).GetSubContainer(filesKey));
    Set(asset, "name", "2");
    if (fault == 'c') MUKSetPermitCommit(kId, false);
    if (fault == 'e') MUKSetPermitEdit(kId, false);
    if (fault == 'b') WriteWholeFile(folder_ / "editing", "a file bars the way");
    if (fault == 'i') Set(asset, "plid", "none");
    if (fault == 'k') Set(asset, "PLID", "<plid:6:6>");  // in a text the same key
    if (fault == 'x') Set(asset, "x", std::string(5 << 20, 'x'));
    if (fault == 'n') Nest(asset);
    if (fault == 'd') Nest(files);
    if (fault == 't') Set(files, "b.txt", "a text for a file");
    MUKPackage package;
    Set(package.Tags(), "compression", "");
    return MUKInstallAsset(asset, package, &log_, flags);
  }
};

// Whatever a record, a package or the disk is like: what was told, and that all is as before or as
// after, on disk, in memory, and after a start with and without the index.
TEST_F(InstallTest, InstallsWholeOrLeavesEverythingAsItWas) {
  const struct {
    const char* before;  ///< 'p' at the end: came in through a patch
    std::uint32_t flags;
    char fault;
    const char* told;
    const char* after;
  } cases[] = {
      {"", 0, '-', "1 installed 1:7;", "I2"},
      {"ncd", kOver, '-', "1 installed 1:7;", "I2"},
      {"nc", kOver, '-', "1 installed 1:7;", "I2"},
      {"nc", 0, '-', "3 already_installed 1:7;", "I1"},
      {"ncobp", kOver, '-', "3 skipping_open_for_edit 1:7;", "E1I1"},
      {"ncbp", kOver, '-', "3 skipping_built_in 1:7;", "I1"},
      {"ncp", kOver, '-', "3 skipping_dls_item 1:7;", "I1"},
      {"nc", kOver, 'c', "3 commit_perm 1:7;3 failed_install 1:7;", "I1"},
      {"nc", kOver, 'e', "3 edit_perm 1:7;3 write_error 1:7;", "I1"},
      {"", 0, 'b', "3 open_file_error 1:7;3 write_error 1:7;", "-"},
      {"", 0, 'i', "3 write_error <NULL>;", "-"},
      {"nc", kOver, 'k', "3 failed_install 1:7;", "I1"},
      {"ncd", 0, 'x', "3 failed_install 1:7;", "."},
      {"", 0, 'n', "3 failed_install 1:7;", "-"},
      {"nc", kOver, 'd', "3 failed_install 1:7;", "I1"},
      {"", 0, 't', "3 failed_install 1:7;", "-"},
  };
  for (const auto& each : cases) {
    Renew();
    const std::string_view steps = each.before;
    ASSERT_TRUE(Live(steps.substr(0, steps.find('p'))));
    MUKSetPatched(kId, steps.ends_with('p'));
    const std::string tree = Tree();
    EXPECT_EQ(Install(each.flags, each.fault), each.told[0] == '1') << each.fault;
    EXPECT_EQ(Told(), each.told);
    EXPECT_EQ(Tree() == tree, each.told[0] != '1') << Tree();
    for (const bool crashed : {false, true}) {
      EXPECT_EQ(State(), each.after) << each.told;
      Restart(crashed);
    }
    EXPECT_EQ(State(), each.after) << each.told;
  }
}

TEST_F(InstallTest, InstallsAllOfAPackageAndNothingOutside) {
  Start();
  const std::string file = folder_ / "new.kpx";
  MUKPackage package;
  Set(package.Tags(), "compression", "");
  const TagContainer first = Content({1, 1, 0}, {{"../up.txt", ""},
                                                 {"/tmp/up.txt", ""},
                                                 {"config.txt", "plid <plid:9:9>"},
                                                 {"a\\..\\up.txt", ""},
                                                 {"box_art_icon.texture", "icon"}});
  ASSERT_EQ(package.Add(first), "");
  ASSERT_EQ(package.Add(Content(kId, {})), "");
  ASSERT_EQ(package.Save(file), "");
  EXPECT_TRUE(MUKInstallFile(file, &log_, kInstallBinaryConfig));
  EXPECT_EQ(Told(), "1 installed 1:1;1 installed 1:7;");
  EXPECT_EQ(Tree().find("up.txt"), std::string::npos) << Tree();
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/config.grole")));
  EXPECT_EQ(MUKGetAssetInfo(kId).classKey, "Misc");
  const std::string config = folder_ / ("local/" + MUKGetInstallPath({1, 1, 0}) + "/config.txt");
  for (const char* const name : {"box", "../content/box"}) {
    WriteWholeFile(config, std::string("plid <plid:1:1>\nasset-filename \"") + name + '"');
    EXPECT_EQ(MUKFindArt({1, 1, 0}).IsNowhere(), name[0] == '.');
  }
  WriteWholeFile(file, "no package");
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "3 unreadable_kpx new.kpx;");
}

TEST_F(InstallTest, TakesAFolderAndLeavesItAsItIs) {
  Start();
  const char* const cases[][3] = {
      {"My Box", "plid <plid:1:7>", "1 installed 1:7;"},
      {"new", "plid <plid:1:1>\nquarle-build 2.5", "1 installed 1:1;"},
      {"none", "", "2 unable_read_config_at in/none;"},
      {"anonymous", "username x", "2 skipping_asset_at in/anonymous;"},
      {"bad", "plid <plid:1:3>", "3 package_file_bad_ext in/bad/a.exe;2 skipping_asset_at in/bad;"},
  };
  WriteWholeFile(folder_ / "in/My Box/Sub/mesh.txt", "mesh");
  WriteWholeFile(folder_ / "in/bad/a.exe", "");
  for (const auto& [folder, config, told] : cases) {
    const std::string file = folder_ / ("in/" + std::string(folder) + "/config.txt");
    WriteWholeFile(file, config);
    EXPECT_EQ(MUKInstallFile(file, &log_), told[0] == '1');
    EXPECT_EQ(Told(), told);
    EXPECT_EQ(ReadWholeFile(file), config);
  }
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/Sub/mesh.txt")));
  EXPECT_NE(Tree().find("\"My Box\""), std::string::npos) << "older ones know their files by it";
  EXPECT_EQ(Tree().find("\"new\""), std::string::npos);
}

int stepsLeft = 0;  // of the child alone

TEST_F(InstallTest, KilledAnywhereAnAssetIsThereWholeOrNotAtAll) {
  constexpr PLID kClone(1, 9, 0);
  const ::Test::TempFolder told;
  // Writes down the asset's state and its clone's, and gives 0 unless it was killed.
  const auto run = [&](int steps, const std::function<void()>& operation) {
    const ::Test::ChildProcess child([&] {
      settings_.stepObserver = [](const char*) {
        if (stepsLeft-- == 0) raise(SIGKILL);
      };
      stepsLeft = -1;
      Start();
      stepsLeft = steps;
      operation();
      const std::string edit = MUKGetEditPath(kClone);
      WriteWholeFile(told / "state", State() + ' ' + (edit.empty() ? "" : Generation(edit)));
      MUKShutdown();
      return 0;
    });
    return child.AwaitEnd();
  };
  const struct {
    const char* before;
    std::function<void()> operation;
    std::set<std::string> allowed;
  } cases[] = {
      {"", [&] { Install(0); }, {"- ", "E2 ", "E2I2 ", "I2 "}},
      {"nc", [&] { Install(kOver); }, {"I1 ", "E1I1 ", "E2I1 ", "E2I2 ", "I2 "}},
      {"nc", [&] { EXPECT_EQ(MUKCloneAsset(kId, kClone, false, &log_), kClone); }, {"I1 ", "I1 1"}},
  };
  for (const auto& each : cases) {
    int status = -1;
    for (int steps = 0; status != 0; ++steps) {
      fs::remove_all(folder_.Path());
      fs::create_directories(folder_.Path());
      ASSERT_EQ(run(-1, [&] { Live(each.before); }), 0);
      status = run(steps, each.operation);
      ASSERT_EQ(run(-1, [] {}), 0);
      const std::string state = ReadWholeFile(told / "state");
      EXPECT_TRUE(each.allowed.contains(state)) << state << " at " << steps;
      EXPECT_TRUE(status != 0 || steps >= 5) << "the steps are all there";
    }
  }
}

}  // namespace
