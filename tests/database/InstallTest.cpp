#include "database/AssetInstall.h"

#include <functional>
#include <set>

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

class InstallTest : public Test::InstallTest {
 protected:
  bool Install(const TagContainer& content, std::uint32_t flags = 0) {
    return MUKInstallAsset(content, Stored(), &log_, flags);
  }
  std::string Installed(PLID id, const std::string& file) const {
    return folder_ / ("local/" + MUKGetInstallPath(id) + "/" + file);
  }
};

TEST_F(InstallTest, InstallsAllOfAPackage) {
  Start();
  MUKPackage package = Stored();
  TagContainer first =
      Content(kOne, "first", {{"a.txt", "alpha"}, {"config.txt", "plid <plid:9:9>"}});
  TagContainer needs;
  needs.SetPLID(Zef::PString("0"), kTwo);
  first.SetSubContainer(Zef::PString("plid-table"), needs);
  ASSERT_EQ(package.Add(first) + package.Add(Content(kTwo, "second", {{"b.txt", "beta"}})), "");
  const std::string file = folder_ / "new.kpx";
  ASSERT_EQ(package.Save(file), "");
  EXPECT_TRUE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "1 $muk_installed 1:1;1 $muk_installed 1:2;");
  EXPECT_EQ(ReadWholeFile(Installed(kOne, "a.txt")), "alpha");
  EXPECT_TRUE(MUKGetInstallPath(kOne).starts_with("content ")) << MUKGetInstallPath(kOne);
  EXPECT_EQ(MUKGetEditPath(kOne), "");
  EXPECT_EQ(MUKGetName(kOne), "first");
  EXPECT_FALSE(MUKGetMissingDependency(kOne));
  const std::string disk = OnDisk();
  EXPECT_FALSE(MUKInstallFile(file, &log_)) << "not a second time";
  EXPECT_EQ(Told(), "3 $muk_already_installed 1:1;3 $muk_already_installed 1:2;");
  EXPECT_EQ(OnDisk(), disk);
  const std::string records = Records();
  EXPECT_EQ(Restarted(), records);
  EXPECT_EQ(Restarted(true).size(), records.size()) << "from the folders";

  WriteWholeFile(file, "no package");
  EXPECT_FALSE(MUKInstallFile(file, &log_));
  EXPECT_EQ(Told(), "3 $muk_unreadable_kpx " + file + ';');
}

TEST_F(InstallTest, RefusesInOrder) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "held", {{"a.txt", "old"}})));
  Told();
  const MUKAssetInfo info = MUKGetAssetInfo(kOne);
  EXPECT_TRUE(info.valid && info.isPresent && info.isLatest && !info.isOpenForEdit &&
              !info.isLegacy);
  EXPECT_EQ(info.name + ' ' + std::string(info.classKey), "held Misc");
  const struct {
    std::uint32_t flags;
    const char* told;
  } cases[] = {{kInstallOverwrite, "3 $muk_skipping_open_for_edit 1:1;"},
               {kInstallOverwrite, "3 $muk_skipping_built_in 1:1;"},
               {kInstallOverwrite, "3 $muk_skipping_dls_item 1:1;"},
               {0, "3 $muk_already_installed 1:1;"}};
  MUKSetEditPath(kOne, "editing/held");
  MUKSetBuiltIn(kOne, true);
  MUKSetPatched(kOne, true);
  for (const auto& c : cases) {
    const std::string before = OnDisk() + Records();
    EXPECT_FALSE(Install(Content(kOne, "new", {{"a.txt", "new"}}), c.flags));
    EXPECT_EQ(Told(), c.told);
    EXPECT_EQ(OnDisk() + Records(), before);
    if (!MUKGetEditPath(kOne).empty()) {
      MUKSetEditPath(kOne, "");
    } else if (MUKGetBuiltIn(kOne)) {
      MUKSetBuiltIn(kOne, false);
    }
  }
}

TEST_F(InstallTest, OverwritesWhole) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "old", {{"a.txt", "old"}, {"gone.txt", "x"}})));
  const std::string place = MUKGetInstallPath(kOne);
  const std::uint32_t size = MUKGetSizeBytes(kOne);
  Told();
  const TagContainer content = Content(kOne, "new", {{"a.txt", std::string(999, 'n')}});
  EXPECT_TRUE(Install(content, kInstallOverwrite | kInstallBinaryConfig));
  EXPECT_EQ(Told(), "1 $muk_installed 1:1;");
  EXPECT_EQ(MUKGetInstallPath(kOne), place);
  EXPECT_EQ(MUKGetName(kOne), "new");
  EXPECT_GT(MUKGetSizeBytes(kOne), size + 900) << "measured anew";
  EXPECT_FALSE(fs::exists(Installed(kOne, "gone.txt")));
  EXPECT_FALSE(fs::exists(Installed(kOne, "config.txt")));
  TagContainer config;
  ASSERT_TRUE(LoadTagFile(config, {}, Installed(kOne, "config.grole")));
  EXPECT_EQ(config.GetPLID(Zef::PString("plid")), kOne);
  EXPECT_FALSE(config.HasTag(Zef::PString("files")));
  EXPECT_EQ(OnDisk().find("editing/"), std::string::npos);
}

