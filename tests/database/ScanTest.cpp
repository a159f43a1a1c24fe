#include <filesystem>
#include <utility>

#include "database/AssetFolder.h"
#include "database/AssetUpdate.h"
#include "database/AssetVerify.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tagdata/TagFiles.h"
#include "tests/database/ScanFixture.h"

namespace {

namespace fs = std::filesystem;
using Test::ScanTest;
using Test::WriteWholeFile;

TEST_F(ScanTest, FindsAssetsWhereverTheyMayLie) {
  Put("World/base/Track/b", "plid <plid:1:2>");
  Put("World/base/Track/A", "plid <plid:1:1>", "CONFIG.TXT");
  Put("World/base/Track/A", "plid <plid:9:9>", "config.grole");
  Put("World/base/Track", "plid <plid:1:3>");  // a group is no asset
  Put("World/base/Track/art", "", "picture.jpg");
  Put("World/base/x/y/too-deep", "plid <plid:1:99>");
  Put("World/base.JA", "", "as a folder");
  WriteWholeFile(folder_ / "World/pack.Ja", "an archive");
  Put("World/pack/g/in", "plid <plid:1:6>");  // its content as mounted
  Put("trains/old/loco", "plid <plid:1:4>");
  Put("trains/old/bad", "plid oops");
  Put("LOCAL/x", "plid <plid:1:5>");
  Put("editing/y", "plid <plid:-2:7>");
  ScanReport report = Scan();
  EXPECT_EQ(Places(),
            "1:1 world/base/Track/A|@|;1:2 world/base/Track/b|@|;"
            "1:6 world/pack/g/in|@|;1:4 trains/old/loco|@|;1:5 |x@local|;-2:7 |@|editing/y;");
  EXPECT_EQ(Told(report),
            "noConfig world/base/Track/art;noConfig world/base/x/y;noIdentifier trains/old/bad;");
  EXPECT_EQ(report.Count(ScanOutcome::Found), 6u);
  EXPECT_EQ(report.Skipped(), 3u);

  index_.Clear();
  options_.archivesOnly = true;
  options_.markBuiltIn = true;
  report = Scan();
  EXPECT_EQ(Places(), "1:6 world/pack/g/in|@|;1:4 trains/old/loco|@|;");
  EXPECT_TRUE(index_.Find({1, 6, 0})->Has(AssetFlag::BuiltIn));
}

TEST_F(ScanTest, SkipsWhatItCannotReadAndSaysWhy) {
  Put("local/01", "", "readme");
  Put("local/02", "", "other.txt");
  fs::create_symlink("other.txt", folder_ / "local/02/config.txt");
  Put("local/03/config.txt", "plid <plid:1:1>");
  Put("local/04", "");
  Put("local/05", "HCS$ and no more", "config.grole");
  Put("local/06", "plid <plid:1:6>" + std::string(kLargestConfig, ' '));
  Put("local/07", "kind map");
  Put("local/08", "plid <NULL>");
  Put("local/09\\x", "plid <plid:1:9>");
  Put("local/10", "plid <plid:1:10>");
  Put("local/11", "plid <plid:1:10>\nname other");
  fs::create_directory_symlink("..", folder_ / "local/12");
  Put("disk/w/g/14", "plid <plid:1:14>");
  WriteWholeFile(folder_ / "disk/...ja", "stands for no folder of its own");
  WriteWholeFile(folder_ / "local/15/config.txt/x", "a folder is no config");
  TagContainer binary;
  binary.SetPLID("plid", {1, 15, 0});
  ASSERT_TRUE(SaveTagFile(binary, {}, folder_ / "local/15/config.grole"));
  fs::create_directory_symlink("disk", folder_ / "world");  // the areas themselves may be links
  fs::create_directory_symlink("w", folder_ / "disk/x");
  std::string deep = "local/13/";
  Put(deep, "plid <plid:1:13>");
  for (std::size_t depth = 0; depth <= kDeepestAssetFolder; ++depth) deep += "d/";
  Put(deep, "beyond", "file");
  WriteWholeFile(folder_ / "local/stray.txt", "plid <plid:1:99>");
  const ScanReport report = Scan();
  EXPECT_EQ(Places(), "1:14 world/w/g/14|@|;1:10 |10@local|;1:13 |13@local|;1:15 |15@local|;");
  EXPECT_EQ(Told(report),
            "badPath world/...ja;linkedFolder world/x;"
            "noConfig local/01;unreadableConfig local/02;unreadableConfig local/03;"
            "notTags local/04;notTags local/05;largeConfig local/06;noIdentifier local/07;"
            "noIdentifier local/08;badPath local/09\\x;conflict local/11;linkedFolder local/12;"
            "partlyMeasured local/13;");
  EXPECT_EQ(index_.Find({1, 10, 0})->name, "10") << "nothing of a conflicting folder is taken";
  EXPECT_EQ(index_.Find({1, 13, 0})->sizeBytes, 16u);
}

TEST_F(ScanTest, LinksToFilesAreFilesAndOneFolderIsScannedOnce) {
  Put("world/Pack/g/a", "plid <plid:1:1>");
  WriteWholeFile(folder_ / "store/pack.ja", "an archive");
  fs::create_symlink("../store/pack.ja", folder_ / "world/pack.JA");
  fs::create_symlink("nowhere", folder_ / "world/dangling");
  Put("local/a", "", "readme");
  fs::create_symlink("a/readme", folder_ / "local/note");
  EXPECT_EQ(Told(Scan()), "noConfig local/a;");
  EXPECT_EQ(Places(), "1:1 world/Pack/g/a|@|;");
  index_.Clear();
  options_.archivesOnly = true;
  Scan();
  EXPECT_EQ(index_.Count(), 1u) << "by the archive's name";
}

TEST_F(ScanTest, ReportsStayBounded) {
  ScanReport report;
  for (std::size_t i = 0; i < ScanReport::kMostMessages + 5; ++i) {
    report.Add(ScanOutcome::NoConfig, "x");
  }
  EXPECT_EQ(report.messages.size(), ScanReport::kMostMessages);
  EXPECT_EQ(report.furtherMessages, 5u);
  EXPECT_EQ(report.Count(ScanOutcome::NoConfig), ScanReport::kMostMessages + 5);
}

TEST_F(ScanTest, JoinsTheFoldersOfOneAsset) {
  Put("local/x", "plid <plid:1:1>\nname \"installed\"");
  Put("editing/x", "plid <plid:1:1>\nname \"edited\"");
  EXPECT_EQ(Scan().Count(ScanOutcome::Merged), 1u);
  EXPECT_EQ(Places(), "1:1 |x@local|editing/x;");
  EXPECT_EQ(index_.Find({1, 1, 0})->name, "installed") << "open for edit: fields stand";
  for (const char* area : {"local", "editing"}) {
    fs::rename(folder_ / area + "/x", folder_ / area + "/X");
  }
  EXPECT_EQ(Scan().Count(ScanOutcome::Conflict), 0u) << "another spelling is no other folder";
  fs::rename(folder_ / "local/X", folder_ / "local/x");
  fs::remove_all(folder_ / "editing");
  Put("local/x", "plid <plid:1:1>\nname \"renamed\"");
  const ScanReport again = Scan();
  EXPECT_EQ(again.Count(ScanOutcome::Merged), 1u);
  EXPECT_EQ(Places(), "1:1 |x@local|;");
  EXPECT_EQ(index_.Find({1, 1, 0})->name, "renamed");
  EXPECT_EQ(index_.Count(), 1u);
}

TEST_F(ScanTest, ReadsEveryFormOfConfigAndMeasuresItsFolder) {
  Put("local/text", "plid <plid:1:1>\nname \"text\"");
  Put("local/text/art", "12345", "a.jpg");
  Put("local/text/art/more", "123", "b.jpg");
  fs::create_directory_symlink("..", folder_ / "local/text/art/up");
  fs::create_symlink("a.jpg", folder_ / "local/text/art/link");
  TagContainer tags;
  tags.SetPLID("plid", {1, 2, 0});
  tags.SetString("name", "binary");
  fs::create_directories(folder_ / "local/binary");
  ASSERT_TRUE(SaveTagFile(tags, {}, folder_ / "local/binary/config.grole"));
  fs::create_directories(folder_ / "local/packed");
  Zef::File packed;
  ASSERT_EQ(packed.Open((folder_ / "local/packed/config.txt").c_str(), 0x102), Zef::RES_OK);
  const std::string text = "plid <plid:1:3>\nname \"packed\"" + std::string(20000, ' ');
  packed.Write(text.data(), 1, text.size());
  packed.Close();
  Scan();
  EXPECT_EQ(Places(), "1:2 |binary@local|;1:3 |packed@local|;1:1 |text@local|;");
  EXPECT_EQ(index_.Find({1, 2, 0})->name, "binary");
  EXPECT_EQ(index_.Find({1, 3, 0})->name, "packed");
  const MUKAsset& record = *index_.Find({1, 1, 0});
  EXPECT_EQ(record.sizeBytes, 27u + 5 + 3) << "links count nothing";
  EXPECT_EQ(record.modifyTime, static_cast<std::uint64_t>(kNow));
  EXPECT_EQ(record.uploadTime, static_cast<std::uint64_t>(kNow));
  EXPECT_EQ((FolderSize{~std::uint64_t{0}}.Word()), 0xFFFFFFFEu);
}

TEST_F(ScanTest, GivesTheSameWhateverTheNumberOfThreads) {
  std::string expected;
  for (int i = 0; i < 300; ++i) {
    const std::string name = "local/" + std::to_string(i * 7919 % 300 + 1000);
    if (i % 10 == 3)
      fs::create_directories(folder_ / name);
    else
      Put(name, "plid <plid:5:" + std::to_string(i % 250) + ">\n" +
                    std::string(static_cast<std::size_t>(20 * i), ' '));
  }
  for (const std::size_t threads : {1, 2, 5}) {
    index_.Clear();
    options_.threads = threads;
    std::size_t calls = 0;
    std::string last;
    options_.progress = [&](const std::string& folder, std::size_t done, std::size_t total) {
      EXPECT_EQ(done, calls++);
      EXPECT_EQ(total, 300u);
      EXPECT_LT(last, folder);
      last = folder;
    };
    const std::string found = Told(Scan()) + Places();
    EXPECT_EQ(calls, 300u);
    if (expected.empty()) expected = found;
    EXPECT_EQ(found, expected) << threads;
  }
}

TEST_F(ScanTest, LeadsNowhereFromUnsafePaths) {
  Put("local/a", "plid <plid:1:1>");
  Put("a", "plid <plid:1:1>");
  Put("pack/b/art", "1234", "file");
  Put("pack/b", "plid <plid:1:1>");
  ASSERT_TRUE(Zef::Subst("addons", (folder_ / "pack/").c_str(), false));
  const std::string absolute = folder_ / "a";
  const struct {
    const char *legacy, *install, *archive, *edit;
    bool loads;
  } cases[] = {
      {"a", "", "", "", true},
      {"A", "nowhere", "local", "", true},
      {"local\\a", "", "", "", true},
      {"local/../a", "", "", "", false},
      {"..", "", "", "", false},
      {absolute.c_str(), "", "", "", false},
      {"addons:b", "", "", "", false},
      {"nowhere", "a", "local", "", false},  // the first path set is the one
      {"", "a", "local", "", true},
      {"", "a", "", "", false},
      {"", "../a", "local", "", false},
      {"", "a", "local/", "", false},
      {"", "a", "../local", "", false},
      {"", "b", "addons", "", true},
      {"", "b", "addons:", "", false},
      {"", "b", "unknown", "", false},
      {"", "../a", "addons", "", false},
      {"", "", "", "local/a", true},
      {"", "", "", absolute.c_str(), true},
      {"", "", "", "addons:b", true},
      {"", "", "", "local/../a", false},
      {"", "", "", "", false},
  };
  for (const auto& c : cases) {
    MUKAsset record;
    record.legacyPath = c.legacy;
    record.installPath = c.install;
    record.archiveName = c.archive;
    record.editPath = c.edit;
    TagContainer config;
    EXPECT_EQ(LoadConfig(Root(), record, config), c.loads) << &c - cases;
    EXPECT_EQ(config.IsValid(), c.loads) << &c - cases;
  }
  EXPECT_EQ(MeasureAssetFolder({"addons", "b"}).bytes, 19u);
  Zef::Subst("addons", nullptr, false);
  EXPECT_FALSE(FolderExists({"addons", "b"}));
  EXPECT_EQ(MeasureAssetFolder({"addons", "b"}).bytes, 0u);
}

TEST_F(ScanTest, VerifyDropsPathsThatAreGone) {
  Put("world/w/g/a", "plid <plid:1:1>\nname \"a\"\nplid-table { 0 <plid:7:7> }");
  Put("editing/a", "plid <plid:1:1>\nname \"edit\"");
  Put("local/b", "plid <plid:1:2>\nname \"b\"");
  Put("local/c", "plid <plid:1:3>\nplid-table\n{\n0 <plid:1:1>\n}");
  Scan();
  ConfigReader configs(Root());
  MUKAsset& a = *index_.Find({1, 1, 0});
  MUKAsset& c = *index_.Find({1, 3, 0});
  EXPECT_FALSE(VerifyAsset(index_, configs, a)) << "open for edit beside another place";
  fs::remove_all(folder_ / "world");
  EXPECT_TRUE(VerifyAsset(index_, configs, a));
  EXPECT_EQ(a.legacyPath, "");
  EXPECT_EQ(a.name, "edit") << "read anew";
  bool changed = false;
  EXPECT_TRUE(HasMissingDependency(index_, a, &changed));
  a.modifyTime = 5;
  fs::remove_all(folder_ / "editing");
  c.Set(AssetFlag::MissingDependencyKnown, true);
  EXPECT_TRUE(VerifyAsset(index_, configs, a)) << "nothing left to read";
  EXPECT_FALSE(a.IsPresent());
  EXPECT_TRUE(HasMissingDependency(index_, c, &changed)) << "it knew otherwise before";
  EXPECT_EQ(a.modifyTime, 5u);
  fs::remove_all(folder_ / "local/b");
  MUKAsset& b = *index_.Find({1, 2, 0});
  EXPECT_FALSE(VerifyAsset(index_, configs, b));
  EXPECT_EQ(b.installPath, "b") << "an install path stays";

  // Neither there nor gone: who walks in a circle never finds out.
  fs::create_directory_symlink("world", folder_ / "world");
  b.legacyPath = "world/w/g/b";
  EXPECT_FALSE(VerifyAsset(index_, configs, b));
  EXPECT_EQ(b.legacyPath, "world/w/g/b");
  ConfigReader rootless("pack:product");
  b.legacyPath = "gone";
  EXPECT_FALSE(VerifyAsset(index_, rootless, b));
  EXPECT_EQ(b.legacyPath, "gone");
}

TEST_F(ScanTest, EntersWhatConfigsSayOfOtherAssets) {
  Put("local/a",
      "plid <plid:1:10>\nplid-table {\n0 <plid:1:20>\n1 <plid:1:10>\n2 <plid:1:20>\n3 <NULL>\n"
      "4 42x\n}");
  Put("local/b",
      "plid <plid2:1:20:2>\nobsolete-table {\n0 <plid:1:30>\n1 <plid:2:30>\n2 <plid2:1:20:9>\n}");
  Put("local/x", "plid <plid:3:1>\nplid-table {\n0 <plid:3:2>\n}");
  Put("local/y", "plid <plid:3:2>\nplid-table {\n0 <plid:3:1>\n1 <plid:1:10>\n}");
  Put("editing/e", "plid <plid2:1:40:1>");
  Scan();
  const PLID b{1, 20, 2};
  EXPECT_EQ(index_.Resolve({1, 20, 0}), b);
  EXPECT_EQ(index_.Resolve({1, 30, 0}), b);
  EXPECT_EQ(index_.ResolveExact({2, 30, 0}), PLID()) << "another user's";
  EXPECT_EQ(index_.ResolveExact({1, 20, 9}), PLID());
  EXPECT_EQ(index_.ResolveExact({1, 40, 0}), PLID()) << "not installed";
  DependencyTable& table = index_.Companions().dependencies;
  EXPECT_EQ(table.DependenciesOf({1, 10, 0}), (std::vector<PLID>{{1, 20, 0}}));

  MUKAsset& a = *index_.Find({1, 10, 0});
  MUKAsset& x = *index_.Find({3, 1, 0});
  MUKAsset& y = *index_.Find({3, 2, 0});
  bool changed = false;
  EXPECT_FALSE(HasMissingDependency(index_, x, &changed)) << "by a circle, and a replacement";
  EXPECT_TRUE(changed);
  EXPECT_FALSE(HasMissingDependency(index_, a, &changed));
  EXPECT_FALSE(changed) << "found on the way";
  EXPECT_FALSE(HasFaultyDependency(index_, y, &changed));

  MUKAsset& held = *index_.Find(b);
  held.Set(AssetFlag::Faulty, true);
  held.installPath.Clear();
  UpdateAsset(index_, held);
  EXPECT_FALSE(x.Has(AssetFlag::MissingDependencyKnown)) << "known no more, up to the last";
  EXPECT_TRUE(HasMissingDependency(index_, x, &changed));
  EXPECT_TRUE(HasFaultyDependency(index_, y, &changed));
  EXPECT_TRUE(y.Has(AssetFlag::MissingDependency));

  held.installPath = "b";
  held.uploadTime = 3;
  UpdateAssetFully(index_, held, {{{1, 31, 0}}, {{9, 9, 9}}}, 4);
  EXPECT_EQ(index_.ResolveExact({1, 30, 0}), PLID()) << "declared no more";
  EXPECT_EQ(index_.Resolve({1, 31, 0}), b);
  EXPECT_EQ(index_.Resolve({1, 20, 1}), b);
  EXPECT_EQ(held.uploadTime, 3u);
  EXPECT_EQ(held.modifyTime, 4u);
  EXPECT_TRUE(HasMissingDependency(index_, x, &changed)) << "now the one of b";
  EXPECT_TRUE(changed);
}

TEST_F(ScanTest, AWalkSettlesAllThatItMeets) {
  // top -> ring (a -> b -> a), then bad; in the ring a leaf, and behind it a way back to the top.
  Put("local/a", "plid <plid:1:1>\nplid-table {\n0 <plid:1:2>\n}");
  Put("local/b", "plid <plid:1:2>\nplid-table {\n0 <plid:1:3>\n1 <plid:1:1>\n}");
  Put("local/leaf", "plid <plid:1:3>");
  Put("local/back", "plid <plid:1:4>\nplid-table {\n0 <plid:1:5>\n1 <plid:1:3>\n}");
  Put("local/top", "plid <plid:1:5>\nplid-table {\n0 <plid:1:1>\n1 <plid:1:4>\n2 <plid:9:9>\n}");
  Scan();
  bool changed = false;
  EXPECT_TRUE(HasMissingDependency(index_, *index_.Find({1, 5, 0}), &changed));
  const std::pair<int, bool> settled[] = {{1, false}, {2, false}, {3, false}, {4, true}, {5, true}};
  for (const auto& [content, missing] : settled) {
    const MUKAsset& record = *index_.Find({1, content, 0});
    EXPECT_TRUE(record.Has(AssetFlag::MissingDependencyKnown)) << content;
    EXPECT_EQ(record.Has(AssetFlag::MissingDependency), missing) << content;
  }
}

}  // namespace
