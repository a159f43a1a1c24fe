#include "plugin/PatchSet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "kernel/ByteWriter.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;

using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

constexpr const char* kIndex = "assets.mkx";

MUKAsset Asset(PLID id, const char* name, bool builtIn = true) {
  MUKAsset record;
  record.id = id;
  record.name = name;
  record.Set(AssetFlag::BuiltIn, builtIn);
  return record;
}

void SaveIndex(const fs::path& folder, std::vector<MUKAsset> records) {
  fs::create_directories(folder);
  MUKAssetIndex index;
  for (MUKAsset& record : records) index.Add(std::move(record));
  ASSERT_TRUE(index.Save((folder / kIndex).string()));
}

std::string Bytes(const std::vector<MUKAsset>& records) {
  Zef::ByteWriter out;
  for (const MUKAsset& record : records) AppendRecord(out, record);
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

std::string IdBytes(std::initializer_list<PLID> ids) {
  Zef::ByteWriter out;
  for (const PLID& id : ids) {
    out.I32(id.content);
    out.U32(id.PackedWord());
  }
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

class PatchSetTest : public ::testing::Test {
 protected:
  fs::path Folder(const char* name) const { return temp_.Path() / name; }
  std::string Root(const char* name) const { return Folder(name).string() + "/"; }
  fs::path SetFile(const char* extension) const {
    return Folder("set") / "data" / (std::string(kIndex) + extension);
  }
  void WriteSet(const std::string& additions, const std::string& deletions,
                const std::string& changes) const {
    fs::create_directories(Folder("set") / "data");
    WriteWholeFile(SetFile(kAddExtension), additions);
    WriteWholeFile(SetFile(kDeleteExtension), deletions);
    WriteWholeFile(SetFile(kPatchExtension), changes);
  }
  bool Make() const { return MakePatchSet(kIndex, Root("old"), Root("new"), Root("set")); }
  bool Apply() const { return ApplyPatchSet(kIndex, Folder("old").string(), Root("set")); }
  std::string Held(const char* extension) const { return ReadWholeFile(SetFile(extension)); }

  TempFolder temp_;
};

TEST_F(PatchSetTest, HoldsBuiltInRecordsThatOnlyOneSideHas) {
  MUKAsset changed = Asset({1, 1, 0}, "kept");
  changed.description = "differs in everything but its identifier";
  changed.Set(AssetFlag::Faulty, true);
  SaveIndex(Folder("old"), {Asset({1, 1, 0}, "kept"), Asset({1, 9, 0}, "zebra"),
                            Asset({1, 8, 0}, "Apple"), Asset({1, 7, 0}, "user", false)});
  SaveIndex(Folder("new"), {changed, Asset({2, 5, 1}, "b"), Asset({2, 6, 1}, "a"),
                            Asset({2, 7, 1}, "A"), Asset({1, 6, 0}, "user", false)});
  EXPECT_FALSE(Make()) << "without the data folder nothing can be written";
  fs::create_directories(Folder("set") / "data");
  ASSERT_TRUE(Make());
  EXPECT_EQ(Held(kDeleteExtension), IdBytes({{1, 8, 0}, {1, 9, 0}}));
  // Equal names keep their order of arrival.
  EXPECT_EQ(Held(kAddExtension),
            Bytes({Asset({2, 6, 1}, "a"), Asset({2, 7, 1}, "A"), Asset({2, 5, 1}, "b")}));
  EXPECT_EQ(Held(kPatchExtension), "");
  EXPECT_EQ(Held(kDeleteExtension).substr(0, 8), std::string("\x08\0\0\0\x01\0\0\0", 8));
}

TEST_F(PatchSetTest, TouchesNoOutputWhenAnIndexDoesNotLoad) {
  SaveIndex(Folder("old"), {});
  fs::create_directories(Folder("set") / "data");
  EXPECT_FALSE(Make());
  SaveIndex(Folder("new"), {});
  WriteWholeFile((Folder("old") / kIndex).string(), "no index");
  EXPECT_FALSE(Make());
  EXPECT_TRUE(fs::is_empty(Folder("set") / "data"));
}

TEST_F(PatchSetTest, AppliesWhatItMadeExceptTheLastDeletion) {
  SaveIndex(Folder("old"), {Asset({1, 1, 0}, "a"), Asset({1, 2, 0}, "b"), Asset({1, 3, 0}, "c")});
  SaveIndex(Folder("new"), {Asset({1, 1, 1}, "new")});
  fs::create_directories(Folder("set") / "data");
  ASSERT_TRUE(Make());
  ASSERT_TRUE(Apply());
  MUKAssetIndex index;
  ASSERT_TRUE(index.Load((Folder("old") / kIndex).string()));
  EXPECT_EQ(index.Find({1, 1, 0}), nullptr);
  EXPECT_EQ(index.Find({1, 2, 0}), nullptr);
  EXPECT_NE(index.Find({1, 3, 0}), nullptr) << "the last entry of a list has no effect";
  EXPECT_NE(index.Find({1, 1, 1}), nullptr);
}

TEST_F(PatchSetTest, AdditionsFollowTheStateOfTheHeldRecord) {
  MUKAsset listed = Asset({1, 1, 0}, "listed");
  listed.Set(AssetFlag::Listed, true);
  listed.legacyPath = "world/listed";
  const MUKAsset absent = Asset({1, 2, 0}, "absent");
  MUKAsset edited = Asset({1, 3, 0}, "edited");
  edited.editPath = "editing/x";
  MUKAsset legacy = Asset({1, 4, 0}, "legacy");
  legacy.legacyPath = "world/legacy";
  SaveIndex(Folder("old"), {listed, absent, edited, legacy});
  for (const char* name : {"listed", "legacy"}) {
    fs::create_directories(Folder("old") / "world" / name / "deep");
  }
  WriteSet(Bytes({Asset({1, 1, 0}, "N1"), Asset({1, 2, 0}, "N2"), Asset({1, 3, 0}, "N3"),
                  Asset({1, 4, 0}, "N4"), Asset({1, 5, 0}, "N5"), Asset({1, 5, 0}, "N6")}),
           "", "");
  ASSERT_TRUE(Apply());
  MUKAssetIndex index;
  ASSERT_TRUE(index.Load((Folder("old") / kIndex).string()));
  const struct {
    int content;
    const char* name;
  } expected[] = {{1, "N1"}, {2, "absent"}, {3, "N3"}, {4, "N4"}, {5, "N5"}};
  for (const auto& row : expected) {
    ASSERT_NE(index.Find({1, row.content, 0}), nullptr) << row.content;
    EXPECT_EQ(index.Find({1, row.content, 0})->name, row.name);
  }
  EXPECT_EQ(index.Count(), 5u) << "an addition without a path keeps a later one out";
  EXPECT_TRUE(fs::exists(Folder("old") / "world" / "listed"));
  EXPECT_FALSE(fs::exists(Folder("old") / "world" / "legacy"));
}

TEST_F(PatchSetTest, RewritesFlagsBitByBit) {
  for (const bool change : {false, true}) {
    for (const int bits : {0x00, 0xFF}) {
      MUKAsset record = Asset({1, 1, 0}, "x");
      for (int i = 0; i < 2; ++i) record.flags.SetByte(i, static_cast<std::uint8_t>(bits));
      SaveIndex(Folder("old"), {});
      WriteSet(change ? "" : Bytes({record}), "", change ? Bytes({record}) : "");
      ASSERT_TRUE(Apply());
      MUKAssetIndex index;
      ASSERT_TRUE(index.Load((Folder("old") / kIndex).string()));
      const MUKAsset* held = index.Find({1, 1, 0});
      ASSERT_NE(held, nullptr);
      EXPECT_EQ(held->flags.Byte(0), bits == 0 ? 0x90 : 0xBF);
      EXPECT_EQ(held->flags.Byte(1), bits == 0 ? 0x01 : (change ? 0xE5 : 0xC1));
    }
  }
}

TEST_F(PatchSetTest, ChangesReplaceNothing) {
  MUKAsset listed = Asset({1, 1, 0}, "listed");
  listed.Set(AssetFlag::Listed, true);
  SaveIndex(Folder("old"), {listed, Asset({1, 2, 0}, "held")});
  WriteSet("", "", Bytes({Asset({1, 1, 0}, "n"), Asset({1, 2, 0}, "n"), Asset({1, 3, 0}, "n")}));
  ASSERT_TRUE(Apply());
  MUKAssetIndex index;
  ASSERT_TRUE(index.Load((Folder("old") / kIndex).string()));
  EXPECT_EQ(index.Find({1, 1, 0}), nullptr) << "a listed record goes and is not put back";
  EXPECT_EQ(index.Find({1, 2, 0})->name, "held");
  EXPECT_EQ(index.Find({1, 3, 0})->name, "n");
}

TEST_F(PatchSetTest, HostilePathsDeleteNothing) {
  fs::create_directories(Folder("outside") / "kept");
  const std::string paths[] = {"../outside",    ".",         "..",           "a/../../outside",
                               Root("outside"), "link/kept", "\\..\\outside"};
  for (const std::string& path : paths) {
    MUKAsset held = Asset({1, 1, 0}, "held");
    held.legacyPath = path;
    SaveIndex(Folder("old"), {held});
    if (!fs::exists(Folder("old") / "link")) {
      fs::create_directory_symlink(Folder("outside"), Folder("old") / "link");
    }
    WriteSet(Bytes({Asset({1, 1, 0}, "new")}), "", "");
    ASSERT_TRUE(Apply()) << path;
    EXPECT_TRUE(fs::exists(Folder("outside") / "kept")) << path;
    MUKAssetIndex index;
    ASSERT_TRUE(index.Load((Folder("old") / kIndex).string())) << path;
    EXPECT_EQ(index.Find({1, 1, 0})->name, "new") << path;
  }
}

TEST_F(PatchSetTest, ASetCutAnywhereIsAppliedAsFarAsItGoes) {
  MUKAsset record = Asset({1, 1, 0}, "name");
  record.description = std::string(600, 'd').c_str();
  const std::string whole = Bytes({record});
  for (std::size_t size = 0; size < whole.size(); size += size < 130 ? 1 : 61) {
    SaveIndex(Folder("old"), {});
    WriteSet(whole.substr(0, size), std::string(size % 8, 'x'), "");
    ASSERT_TRUE(Apply());
    MUKAssetIndex index;
    ASSERT_TRUE(index.Load((Folder("old") / kIndex).string())) << size;
    ASSERT_EQ(index.Count(), size == 0 ? 0u : 1u) << size;
    EXPECT_EQ(index.Find({1, 1, 0}) != nullptr, size > 8) << size;
  }
}

TEST_F(PatchSetTest, AFailedPatchLeavesTheIndexAsItWas) {
  SaveIndex(Folder("old"), {Asset({1, 1, 0}, "a")});
  const std::string path = (Folder("old") / kIndex).string();
  const std::string before = ReadWholeFile(path);
  WriteSet("", "", "");
  fs::remove(SetFile(kPatchExtension));
  EXPECT_FALSE(Apply());
  EXPECT_EQ(ReadWholeFile(path), before);
  WriteSet("", "", "");
  EXPECT_TRUE(Apply());
  EXPECT_EQ(ReadWholeFile(path), before) << "an empty set rewrites the same bytes";
  // A save that cannot be written keeps the old file and the folders it names, and the set
  // counts as applied.
  MUKAsset legacy = Asset({1, 1, 0}, "a");
  legacy.legacyPath = "world/a";
  SaveIndex(Folder("old"), {legacy});
  fs::create_directories(Folder("old") / "world" / "a");
  WriteSet(Bytes({Asset({1, 1, 0}, "b")}), "", "");
  fs::create_directory(path + ".saving");
  const std::string held = ReadWholeFile(path);
  EXPECT_TRUE(Apply());
  EXPECT_EQ(ReadWholeFile(path), held);
  EXPECT_TRUE(fs::exists(Folder("old") / "world" / "a"));
}

}  // namespace
