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

constexpr PLID kClone(1, 9, 0);
constexpr auto kOver = kInstallOverwrite;
using Spoil = std::function<void(TagContainer& asset, TagContainer& files)>;

void Set(TagContainer& tags, const char* key, std::string_view text) {
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
  /// The second generation, after `spoil` was at it.
  bool Install(std::uint32_t flags, const Spoil& spoil = {}) {
    TagContainer asset = Content(kId, {{"a.txt", ""}});
    TagContainer files = asset.GetSubContainer(Zef::PString("files"));
    files.SetSubContainer(Zef::PString("parts"),
                          Content(kId, {{"body.txt", "2"}}).GetSubContainer(Zef::PString("files")));
    Set(asset, "name", "2");
    if (spoil) spoil(asset, files);
    return MUKInstallAsset(asset, Stored(), &log_, flags);
  }
};

// Whatever a record, a package or the disk is like: what was told, and that all is as before or as
// after, on disk, in memory, and after a start with and without the index.
TEST_F(InstallTest, InstallsWholeOrLeavesEverythingAsItWas) {
  const Spoil none;
  const struct {
    const char* before;
    std::uint32_t flags;
    Spoil spoil;
    const char* told;
    const char* after;
  } cases[] = {
      {"", 0, none, "1 installed 1:7;", "I2"},
      {"", kOver, none, "1 installed 1:7;", "I2"},
      {"ncd", 0, none, "1 installed 1:7;", "I2"},
      {"nc", kOver, none, "1 installed 1:7;", "I2"},
      {"nc", 0, none, "3 already_installed 1:7;", "I1"},
      {"ncobp", kOver, none, "3 skipping_open_for_edit 1:7;", "E1I1"},
      {"ncbp", kOver, none, "3 skipping_built_in 1:7;", "I1"},
      {"ncp", kOver, none, "3 skipping_dls_item 1:7;", "I1"},
      {"nc", kOver, [](auto&, auto&) { MUKSetPermitCommit(kId, false); },
       "3 commit_perm 1:7;3 failed_install 1:7;", "I1"},
      {"nc", kOver, [](auto&, auto&) { MUKSetPermitEdit(kId, false); },
       "3 edit_perm 1:7;3 write_error 1:7;", "I1"},
      {"", 0, [](auto& asset, auto&) { Set(asset, "plid", "none"); }, "3 write_error <NULL>;", "-"},
      {"", 0, [&](auto&, auto&) { WriteWholeFile(folder_ / "editing", ""); },
       "3 open_file_error 1:7;3 write_error 1:7;", "-"},
  };
  for (const auto& each : cases) {
    Renew();
    const std::string_view steps = each.before;
    ASSERT_TRUE(Live(steps.substr(0, steps.find('p'))));
    MUKSetPatched(kId, steps.ends_with('p'));
    const std::string tree = Tree();
    EXPECT_EQ(Install(each.flags, each.spoil), each.told[0] == '1') << each.told;
    EXPECT_EQ(Told(), each.told);
    EXPECT_EQ(State(), each.after) << each.told;
    EXPECT_EQ(Tree() == tree, each.told[0] != '1') << Tree();
    for (const bool crashed : {false, true}) {
      Restart(crashed);
      EXPECT_EQ(State(), each.after) << each.told;
    }
  }
}

TEST_F(InstallTest, HostileContentIsRefusedWhole) {
  const Spoil hostile[] = {
      [](auto&, auto& files) { Set(files, "b.txt", "a text for a file"); },
      [](auto&, auto& files) { Nest(files); },
      [](auto& asset, auto&) { Nest(asset); },
      [](auto& asset, auto&) { Set(asset, "x", std::string(5 << 20, 'x')); },
      [](auto& asset, auto&) { Set(asset, "PLID", "<plid:6:6>"); },  // as text the same key
  };
  for (const char* const before : {"", "ncd", "nc"}) {
    for (const Spoil& spoil : hostile) {
      Renew();
      ASSERT_TRUE(Live(before));
      const std::string state = State();
      const std::string tree = Tree();
      EXPECT_FALSE(Install(kOver, spoil));
      EXPECT_EQ(Told(), "3 failed_install 1:7;");
      EXPECT_EQ(State() + Tree(), state + tree);
    }
  }
}

