#include "database/AssetInstall.h"

#include <functional>

#include "database/AssetArt.h"
#include "database/AssetClone.h"
#include "database/AssetInfo.h"
#include "tagdata/TagFiles.h"
#include "tests/database/InstallFixture.h"
#include "tests/support/ChildProcess.h"

namespace {

namespace fs = std::filesystem;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

constexpr PLID kOne(1, 1, 0);
constexpr PLID kTwo(1, 2, 0);
constexpr PLID kThree(1, 3, 0);

class InstallTest : public Test::InstallTest {
 protected:
  bool Install(const TagContainer& content, std::uint32_t flags = kInstallOverwrite) {
    return MUKInstallAsset(content, Stored(), &log_, flags);
  }
  std::string Installed(PLID id, const std::string& file) const {
    return folder_ / ("local/" + MUKGetInstallPath(id) + "/" + file);
  }
};

TEST_F(InstallTest, InstallsAllOfAPackageAndNothingOutside) {
  Start();
  MUKPackage package = Stored();
  const TagContainer first = Content(kOne, "first",
                                     {{"a.txt", "alpha"},
                                      {"config.txt", "plid <plid:9:9>"},
                                      {"../up.txt", ""},
                                      {"/tmp/up.txt", ""},
                                      {"a\\..\\..\\up.txt", ""},
                                      {"box_art_icon.texture", "icon"}});
  const std::string file = folder_ / "new.kpx";
  ASSERT_EQ(package.Add(first), "");
  ASSERT_EQ(package.Add(Content(kTwo, "second", {})), "");
  ASSERT_EQ(package.Save(file), "");
  EXPECT_TRUE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "1 $muk_installed 1:1;1 $muk_installed 1:2;");
  const std::string state = State();
  EXPECT_EQ(state.find("up.txt"), std::string::npos) << state;
  EXPECT_EQ(state.find("9:9"), std::string::npos) << state;
  EXPECT_EQ(ReadWholeFile(Installed(kOne, "a.txt")), "alpha");
  const MUKAssetInfo info = MUKGetAssetInfo(kOne);
  EXPECT_TRUE(info.valid && info.isPresent && info.isLatest && !info.isOpenForEdit);
  EXPECT_EQ(info.name + ' ' + std::string(info.classKey), "first Misc");
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "3 $muk_already_installed 1:1;3 $muk_already_installed 1:2;");
  EXPECT_EQ(State(), state);
  EXPECT_EQ(Restarted(), state);
  EXPECT_EQ(Restarted(true), state) << "from the folders";

  const auto art = [&](const char* tags) {
    WriteWholeFile(Installed(kOne, "config.txt"), std::string("plid <plid:1:1>\n") + tags);
    return fs::path(MUKFindArt(kOne).path).filename().string();
  };
  EXPECT_EQ(art("asset-filename box"), "box_art_icon.texture");
  EXPECT_EQ(art("asset-filename \"../content/box\""), "");
  WriteWholeFile(file, "no package");
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "3 $muk_unreadable_kpx " + file + ';');
}

TEST_F(InstallTest, OverwritesWholeWhatItMay) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "old", {{"a.txt", "old"}, {"gone.txt", ""}})));
  const std::uint32_t size = MUKGetSizeBytes(kOne);
  const TagContainer content = Content(kOne, "new", {{"a.txt", std::string(999, 'n')}});
  const std::function<void()> before[] = {
      [] { MUKSetEditPath(kOne, "editing/x"), MUKSetBuiltIn(kOne, true); },
      [] { MUKSetEditPath(kOne, ""), MUKSetPatched(kOne, true); },
      [] { MUKSetBuiltIn(kOne, false); }, [] { MUKSetPatched(kOne, false); }};
  const char* const told[] = {"3 $muk_skipping_open_for_edit 1:1;", "3 $muk_skipping_built_in 1:1;",
                              "3 $muk_skipping_dls_item 1:1;", "1 $muk_installed 1:1;"};
  for (std::size_t i = 0; i < std::size(told); ++i) {
    Told();
    before[i]();
    const std::string state = State();
    EXPECT_EQ(Install(content, kInstallOverwrite | kInstallBinaryConfig), i == 3);
    EXPECT_EQ(Told(), told[i]);
    EXPECT_EQ(State() == state, i < 3) << told[i];
  }
  EXPECT_EQ(MUKGetName(kOne), "new");
  EXPECT_GT(MUKGetSizeBytes(kOne), size + 900) << "measured anew";
  EXPECT_FALSE(fs::exists(Installed(kOne, "gone.txt")) ||
               fs::exists(Installed(kOne, "config.txt")));
  TagContainer config;
  ASSERT_TRUE(LoadTagFile(config, {}, Installed(kOne, "config.grole")));
  EXPECT_FALSE(config.HasTag(Zef::PString("files")));
  const std::string state = State();
  EXPECT_EQ(Restarted(), state);
}

