#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kernel/platform/FileSystem.h"
#include "tests/support/TestFiles.h"

namespace Zef::Platform {
namespace {

namespace fs = std::filesystem;

std::string Make(const ::Test::TempFolder& folder, const char* name, const char* content) {
  ::Test::WriteWholeFile(folder / name, content);
  return folder / name;
}

TEST(PlatformFolder, ListsInAnOrderThatRepeats) {
  const ::Test::TempFolder folder;
  for (const char* name : {"b", "B", "a_", "aZ", "ab", ".x"}) Make(folder, name, "");
  std::vector<std::string> names = {"stale"};
  ASSERT_TRUE(ListFolder(folder.Path().string(), &names));
  EXPECT_EQ(names, (std::vector<std::string>{".x", "a_", "ab", "aZ", "B", "b"}));
  EXPECT_FALSE(ListFolder(folder / "b", &names));
  EXPECT_FALSE(ListFolder("", &names));
}

TEST(PlatformFolder, ResolveCaseFindsTheSpellingOnDisk) {
  const ::Test::TempFolder folder;
  fs::create_directories(folder / "Settings/Sub");
  Make(folder, "Settings/plid.TXT", "");
  fs::create_directory(folder / "Twin");
  fs::create_directory(folder / "TWIN");
  Make(folder, "Twin/only", "");
  fs::create_symlink("nowhere", folder / "Dangling");
  const struct {
    const char* relative;
    const char* expected;
  } cases[] = {
      {"settings/PLID.txt", "Settings/plid.TXT"},
      {"SETTINGS\\sub", "Settings/Sub"},
      {"Settings//sub/", "Settings/Sub/"},
      {"settings/New/Deep", "Settings/New/Deep"},  // creating reuses the folder that stands
      {"None/settings", "None/settings"},
      {"twin", "TWIN"},            // two candidates: the first in byte order
      {"Twin/ONLY", "Twin/only"},  // but an exact spelling goes before it
      {"dangling", "Dangling"},
      {"/settings", "Settings"},
      {"", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ResolveCase(folder.Path().string(), c.relative), folder / c.expected) << c.relative;
  }
  EXPECT_EQ(ResolveCase("", "no-such-entry"), "no-such-entry") << "an empty root is not \"/\"";
}

TEST(PlatformFolder, MakesAllLevelsButNotThroughAFile) {
  const ::Test::TempFolder folder;
  EXPECT_TRUE(MakeFolders(folder.Path().string() + "\\a\\b/c/"));
  EXPECT_TRUE(MakeFolders(folder / "a/b/c"));
  EXPECT_TRUE(IsFolder(folder / "a/b/c"));
  Make(folder, "file", "");
  EXPECT_FALSE(MakeFolders(folder / "file"));
  EXPECT_FALSE(MakeFolders(folder / "file/below"));
  EXPECT_FALSE(MakeFolders(""));
  EXPECT_FALSE(RemoveEmptyFolder(folder / "a"));
  EXPECT_TRUE(RemoveEmptyFolder(folder / "a/b/c"));
}

class DeleteTreeTest : public testing::Test {
 protected:
  DeleteTreeTest() {
    fs::create_directories(folder_ / "outside/kept");
    fs::create_directories(folder_ / "root/a/b");
    Make(folder_, "root/a/b/file", "x");
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
  EXPECT_FALSE(Exists(folder_ / "root"));
  EXPECT_TRUE(OutsideStands());
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
  EXPECT_FALSE(DeleteTreeBelow(folder_ / "missing", "a"));
  EXPECT_TRUE(Exists(folder_ / "root/a/b/file") && OutsideStands());
  EXPECT_TRUE(DeleteTreeBelow(folder_ / "root", "a//b\\"));
  EXPECT_TRUE(Exists(folder_ / "root/a") && !Exists(folder_ / "root/a/b"));
  EXPECT_TRUE(DeleteTreeBelow(folder_ / "root", "a"));
  EXPECT_TRUE(Exists(folder_ / "root") && OutsideStands());
}

// Deeper than a path can be long, than a process may have files open, than its stack.
TEST_F(DeleteTreeTest, DepthIsNoLimit) {
  int current = open((folder_ / "root").c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(mkdirat(current, "down", 0700), 0);
    const int below = openat(current, "down", O_RDONLY | O_DIRECTORY);
    close(current);
    current = below;
  }
  close(current);
  EXPECT_TRUE(DeleteTree(folder_ / "root"));
  EXPECT_FALSE(Exists(folder_ / "root"));
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
  EXPECT_TRUE(DeleteTree(folder_ / "root"));
  EXPECT_FALSE(Exists(folder_ / "root"));
  ASSERT_EQ(seteuid(user), 0);
}

}  // namespace
}  // namespace Zef::Platform