// Whatever a package or the disk does: the documented messages, and all as it was.
TEST_F(InstallTest, AFailureLeavesEverythingAsItWas) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "held", {{"a.txt", "old"}})));
  ::Test::AddRecord(kTwo, "absent");
  MUKSetListed(kTwo, true);
  Told();
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
  const auto block = [&](const char* name) {
    fs::remove_all(folder_ / name);
    WriteWholeFile(folder_ / name, "in the way");
  };
  const struct {
    const char* what;
    std::vector<std::string> keys;
    std::function<void(TagContainer content, TagContainer files)> spoil;
  } cases[] = {
      {"a text for a file",
       {"failed_install"},
       [&](TagContainer, TagContainer files) { set(files, "b.txt", "text"); }},
      {"a second identifier for those who fold keys",
       {"failed_install"},
       [&](TagContainer content, TagContainer) { set(content, "PLID", "<plid:6:6>"); }},
      {"a config too large to be read",
       {"failed_install"},
       [&](TagContainer content, TagContainer) { set(content, "x", std::string(5 << 20, 'x')); }},
      {"a config too deep to be written",
       {"failed_install"},
       [&](TagContainer content, TagContainer) { nest(content); }},
      {"files too deep",
       {"failed_install"},
       [&](TagContainer, TagContainer files) { nest(files); }},
      {"no place to commit to",
       {"commit_database_error", "failed_install"},
       [&](TagContainer, TagContainer) { block("local"); }},
      {"no place to edit in",
       {"open_file_error", "write_error"},
       [&](TagContainer, TagContainer) { block("editing"); }},
  };
  for (const auto& c : cases) {
    for (const PLID& id : {kOne, kTwo, PLID(1, 3, 0)}) {
      const TagContainer content = Content(id, "new", {{"a.txt", "new"}});
      c.spoil(content, content.GetSubContainer(Zef::PString("files")));
      const std::string before = OnDisk() + Records();
      std::string told;
      for (const std::string& key : c.keys) {
        told += "3 $muk_" + key + ' ' + id.ToDelimited(':') + ';';
      }
      EXPECT_FALSE(Install(content, kInstallOverwrite)) << c.what;
      EXPECT_EQ(Told(), told) << c.what;
      EXPECT_EQ(OnDisk() + Records(), before) << c.what;
    }
  }
  EXPECT_FALSE(Install(Content(PLID(), "nobody", {})));
  EXPECT_EQ(Told(), "3 $muk_write_error " + PLID().ToDelimited(':') + ';');
}

TEST_F(InstallTest, TakesAFolderAsItIs) {
  Start();
  const ::Test::TempFolder outside;
  const auto put = [&](const char* name, const char* bytes) {
    WriteWholeFile(outside / name, bytes);
  };
  put("My Box/config.txt", "plid <plid:1:1>\nusername \"box\"\n");
  put("My Box/Sub/mesh.txt", "mesh");
  EXPECT_TRUE(MUKInstallFile(outside / "My Box/config.txt", &log_));
  EXPECT_EQ(Told(), "1 $muk_installed 1:1;");
  EXPECT_EQ(ReadWholeFile(Installed(kOne, "Sub/mesh.txt")), "mesh");
  EXPECT_NE(ReadWholeFile(Installed(kOne, "config.txt")).find("\"My Box\""), std::string::npos);
  EXPECT_EQ(ReadWholeFile(outside / "My Box/config.txt").find("asset-filename"), std::string::npos);
  put("new/config.txt", "plid <plid:1:2>\nquarle-build 2.5");
  EXPECT_TRUE(MUKInstallFolder({{}, outside / "new"}, &log_));
  EXPECT_EQ(ReadWholeFile(Installed(kTwo, "config.txt")).find("asset-filename"), std::string::npos);

  put("none/a.txt", "");
  put("anonymous/config.txt", "username \"nobody\"");
  put("bad/config.txt", "plid <plid:1:3>");
  put("bad/a.exe", "");
  Told();
  const std::string before = OnDisk() + Records();
  const struct {
    const char* folder;
    std::string told;
  } cases[] = {{"none", "2 $muk_unable_read_config_at " + (outside / "none") + ';'},
               {"anonymous", "2 $muk_skipping_asset_at " + (outside / "anonymous") + ';'},
               {"bad", "3 $muk_package_file_bad_ext " + (outside / "bad/a.exe") +
                           ";2 $muk_skipping_asset_at " + (outside / "bad") + ';'}};
  for (const auto& c : cases) {
    EXPECT_FALSE(MUKInstallFolder({{}, outside / c.folder}, &log_));
    EXPECT_EQ(Told(), c.told);
  }
  EXPECT_EQ(OnDisk() + Records(), before);
}