TEST_F(InstallTest, InstallsAllOfAPackageAndNothingOutside) {
  Start();
  const std::string file = folder_ / "new.kpx";
  MUKPackage package = Stored();
  ASSERT_EQ(package.Add(Content({1, 1, 0}, {{"../up.txt", ""},
                                            {"/tmp/up.txt", ""},
                                            {"a\\..\\up.txt", ""},
                                            {"config.txt", "plid <plid:9:9>"},
                                            {"box_art_icon.texture", "icon"}})),
            "");
  ASSERT_EQ(package.Add(Content(kId, {})), "");
  ASSERT_EQ(package.Save(file), "");
  EXPECT_TRUE(MUKInstallFile(file, &log_, kInstallBinaryConfig));
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  WriteWholeFile(file, "no package");
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(),
            "1 installed 1:1;1 installed 1:7;3 already_installed 1:1;"
            "3 already_installed 1:7;3 unreadable_kpx new.kpx;");
  EXPECT_EQ(Tree().find("up.txt"), std::string::npos) << Tree();
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/config.grole")));
  const std::string config = folder_ / ("local/" + MUKGetInstallPath({1, 1, 0}) + "/config.txt");
  for (const char* const name : {"box", "../content/box"}) {
    WriteWholeFile(config, std::string("plid <plid:1:1>\nasset-filename \"") + name + '"');
    EXPECT_EQ(MUKFindArt({1, 1, 0}).IsNowhere(), name[0] == '.');
  }
  const MUKAssetInfo info = MUKGetAssetInfo(kId);
  EXPECT_TRUE(info.valid && info.isPresent && info.isLatest && !info.isOpenForEdit);
  EXPECT_EQ(info.classKey, "Misc");
}

TEST_F(InstallTest, TakesAFolderAndLeavesItAsItIs) {
  Start();
  const struct {
    const char* folder;
    const char* config;
    const char* told;
  } cases[] = {
      {"My Box", "plid <plid:1:7>", "1 installed 1:7;"},
      {"new", "plid <plid:1:1>\nquarle-build 2.5", "1 installed 1:1;"},
      {"none", "", "2 unable_read_config_at in/none;"},
      {"anonymous", "username x", "2 skipping_asset_at in/anonymous;"},
      {"bad", "plid <plid:1:3>", "3 package_file_bad_ext in/bad/a.exe;2 skipping_asset_at in/bad;"},
  };
  WriteWholeFile(folder_ / "in/My Box/Sub/mesh.txt", "mesh");
  WriteWholeFile(folder_ / "in/bad/a.exe", "");
  for (const auto& each : cases) {
    const std::string file = folder_ / ("in/" + std::string(each.folder) + "/config.txt");
    WriteWholeFile(file, each.config);
    EXPECT_EQ(MUKInstallFile(file, &log_), each.told[0] == '1');
    EXPECT_EQ(Told(), each.told);
    EXPECT_EQ(ReadWholeFile(file), each.config);
  }
  EXPECT_TRUE(fs::exists(folder_ / (InstallFolder() + "/Sub/mesh.txt")));
  EXPECT_NE(Tree().find("\"My Box\""), std::string::npos) << "older ones know their files by it";
  EXPECT_EQ(Tree().find("\"new\""), std::string::npos);
}

int stepsLeft = 0;  // of the child alone

TEST_F(InstallTest, KilledAnywhereAnAssetIsThereWholeOrNotAtAll) {
  const auto clone = [this] { static_cast<void>(MUKCloneAsset(kId, kClone, false, &log_)); };
  const struct {
    const char* before;
    std::function<void()> operation;
    std::set<std::string> allowed;  ///< states of the asset, and of its clone behind a blank
  } cases[] = {
      {"", [&] { Install(0); }, {"- !", "E2 !", "E2I2 !", "I2 !"}},
      {"nc", [&] { Install(kOver); }, {"I1 !", "E1I1 !", "E2I1 !", "E2I2 !", "I2 !"}},
      {"nc", clone, {"I1 !", "I1 1"}},
  };
  const ::Test::TempFolder told;
  for (const auto& each : cases) {
    int status = -1;
    for (int steps = 0; status != 0; ++steps) {
      fs::remove_all(folder_.Path());
      fs::create_directories(folder_.Path());
      const auto run = [&](const std::function<void()>& body) {
        return ::Test::ChildProcess([&] {
                 settings_.stepObserver = [](const char*) {
                   if (stepsLeft-- == 0) raise(SIGKILL);
                 };
                 stepsLeft = -1;
                 Start();
                 body();
                 MUKShutdown();
                 return 0;
               })
            .AwaitEnd();
      };
      ASSERT_EQ(run([&] { Live(each.before); }), 0);
      status = run([&] {
        stepsLeft = steps;
        each.operation();
      });
      ASSERT_EQ(run([&] {
                  const std::string edit = MUKGetEditPath(kClone);
                  WriteWholeFile(told / "state",
                                 State() + ' ' + (edit.empty() ? "!" : Generation(edit)));
                }),
                0);
      EXPECT_TRUE(each.allowed.contains(ReadWholeFile(told / "state")))
          << ReadWholeFile(told / "state") << " at " << steps;
      EXPECT_TRUE(status != 0 || steps >= 5) << "the steps are all there";
    }
  }
}

}  // namespace
