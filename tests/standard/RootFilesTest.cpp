#include "kernel/standard/RootFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;
using namespace Test;
using namespace Zef;

class RootFiles : public ::testing::Test {
 protected:
  RootFiles() { Subst(root_, (folder_ / "").c_str(), true); }
  ~RootFiles() override { Subst(root_, nullptr, false); }
  bool Has(std::string_view name) const { return fs::exists(folder_ / name); }

  const TempFolder folder_;
  const PString root_ = "rootfiles";
};

TEST_F(RootFiles, OperationsTakeARootAPrefixOrARootedPath) {
  const struct {
    PString root;
    std::string before;
  } places[] = {{root_, ""}, {{}, "rootfiles:"}, {{}, folder_ / ""}};
  for (const auto& place : places) {
    const auto at = [&](const char* name) { return place.before + name; };
    EXPECT_TRUE(MakeDirectory(place.root, at("a\\b/c")));
    EXPECT_TRUE(FileExists(place.root, at("a/b\\c")));
    WriteWholeFile(folder_ / "a/file", "x");
    EXPECT_TRUE(MoveFileTo(place.root, at("a/file"), at("a/moved")));
    EXPECT_FALSE(MoveFileTo(place.root, at("a/moved"), at("a/b"))) << "exists";
    EXPECT_TRUE(FileExists(place.root, at("a/moved")));
    EXPECT_TRUE(DeleteTree(place.root, at("a")));
    EXPECT_FALSE(Has("a"));
    EXPECT_TRUE(DeleteTree(place.root, at("a"))) << "nothing was there";
  }
  EXPECT_FALSE(MoveFileTo({}, "rootfiles:x", folder_ / "y"));
}

TEST_F(RootFiles, UnrootedPathsAreRefused) {
  const fs::path here = fs::current_path();
  fs::current_path(folder_.Path());
  WriteWholeFile(folder_ / "a/b", "x");
  EXPECT_FALSE(FileExists({}, "a/b"));
  EXPECT_FALSE(MakeDirectory({}, "c"));
  EXPECT_FALSE(DeleteTree({}, "a"));
  EXPECT_FALSE(MoveFileTo({}, "a/b", "a/c"));
  std::string name;
  EXPECT_FALSE(CreateTemporaryFilePath({}, "c", "p", "txt", name));
  fs::current_path(here);
  EXPECT_TRUE(Has("a/b"));
}

TEST_F(RootFiles, TreesThatHoldTheProductAreNotDeleted) {
  WriteWholeFile(folder_ / "product/keep", "x");
  const std::string product = folder_ / "product";
  const struct {
    PString root;
    std::string path;
  } refused[] = {
      {{}, product},
      {{}, product + "//"},
      {{}, folder_ / "x"},
      {{}, "/"},
      {{}, product + "/a/../../product"},
      {root_, ""},
      {root_, "."},
      {root_, "product/.."},
      {{}, "rootfiles:"},
      {{}, "rootfiles:/"},
      {root_, "x/../product"},
  };
  for (const auto& c : refused) EXPECT_FALSE(DeleteTree(c.root, c.path, product + "/")) << c.path;
  EXPECT_TRUE(Has("product/keep"));
  EXPECT_TRUE(DeleteTree({}, product + "/keeper", product));
}

TEST_F(RootFiles, CopiesAreWholeAndReplaceNothing) {
  const std::string bytes(0x250000, 'b');
  for (const std::string& content : {std::string(), bytes}) {
    WriteWholeFile(folder_ / "from", content);
    EXPECT_TRUE(CopyFileContents("rootfiles:from", folder_ / "to"));
    EXPECT_EQ(ReadWholeFile(folder_ / "to"), content);
    EXPECT_FALSE(CopyFileContents("rootfiles:from", folder_ / "to"));
    fs::remove(folder_ / "to");
  }
  EXPECT_FALSE(CopyFileContents("rootfiles:none", folder_ / "to"));
  EXPECT_FALSE(Has("to"));
}

TEST(FileName, SafeOnesHoldNothingOfAPath) {
  EXPECT_EQ(MakeFileNameSafe("../a:b\\c\xE9 D_9.txt  "), "___a_b_c_ D_9_txt");
  EXPECT_EQ(MakeFileNameSafe("   "), "");
}

TEST_F(RootFiles, TemporaryNamesAreFree) {
  std::string name;
  ASSERT_TRUE(CreateTemporaryFilePath(root_, "cache", "p", ".txt", name, "my file? "));
  EXPECT_EQ(name, "cache/my file_.txt");
  WriteWholeFile(folder_ / name, "x");
  std::set<std::string> names;
  for (const char* wanted : {"my file?", "", "  "}) {
    ASSERT_TRUE(CreateTemporaryFilePath(root_, "cache/", "p", "txt", name, wanted));
    EXPECT_TRUE(name.starts_with("cache/p") && name.ends_with(".txt")) << name;
    EXPECT_GE(name.size(), std::string("cache/p12345678N.txt").size());
    EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789", 7), name.size() - 4);
    EXPECT_FALSE(Has(name));
    names.insert(name);
  }
  EXPECT_EQ(names.size(), 3u);
  ASSERT_TRUE(CreateTemporaryFilePath(root_, "cache", "p", "", name, "n"));
  EXPECT_EQ(name, "cache/n");
}

}  // namespace