// Whatever a package or the disk does: the documented messages, and all as it was.
TEST_F(InstallTest, AFailureLeavesEverythingAsItWas) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "held", {{"a.txt", "old"}})));
  ::Test::AddRecord(kTwo, "absent");
  const auto set = [](TagContainer content, const char* key, std::string_view text) {
    content.SetString(Zef::PString(key), text);
  };
  const auto nest = [](TagContainer content) {
    for (int depth = 0; depth < 1100; ++depth) {
      TagContainer inner;
      inner.Ensure();
      content.SetSubContainer(Zef::PString("d"), inner);
      content = inner;
    }
  };
  const struct {
    const char* what;
    std::vector<std::string> keys;
    std::function<void(TagContainer content, TagContainer files)> spoil;
  } cases[] = {
      {"a text for a file",
       {"failed_install"},
       [&](auto, auto files) { set(files, "b.txt", "t"); }},
      {"two identifiers", {"failed_install"}, [&](auto c, auto) { set(c, "PLID", "<plid:6:6>"); }},
      {"a config too large to be read",
       {"failed_install"},
       [&](auto c, auto) { set(c, "x", std::string(5 << 20, 'x')); }},
      {"a deep config", {"failed_install"}, [&](auto c, auto) { nest(c); }},
      {"deep files", {"failed_install"}, [&](auto, auto files) { nest(files); }},
      {"no place to edit in",
       {"open_file_error", "write_error"},
       [&](auto, auto) {
         fs::remove_all(folder_ / "editing");
         WriteWholeFile(folder_ / "editing", "in the way");
       }},
  };
  for (const auto& c : cases) {
    for (const PLID& id : {kOne, kTwo, kThree}) {
      const TagContainer content = Content(id, "new", {{"a.txt", "new"}});
      c.spoil(content, content.GetSubContainer(Zef::PString("files")));
      const std::string state = State();
      std::string told;
      for (const auto& key : c.keys) told += "3 $muk_" + key + ' ' + id.ToDelimited(':') + ';';
      Told();
      EXPECT_FALSE(Install(content)) << c.what;
      EXPECT_EQ(Told(), told) << c.what;
      EXPECT_EQ(State(), state) << c.what;
    }
  }
  fs::remove(folder_ / "editing");
  MUKSetPermitCommit(kOne, false);
  const std::string state = State();
  EXPECT_FALSE(Install(Content(kOne, "new", {})));
  EXPECT_FALSE(Install(Content(PLID(), "nobody", {})));
  EXPECT_EQ(Told(), "3 $muk_commit_perm 1:1;3 $muk_failed_install 1:1;3 $muk_write_error " +
                        PLID().TagText() + ';');
  EXPECT_EQ(State(), state);
}

