#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderReader.h"
#include "tests/support/TestFiles.h"

namespace Zef::Platform {
namespace {

namespace fs = std::filesystem;

TEST(PlatformFolderReader, ListsFindsAndOpensWithoutFollowingLinks) {
  const ::Test::TempFolder folder;
  for (const char* name : {"b", "B", "CONFIG.txt", "Config.TXT", "sub/x"}) {
    ::Test::WriteWholeFile(folder / name, "12345");
  }
  fs::create_directory_symlink("sub", folder / "linked");
  fs::create_symlink("b", folder / "a-link");
  const FolderReader reader(folder.Path().string());
  FolderListing listing;
  ASSERT_TRUE(reader.IsOpen());
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(reader.List(&listing));
    listing.Sort();
    std::string names;
    for (std::size_t at = 0; at < listing.Count(); ++at) {
      names += listing.NameView(at);
      names += "fdl-"[static_cast<int>(listing.Kind(at))];
      names += ' ';
    }
    EXPECT_EQ(names, "a-linkl Bf bf CONFIG.txtf Config.TXTf linkedl subd ");
  }
  EXPECT_EQ(listing.NameView(listing.Find("config.txt")), "CONFIG.txt");
  EXPECT_EQ(listing.NameView(listing.Find("Config.TXT")), "Config.TXT");
  EXPECT_EQ(listing.Find("config"), FolderListing::kNone);
  EXPECT_EQ(listing.CountOf(EntryKind::Link), 2u);

  EXPECT_EQ(reader.SizeOf("b"), 5u);
  EXPECT_EQ(reader.SizeOf("a-link"), 0u);
  EXPECT_EQ(reader.SizeOf("none"), 0u);
  EXPECT_FALSE(reader.OpenFile("a-link"));
  FolderReader sub = reader.OpenFolder("sub");
  ASSERT_TRUE(sub.List(&listing));
  EXPECT_EQ(listing.Count(), 1u);
  EXPECT_FALSE(reader.OpenFolder("linked").IsOpen());
  EXPECT_FALSE(reader.OpenFolder("b").IsOpen());
  sub = FolderReader(folder / "none");
  EXPECT_FALSE(sub.IsOpen());
  EXPECT_FALSE(sub.List(&listing));
  EXPECT_EQ(listing.Count(), 0u);

