// Tag files by extension, and saves that a crash may cut anywhere.

#include "tagdata/TagFiles.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace Test;

TagContainer Sample(int number) {
  TagContainer tags;
  tags.SetInt("number", number);
  return tags;
}

/// A folder that is registered under a name.
class TagFiles : public ::testing::Test {
 protected:
  TagFiles() { Zef::Subst(root_, (folder_ / "").c_str(), true); }
  ~TagFiles() override { Zef::Subst(root_, nullptr, false); }

  /// The number in a file; -1 when it does not load, 0 for a tree without it.
  int Number(std::string_view path, std::string_view extension = {}) const {
    TagContainer tags;
    return LoadTagFile(tags, root_, path, extension) ? tags.GetInt("number") : -1;
  }
  int SafeNumber(std::string_view path) const {
    TagContainer tags;
    return LoadTagFileSafe(tags, root_, path) ? tags.GetInt("number") : -1;
  }
  bool Has(std::string_view name) const { return fs::exists(folder_ / name); }

  const TempFolder folder_;
  const Zef::PString root_ = "tagfiles";
};

TEST_F(TagFiles, ExtensionPicksTheForm) {
  const struct {
    const char *path, *extension;
    TagForm form;
  } cases[] = {{"a.txt", "", TagForm::Text},
               {"sub/A.TXT", "", TagForm::Text},
               {"b.grole", "", TagForm::Binary},
               {"b.kpx", "", TagForm::Binary},
               {"b.Kpx2", "", TagForm::Binary},
               {"c.dat", ".txt", TagForm::Text},
               {"d.txt", "grole", TagForm::Binary},
               {"e.dat", "", TagForm::None},
               {"f", "", TagForm::None},
               {"g.txt", "dat", TagForm::None},
               {"h.txt.", "", TagForm::None}};
  for (const auto& c : cases) {
    EXPECT_EQ(TagFormOf(c.path, c.extension), c.form) << c.path;
    EXPECT_EQ(SaveTagFile(Sample(7), root_, c.path, c.extension), c.form != TagForm::None);
    EXPECT_EQ(Number(c.path, c.extension), c.form != TagForm::None ? 7 : -1) << c.path;
    EXPECT_EQ(Has(c.path), c.form != TagForm::None) << c.path;
    if (!Has(c.path)) continue;
    EXPECT_EQ(ReadWholeFile(folder_ / c.path).starts_with("HCS$"), c.form == TagForm::Binary);
  }
  TagContainer tags = Sample(3);
  WriteWholeFile(folder_ / "x.dat", "number 4");
  EXPECT_FALSE(LoadTagFile(tags, root_, "x.dat"));
  EXPECT_FALSE(LoadTagFile(tags, root_, "none.txt"));
  EXPECT_FALSE(LoadTagFile(tags, root_, "sub"));
  EXPECT_FALSE(LoadTagFile(tags, "nobody", "a.txt"));
  WriteWholeFile(folder_ / "bad.kpx", "CFIL\1\1\0\0\x50\0\0\0\2\0\xFF\xFF"s);
  EXPECT_FALSE(LoadTagFile(tags, root_, "bad.kpx")) << "nobody knows what it holds";
  EXPECT_FALSE(SaveTagFile(tags, root_, "cut\0.txt"s) || Has("cut"));
  EXPECT_EQ(tags.GetInt("number"), 3) << "a failed load leaves the handle alone";
}

TEST_F(TagFiles, SafeSaveReplacesAndLeavesNothingBehind) {
  const std::pair<Zef::PString, std::string> places[] = {
      {root_, "config.txt"}, {root_, "config.grole"}, {{}, folder_ / "config.kpx"}};
  const fs::perms rights = fs::perms::owner_all | fs::perms::others_write;
  for (const auto& [root, path] : places) {
    for (const int number : {1, 2}) {
      ASSERT_TRUE(SaveTagFileSafe(Sample(number), root, path));
      TagContainer tags;
      EXPECT_TRUE(LoadTagFile(tags, root, path));
      EXPECT_EQ(tags.GetInt("number"), number);
      EXPECT_FALSE(Has("config.tmp"));
      WriteWholeFile(folder_ / "config.tmp", "number 9");
      const fs::path file = folder_.Path() / fs::path(path).filename();
      EXPECT_EQ(fs::status(file).permissions() == rights, number == 2) << "they stay";
      fs::permissions(file, rights);
    }
  }
  EXPECT_TRUE(SaveTagFileSafe(Sample(1), root_, "config.tmp", "txt"));
  EXPECT_EQ(Number("config.tmp", "txt"), 1) << "a file is not its own temporary";
}

