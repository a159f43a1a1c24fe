#include "kernel/standard/RootFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;
using namespace Test;
using namespace std::string_literals;
using namespace Zef;

class RootFiles : public ::testing::Test {
 protected:
  RootFiles() { Subst(root_, (folder_ / "").c_str(), true); }
  ~RootFiles() override { Subst(root_, nullptr, false); }

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
    EXPECT_TRUE(DeleteTree(place.root, at("a"), folder_ / ""));
    EXPECT_FALSE(fs::exists(folder_ / "a"));
    EXPECT_TRUE(DeleteTree(place.root, at("a"), folder_ / "")) << "nothing was there";
  }
}

TEST_F(RootFiles, TreesThatHoldTheProductAreNotDeleted) {
  const std::string product = folder_ / "product";
  WriteWholeFile(product + "/keep", "x");
  const fs::path here = fs::current_path();
  fs::current_path(folder_.Path());
  const std::pair<PString, std::string> refused[] = {
      {{}, product + "//"},    {{}, folder_ / "x"}, {{}, "/"},
      {{}, product + "/a/.."}, {root_, "."},        {root_, "product/.."},
      {{}, "rootfiles:/"},     {{}, "product"},     {root_, ""},
      {{}, product + "//./."}, {{}, "/" + product}, {{}, product + "\0/long"s}};
  for (const auto& [root, path] : refused)
    EXPECT_FALSE(DeleteTree(root, path, product + "/")) << path;
  EXPECT_TRUE(DeleteTree({}, product + "/a", folder_ / "/././product//"));
  for (const char* unknown : {"", "product"}) EXPECT_FALSE(DeleteTree({}, product + "/a", unknown));
  EXPECT_FALSE(FileExists({}, "product")) << "depends on the current folder";
  fs::current_path(here);
  EXPECT_TRUE(fs::exists(product + "/keep"));
}

TEST_F(RootFiles, CopiesAreWholeAndReplaceNothing) {
  for (const std::string& content : {std::string(), std::string(0x250000, 'b')}) {
    WriteWholeFile(folder_ / "from", content);
    EXPECT_TRUE(CopyFileContents("rootfiles:from", folder_ / "to"));
    EXPECT_EQ(ReadWholeFile(folder_ / "to"), content);
    EXPECT_FALSE(CopyFileContents("rootfiles:from", folder_ / "to"));
    fs::remove(folder_ / "to");
  }
  EXPECT_FALSE(CopyFileContents("rootfiles:none", folder_ / "to"));
  EXPECT_FALSE(fs::exists(folder_ / "to"));
}

TEST_F(RootFiles, TemporaryNamesAreSafeAndFree) {
  std::string name;
  ASSERT_TRUE(CreateTemporaryFilePath(root_, "cache", "p", ".txt", name, "../a:b\xE9 C_9 "));
  EXPECT_EQ(name, "cache/___a_b_ C_9.txt");
  WriteWholeFile(folder_ / name, "x");
  for (const char* wanted : {"../a:b\xE9 C_9", "", "  "}) {
    const std::string before = name;
    ASSERT_TRUE(CreateTemporaryFilePath(root_, "cache/", "p", "txt", name, wanted));
    EXPECT_TRUE(name.starts_with("cache/p") && name.ends_with(".txt")) << name;
    EXPECT_GE(name.size(), std::string("cache/p12345678N.txt").size());
    EXPECT_NE(name, before);
  }
  EXPECT_TRUE(CreateTemporaryFilePath(root_, "", "p", "", name, "x") && name == "x");
  EXPECT_FALSE(CreateTemporaryFilePath({}, "cache", "p", "txt", name));
}

}  // namespace