  for (int i = 0; i < 1000; ++i) {  // more than one batch of names
    fs::create_directory(folder / ("sub/" + std::string(40, 'n') + std::to_string(i)));
  }
  ASSERT_TRUE(reader.OpenFolder("sub").List(&listing));
  EXPECT_EQ(listing.Count(), 1001u);
}

TEST(PlatformFolder, ResolveCaseFindsTheSpellingOnDisk) {
  const ::Test::TempFolder folder;
  fs::create_directories(folder / "Settings/Sub");
  folder.Put("Settings/plid.TXT", "");
  fs::create_directory(folder / "Twin");
  fs::create_directory(folder / "TWIN");
  folder.Put("Twin/only", "");
  fs::create_symlink("nowhere", folder / "Dangling");
  const std::pair<const char*, const char*> cases[] = {
      {"settings/PLID.txt", "Settings/plid.TXT"},
      {"SETTINGS\\sub", "Settings/Sub"},
      {"Settings//sub/", "Settings/Sub/"},
      {"settings/New/Deep", "Settings/New/Deep"},  // creating reuses the folder that stands
      {"None/settings", "None/settings"},
      {"twin", "TWIN"},            // two candidates: the first in byte order
      {"Twin/ONLY", "Twin/only"},  // but an exact spelling goes before it
      {"dangling", "Dangling"},
      {"/settings", "Settings"},
      {"", ""}};
  for (const auto& [relative, expected] : cases) {
    EXPECT_EQ(ResolveCase(folder.Path().string(), relative), folder / expected) << relative;
  }
  EXPECT_EQ(ResolveCase("", "no-such-entry"), "no-such-entry") << "an empty root is not \"/\"";
}

// Listings are remembered for a folder that has been at rest.
TEST(PlatformFolder, ResolveCaseSeesEveryChange) {
  const ::Test::TempFolder folder;
  const std::string root = folder.Path().string();
  for (int i = 0; i < 20; ++i) {
    if (i % 2 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_EQ(ResolveCase(root, "NAME"), folder / "NAME") << i;
    folder.Put("Name", "");
    ASSERT_EQ(ResolveCase(root, "NAME"), folder / "Name") << i;
    if (i % 2 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_EQ(ResolveCase(root, "NAME"), folder / "Name") << i;
    ASSERT_TRUE(DeleteFile(folder / "Name"));
  }
}

class DeleteTreeTest : public testing::Test {
 protected:
  DeleteTreeTest() {
    fs::create_directories(folder_ / "outside/kept");
    EXPECT_TRUE(MakeFolders(folder_.Path().string() + "\\root\\a/b/"));
    const std::string file = folder_.Put("root/a/b/file", "x");
    EXPECT_FALSE(MakeFolders(file) || MakeFolders(file + "/below") || MakeFolders(""));
    fs::create_directory_symlink("../../outside", folder_ / "root/a/link");
  }

  bool OutsideStands() const { return Exists(folder_ / "outside/kept"); }

  ::Test::TempFolder folder_;
};

TEST_F(DeleteTreeTest, RemovesLinksAndNeverFollowsThem) {
  EXPECT_TRUE(DeleteTree(folder_ / "root/a/link/"));
  EXPECT_TRUE(OutsideStands());
  fs::create_directory_symlink("../../outside", folder_ / "root/a/link");
  EXPECT_TRUE(DeleteTree(folder_ / "root/"));
  EXPECT_TRUE(!Exists(folder_ / "root") && OutsideStands());
  EXPECT_TRUE(DeleteTree(folder_ / "root")) << "nothing is left of what never was";
}

TEST_F(DeleteTreeTest, RefusesPathsThatNameNoEntry) {
  const std::string old = CurrentFolder();
  fs::current_path(folder_ / "root/a");
  for (const char* path : {"", "/", "//", ".", "..", "./", "b/..", "b\\.", "../"}) {
    EXPECT_FALSE(DeleteTree(path)) << path;
  }
  EXPECT_FALSE(DeleteTree("b/file")) << "a file is no folder";
  fs::current_path(old);
  EXPECT_TRUE(Exists(folder_ / "root/a/b/file"));
}

TEST_F(DeleteTreeTest, BelowARootRefusesEveryWayOut) {
  for (const char* path : {"", ".", "..", "a/../..", "a/./b", "/a", "\\a", "a/link/kept",
                           "a\\link\\kept", "a/b/file", "a/b/file/x"}) {
    EXPECT_FALSE(DeleteTreeBelow(folder_ / "root", path)) << path;
  }
  EXPECT_TRUE(DeleteTreeBelow(folder_ / "missing", "a")) << "it is gone";
  EXPECT_FALSE(DeleteTreeBelow("", "a") || DeleteTreeBelow(std::string("r\0", 2), "a"));
  EXPECT_TRUE(Exists(folder_ / "root/a/b/file") && OutsideStands());
  EXPECT_TRUE(DeleteTreeBelow(folder_ / "root", "a//b\\"));
  EXPECT_TRUE(Exists(folder_ / "root/a") && !Exists(folder_ / "root/a/b"));
}

// Deeper than a path can be long, than a process may have files open, than its stack.
TEST_F(DeleteTreeTest, DepthIsNoLimit) {
  int current = open((folder_ / "root").c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(mkdirat(current, "down", 0700), 0);
    const int below = openat(current, "down", O_RDONLY | O_DIRECTORY);
    close(current);
    current = below;
  }
  close(current);
  EXPECT_TRUE(DeleteTree(folder_ / "root") && !Exists(folder_ / "root"));
}

TEST_F(DeleteTreeTest, ClearsReadOnlyMarks) {
  const uid_t user = geteuid();
  if (user == 0) {
    // The administrator passes every mark, so the test runs as nobody.
    for (const char* path : {"", "root", "root/a", "root/a/b", "root/a/b/file"}) {
      ASSERT_EQ(chown((folder_ / path).c_str(), 65534, 65534), 0);
    }
    ASSERT_EQ(seteuid(65534), 0);
  }
  fs::permissions(folder_ / "root/a/b", fs::perms::owner_read | fs::perms::owner_exec);
  fs::permissions(folder_ / "root/a", fs::perms::none);
  EXPECT_TRUE(DeleteTree(folder_ / "root") && !Exists(folder_ / "root"));
  ASSERT_EQ(seteuid(user), 0);
}

}  // namespace
}  // namespace Zef::Platform