TEST_F(TagFiles, FailuresOfTheSafePairKeepTheOldFile) {
  ASSERT_TRUE(SaveTagFileSafe(Sample(1), root_, "config.txt"));
  EXPECT_FALSE(SaveTagFileSafe(Sample(2), root_, "config.dat"));
  fs::create_directory(folder_ / "config.tmp");
  EXPECT_FALSE(SaveTagFileSafe(Sample(2), root_, "config.txt"));
  fs::remove(folder_ / "config.tmp");
  const auto mode = Zef::FileMode::kWrite | Zef::FileMode::kAppend;
  {
    Zef::File other;  // another process that saves
    ASSERT_EQ(other.Open(root_, "config.tmp", mode), Zef::RES_OK);
    EXPECT_FALSE(SaveTagFileSafe(Sample(2), root_, "config.txt"));
    EXPECT_EQ(SafeNumber("config.txt"), 1);
    EXPECT_FALSE(SaveTagFileSafe(Sample(2), root_, "config.kpx")) << "they share the temporary";
    EXPECT_EQ(SafeNumber("config.kpx"), -1);
    EXPECT_TRUE(Has("config.tmp"));
  }
  WriteWholeFile(folder_ / "config.tmp", "number 5");
  {
    Zef::File writer;  // keeps all others out
    ASSERT_EQ(writer.Open(root_, "config.txt", mode), Zef::RES_OK);
    EXPECT_EQ(SafeNumber("config.txt"), 5) << "better than nothing";
    EXPECT_TRUE(Has("config.tmp"));
    EXPECT_TRUE(SaveTagFileSafe(Sample(6), root_, "config.txt")) << "in one step all the same";
  }
  EXPECT_EQ(SafeNumber("config.txt"), 6);
  fs::create_directories(folder_ / "folder.txt/x");
  EXPECT_FALSE(SaveTagFileSafe(Sample(2), root_, "folder.txt") || Has("folder.tmp"));
}

// What the steps of a save leave on disk, one by one.
TEST_F(TagFiles, SafeLoadHealsEveryCut) {
  const struct {
    const char* main;  ///< null: not there
    const char* temporary;
    int loaded;
  } cases[] = {{"number 1", nullptr, 1},
               {"number 1", "numb", 1},      // cut while it was written
               {"number 1", "number 2", 1},  // not yet in its place
               {nullptr, "number 2", 2},     // between delete and rename
               {nullptr, nullptr, -1}};
  for (const auto& c : cases) {
    fs::remove(folder_ / "config.txt");
    if (c.main != nullptr) WriteWholeFile(folder_ / "config.txt", c.main);
    if (c.temporary != nullptr) WriteWholeFile(folder_ / "config.tmp", c.temporary);
    EXPECT_EQ(SafeNumber("config.txt"), c.loaded);
    EXPECT_FALSE(Has("config.tmp"));
    EXPECT_EQ(Number("config.txt"), c.loaded) << "and stays so";
  }
  for (const char* left : {"number 3", ""}) {
    WriteWholeFile(folder_ / "lone.tmp", left);
    EXPECT_FALSE(SaveTagFileSafe(Sample(4), root_, "lone.dat") || !Has("lone.tmp"));
    EXPECT_EQ(SafeNumber("lone.txt"), *left != 0 ? 3 : -1) << "what has no tags counts as none";
    fs::remove(folder_ / "lone.txt");
    WriteWholeFile(folder_ / "lone.tmp", left);
    ASSERT_TRUE(SaveTagFileSafe(Sample(4), root_, "lone.txt"));
    EXPECT_EQ(SafeNumber("lone.txt"), 4);
    fs::remove(folder_ / "lone.txt");
  }
}

TEST_F(TagFiles, IdentifierOfAFolderIsThatOfItsConfig) {
  WriteWholeFile(folder_ / "text/mesh.im", "");
  WriteWholeFile(folder_ / "text/config.txt", "plid <plid2:1:2:3>");
  WriteWholeFile(folder_ / "bare/mesh.im", "");
  WriteWholeFile(folder_ / "binary/mesh.im", "");
  TagContainer tags;
  tags.SetPLID("plid", PLID(4, 5, 6));
  ASSERT_TRUE(SaveTagFile(tags, root_, "binary/config.grole"));
  fs::rename(folder_ / "text/config.txt", folder_ / "text/Config.TXT");
  EXPECT_EQ(LoadPLIDFromFile(root_, "text/mesh.im"), PLID(1, 2, 3));
  EXPECT_EQ(LoadPLIDFromFile({}, folder_ / "text/mesh.im"), PLID(1, 2, 3));
  const fs::path here = fs::current_path();
  fs::current_path(folder_.Path());
  EXPECT_TRUE(LoadPLIDFromFile({}, "text/mesh.im").IsNull()) << "depends on the current folder";
  fs::current_path(here);
  EXPECT_EQ(LoadPLIDFromFile(root_, "binary/"), PLID(4, 5, 6));
  EXPECT_TRUE(LoadPLIDFromFile(root_, "text/none.im").IsNull());
  EXPECT_TRUE(LoadPLIDFromFile(root_, "bare/mesh.im").IsNull());
}

}  // namespace