TEST_F(InstallTest, NamesThatClimbLeadNowhere) {
  Start();
  EXPECT_TRUE(Install(Content(kOne, "climber",
                              {{"../up.txt", "x"},
                               {"/tmp/up.txt", "x"},
                               {"..", "x"},
                               {"a\\..\\..\\up.txt", "x"},
                               {"c:up.txt", "x"},
                               {"ok.txt", "x"}})));
  const std::string disk = OnDisk();
  EXPECT_EQ(disk.find("up.txt"), std::string::npos) << disk;
  EXPECT_TRUE(fs::exists(Installed(kOne, "ok.txt")));
  EXPECT_FALSE(fs::exists(folder_.Path().parent_path() / "up.txt"));
}

TEST_F(InstallTest, FindsPictures) {
  Start();
  ASSERT_TRUE(Install(Content(kOne, "box", {{"box_art_icon.texture", "i"}, {"up.texture", "u"}})));
  const auto art = [] { return fs::path(MUKFindArt(kOne).path).filename().string(); };
  const std::string config = Installed(kOne, "config.txt");
  const struct {
    const char* tags;
    const char* art;
  } cases[] = {{"asset-filename box", "box_art_icon.texture"},
               {"asset-filename \"../box\"", ""},
               {"category-class TX\nicon-texture \"up.texture\"", "up.texture"}};
  for (const auto& c : cases) {
    WriteWholeFile(config, std::string("plid <plid:1:1>\n") + c.tags);
    MUKSetCategory(kOne, std::string_view(c.tags).starts_with("cat") ? "TX" : "SY");
    EXPECT_EQ(art(), c.art) << c.tags;
  }
  const std::string picture = folder_ / ("cache/thumbnails/" + kOne.ToWords() + ".jpg");
  EXPECT_EQ(MUKFindThumbnail(kOne), "");
  WriteWholeFile(picture, "jpg");
  EXPECT_EQ(MUKFindThumbnail(kOne), picture);
}

constexpr PLID kCopy(1, 9, 0);
int stepsLeft = 0;  // of the child alone

class InstallCrashTest : public InstallTest {
 protected:
  /// Runs an operation in a child that is killed after so many steps. False when it came to its
  /// end.
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
  /// "" for no path, "old" or "new" for a folder that is whole.
  std::string Judge(const std::string& folder) const {
    if (folder.empty()) return "";
    std::string files;
    for (const char* name : {"a.txt", "b.txt"}) {
      const fs::path file = folder_ / (folder + "/" + name);
      files += fs::exists(file) ? ReadWholeFile(file) : "-";
    }
    if (!fs::exists(folder_ / (folder + "/config.txt"))) return "no config";
    return files == "old-" ? "old" : files == "newnew" ? "new" : "broken " + files;
  }
  /// What the next start finds: "installed|open for edit" of an asset.
  std::string Found(PLID id) {
    const fs::path answer = folder_ / "cache/found";
    const ::Test::ChildProcess child([&] {
      Start();
      const std::string place = MUKGetInstallPath(id);
      WriteWholeFile(
          answer, Judge(place.empty() ? "" : "local/" + place) + '|' + Judge(MUKGetEditPath(id)));
      MUKShutdown();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
    return ReadWholeFile(answer);
  }
};

TEST_F(InstallCrashTest, KilledAnywhereAnAssetIsThereWholeOrNotAtAll) {
  const auto install = [&](PLID id) {
    Install(Content(id, "box", {{"a.txt", "new"}, {"b.txt", "new"}}), kInstallOverwrite);
  };
  const struct {
    const char* what;
    PLID id;
    std::set<std::string> allowed;
    std::function<void()> operation;
  } cases[] = {
      {"install", kTwo, {"|", "|new", "new|new", "new|"}, [&] { install(kTwo); }},
      {"overwrite",
       kOne,
       {"old|", "old|old", "old|new", "new|new", "new|"},
       [&] { install(kOne); }},
      {"clone", kCopy, {"|", "|old"}, [&] { (void)MUKCloneAsset(kOne, kCopy, false, &log_); }},
  };
  for (const auto& c : cases) {
    int steps = 0;
    for (bool killed = true; killed; ++steps) {
      fs::remove_all(folder_.Path());
      Put("local/held", "plid <plid:1:1>\nusername \"held\"\n");
      WriteWholeFile(folder_ / "local/held/a.txt", "old");
      killed = RunUntil(steps, c.operation);
      const std::string found = Found(c.id);
      EXPECT_TRUE(c.allowed.contains(found)) << c.what << " killed at " << steps << ": " << found;
      if (c.id != kOne) {
        EXPECT_EQ(Found(kOne), "old|") << c.what << " killed at " << steps;
      }
    }
    EXPECT_GE(steps, 5) << c.what << ": the steps are all there";
  }
}

}  // namespace