TEST_F(InstallTest, TakesAFolderAndLeavesItAsItIs) {
  Start();
  const ::Test::TempFolder outside;
  const auto told = [&](const std::string& folder, std::string_view config) {
    const std::string file = outside / (folder + "/config.txt");
    if (!config.empty()) WriteWholeFile(file, config);
    MUKInstallFile(file, &log_);
    EXPECT_EQ(fs::exists(file) ? ReadWholeFile(file) : "", config);
    std::string all = Told();
    for (std::size_t at = 0; (at = all.find(outside.Path().string())) != std::string::npos;) {
      all.erase(at, outside.Path().string().size() + 1);
    }
    return all;
  };
  WriteWholeFile(outside / "My Box/Sub/mesh.txt", "mesh");
  WriteWholeFile(outside / "bad/a.exe", "");
  EXPECT_EQ(told("My Box", "plid <plid:1:1>\n"), "1 $muk_installed 1:1;");
  EXPECT_EQ(told("new", "plid <plid:1:2>\nquarle-build 2.5"), "1 $muk_installed 1:2;");
  EXPECT_EQ(ReadWholeFile(Installed(kOne, "Sub/mesh.txt")), "mesh");
  EXPECT_NE(ReadWholeFile(Installed(kOne, "config.txt")).find("\"My Box\""), std::string::npos);
  EXPECT_EQ(ReadWholeFile(Installed(kTwo, "config.txt")).find("filename"), std::string::npos);
  EXPECT_EQ(told("none", ""), "2 $muk_unable_read_config_at none;");
  EXPECT_EQ(told("anonymous", "username x"), "2 $muk_skipping_asset_at anonymous;");
  EXPECT_EQ(told("bad", "plid <plid:1:3>"),
            "3 $muk_package_file_bad_ext bad/a.exe;2 $muk_skipping_asset_at bad;");
}

int stepsLeft = 0;  // of the child alone

class InstallCrashTest : public InstallTest {
 protected:
  /// Runs an operation in a child that is killed after so many steps. False when it was not.
  bool RunUntil(int steps, const std::function<void()>& operation) {
    const ::Test::ChildProcess child([&] {
      stepsLeft = -1;
      settings_.stepObserver = [](const char*) {
        if (stepsLeft-- == 0) raise(SIGKILL);
      };
      Start();
      stepsLeft = steps;
      operation();
      MUKShutdown();
      return 0;
    });
    return child.AwaitEnd() != 0;
  }
  /// All texts in an asset's folder; nothing for one without a config.
  std::string Judge(const std::string& folder) const {
    if (!fs::exists(folder_ / (folder + "/config.txt"))) return "";
    std::string texts;
    for (const char* name : {"a.txt", "b.txt"}) {
      const fs::path file = folder_ / (folder + "/" + name);
      if (fs::exists(file)) texts += ReadWholeFile(file);
    }
    return texts;
  }
  /// What the next start finds: "installed|open for edit;" of an asset and of kOne.
  std::string Found(PLID id) {
    const fs::path answer = folder_ / "cache/found";
    const ::Test::ChildProcess child([&] {
      Start();
      std::string found;
      for (const PLID& each : {id, kOne}) {
        const std::string place = MUKGetInstallPath(each);
        const std::string edit = MUKGetEditPath(each);
        found += (place.empty() ? "" : Judge("local/" + place)) + '|' +
                 (edit.empty() ? "" : Judge(edit)) + ';';
      }
      WriteWholeFile(answer, found);
      MUKShutdown();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
    return ReadWholeFile(answer);
  }
};

TEST_F(InstallCrashTest, KilledAnywhereAnAssetIsThereWholeOrNotAtAll) {
  const auto install = [&](PLID id) {
    Install(Content(id, "x", {{"a.txt", "N"}, {"b.txt", "N"}}));
  };
  const struct {
    PLID id;
    std::set<std::string> allowed;  // "O" is the old one whole, "NN" the new one
    std::function<void()> operation;
  } cases[] = {
      {kTwo, {"|;O|;", "|NN;O|;", "NN|NN;O|;", "NN|;O|;"}, [&] { install(kTwo); }},
      {kOne,
       {"O|;O|;", "O|O;O|O;", "O|NN;O|NN;", "NN|NN;NN|NN;", "NN|;NN|;"},
       [&] { install(kOne); }},
      {kThree, {"|;O|;", "|O;O|;"}, [&] { (void)MUKCloneAsset(kOne, kThree, false, &log_); }},
  };
  for (const auto& c : cases) {
    int steps = 0;
    for (bool killed = true; killed; ++steps) {
      for (const auto& entry : fs::directory_iterator(folder_.Path())) fs::remove_all(entry);
      WriteWholeFile(folder_ / "local/held/config.txt", "plid <plid:1:1>\n");
      WriteWholeFile(folder_ / "local/held/a.txt", "O");
      killed = RunUntil(steps, c.operation);
      const std::string found = Found(c.id);
      EXPECT_TRUE(c.allowed.contains(found)) << c.id.TagText() << " at " << steps << ": " << found;
    }
    EXPECT_GE(steps, 5) << "the steps are all there";
  }
}

}  // namespace
