#include "plugin/PatchSet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "kernel/ByteWriter.h"
#include "plugin/PatchSetFiles.h"
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

std::string TextOf(const Zef::ByteWriter& out) {
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

std::string Bytes(const std::vector<MUKAsset>& records) {
  Zef::ByteWriter out;
  for (const MUKAsset& record : records) AppendRecord(out, record);
  return TextOf(out);
}

std::string IdBytes(std::initializer_list<PLID> ids) {
  Zef::ByteWriter out;
  for (const PLID& id : ids) {
    out.I32(id.content);
    out.U32(id.PackedWord());
  }
  return TextOf(out);
}

/// "old" is patched by "set" to what "new" is.
class PatchSetTest : public ::testing::Test {
 protected:
  PatchSetTest() {
    for (const char* name : {"old", "new", "set/data"}) fs::create_directories(temp_ / name);
  }

  std::string Root(const char* name) const { return temp_ / name + "/"; }
  std::string SetFile(const char* extension) const {
    return Root("set") + "data/" + kIndex + extension;
  }
  void SaveIndex(const char* folder, std::vector<MUKAsset> records) const {
    MUKAssetIndex index;
    for (MUKAsset& record : records) index.Add(std::move(record));
    ASSERT_TRUE(index.Save(Root(folder) + kIndex));
  }
  void WriteSet(const std::string& additions, const std::string& deletions,
                const std::string& changes) const {
    WriteWholeFile(SetFile(kAddExtension), additions);
    WriteWholeFile(SetFile(kDeleteExtension), deletions);
    WriteWholeFile(SetFile(kPatchExtension), changes);
  }
  bool Make() const { return MakePatchSet(kIndex, Root("old"), Root("new"), Root("set")); }
  bool Apply() const { return ApplyPatchSet(kIndex, temp_ / "old", Root("set")); }
  std::string Held(const char* extension) const { return ReadWholeFile(SetFile(extension)); }

  /// Applies the set; "user:content=name" of all records then, in the order of identifiers.
  std::string Patched() {
    EXPECT_TRUE(Apply());
    EXPECT_TRUE(index_.Load(Root("old") + kIndex));
    std::set<std::string> rows;
    for (const MUKAsset* record : index_.Records()) {
      rows.insert(std::to_string(record->id.user) + ":" + std::to_string(record->id.content) + "=" +
                  std::string(record->name.View()) + " ");
    }
    return std::accumulate(rows.begin(), rows.end(), std::string());
  }

  TempFolder temp_;
  MUKAssetIndex index_;  ///< as it was after the last Patched()
};

TEST_F(PatchSetTest, HoldsBuiltInRecordsThatOnlyOneSideHas) {
  MUKAsset changed = Asset({1, 1, 0}, "kept");
  changed.description = "differs in everything but its identifier";
  changed.Set(AssetFlag::Faulty, true);
  SaveIndex("old", {Asset({1, 1, 0}, "kept"), Asset({1, 9, 0}, "zebra"), Asset({1, 8, 0}, "Apple"),
                    Asset({1, 7, 0}, "user", false)});
  SaveIndex("new", {changed, Asset({2, 5, 1}, "b"), Asset({2, 6, 1}, "a"), Asset({2, 7, 1}, "A"),
                    Asset({1, 6, 0}, "user", false)});
  fs::remove(Root("set") + "data");
  EXPECT_FALSE(Make()) << "without the data folder nothing can be written";
  fs::create_directory(Root("set") + "data");
  ASSERT_TRUE(Make());
  EXPECT_EQ(Held(kDeleteExtension), IdBytes({{1, 8, 0}, {1, 9, 0}}));
  // Equal names keep their order of arrival.
  EXPECT_EQ(Held(kAddExtension),
            Bytes({Asset({2, 6, 1}, "a"), Asset({2, 7, 1}, "A"), Asset({2, 5, 1}, "b")}));
  EXPECT_EQ(Held(kPatchExtension), "");
  EXPECT_EQ(Held(kDeleteExtension).substr(0, 8), std::string("\x08\0\0\0\x01\0\0\0", 8));
  EXPECT_EQ(Patched(), "1:1=kept 1:7=user 1:9=zebra 2:5=b 2:6=a 2:7=A ")
      << "the last entry of a list has no effect";
}

// They go through the buffers of reader and writer in several pieces.
TEST_F(PatchSetTest, LargeIndexesAreComparedToTheLastRecord) {
  std::vector<MUKAsset> older, newer, added;
  std::string names;
  for (int i = 10; i < 90; ++i) {
    MUKAsset record = Asset({1, i, 0}, ("n" + std::to_string(i)).c_str());
    record.description = std::string(65'000 - 613 * static_cast<std::size_t>(i), 'd').c_str();
    (i % 3 == 2 ? added : older).push_back(record);
    newer.push_back(std::move(record));
    names += "1:" + std::to_string(i) + "=n" + std::to_string(i) + " ";
  }
  SaveIndex("old", older);
  SaveIndex("new", newer);
  ASSERT_TRUE(Make());
  EXPECT_EQ(Held(kDeleteExtension), "");
  EXPECT_TRUE(Held(kAddExtension) == Bytes(added));
  EXPECT_EQ(Patched(), names);
}

TEST_F(PatchSetTest, TouchesNoOutputWhenAnIndexDoesNotLoad) {
  SaveIndex("old", {});
  EXPECT_FALSE(Make());
  SaveIndex("new", {});
  WriteWholeFile(Root("old") + kIndex, "no index");
  EXPECT_FALSE(Make());
  EXPECT_TRUE(fs::is_empty(Root("set") + "data"));
}

TEST_F(PatchSetTest, AdditionsFollowTheStateOfTheHeldRecord) {
  MUKAsset listed = Asset({1, 1, 0}, "listed");
  listed.Set(AssetFlag::Listed, true);
  listed.legacyPath = "world/listed";
  MUKAsset edited = Asset({1, 3, 0}, "edited");
  edited.editPath = "editing/x";
  MUKAsset legacy = Asset({1, 4, 0}, "legacy");
  legacy.legacyPath = "world/legacy";
  SaveIndex("old", {listed, Asset({1, 2, 0}, "absent"), edited, legacy});
  for (const char* name : {"listed", "legacy"}) {
    fs::create_directories(Root("old") + "world/" + name + "/deep");
  }
  WriteSet(Bytes({Asset({1, 1, 0}, "N1"), Asset({1, 2, 0}, "N2"), Asset({1, 3, 0}, "N3"),
                  Asset({1, 4, 0}, "N4"), Asset({1, 5, 0}, "N5"), Asset({1, 5, 0}, "N6")}),
           "", "");
  EXPECT_EQ(Patched(), "1:1=N1 1:2=absent 1:3=N3 1:4=N4 1:5=N5 ")
      << "an addition without a path keeps a later one out";
  EXPECT_TRUE(fs::exists(Root("old") + "world/listed"));
  EXPECT_FALSE(fs::exists(Root("old") + "world/legacy"));
}

TEST_F(PatchSetTest, RewritesFlagsBitByBit) {
  for (const bool change : {false, true}) {
    for (const int bits : {0x00, 0xFF}) {
      MUKAsset record = Asset({1, 1, 0}, "x");
      for (int i = 0; i < 2; ++i) record.flags.SetByte(i, static_cast<std::uint8_t>(bits));
      SaveIndex("old", {});
      WriteSet(change ? "" : Bytes({record}), "", change ? Bytes({record}) : "");
      ASSERT_EQ(Patched(), "1:1=x ");
      const MUKAsset* held = index_.Find({1, 1, 0});
      EXPECT_EQ(held->flags.Byte(0), bits == 0 ? 0x90 : 0xBF);
      EXPECT_EQ(held->flags.Byte(1), bits == 0 ? 0x01 : (change ? 0xE5 : 0xC1));
    }
  }
}

TEST_F(PatchSetTest, ChangesReplaceNothing) {
  MUKAsset listed = Asset({1, 1, 0}, "listed");
  listed.Set(AssetFlag::Listed, true);
  SaveIndex("old", {listed, Asset({1, 2, 0}, "held")});
  WriteSet("", "", Bytes({Asset({1, 1, 0}, "n"), Asset({1, 2, 0}, "n"), Asset({1, 3, 0}, "n")}));
  EXPECT_EQ(Patched(), "1:2=held 1:3=n ") << "a listed record goes and is not put back";
}

TEST_F(PatchSetTest, HostilePathsDeleteNothing) {
  fs::create_directories(Root("outside") + "kept");
  fs::create_directory_symlink(Root("outside"), Root("old") + "link");
  for (const std::string& path : {std::string("../outside"), std::string("."), std::string(".."),
                                  std::string("a/../../outside"), Root("outside"),
                                  std::string("link/kept"), std::string("\\..\\outside")}) {
    MUKAsset held = Asset({1, 1, 0}, "held");
    held.legacyPath = path;
    SaveIndex("old", {held});
    WriteSet(Bytes({Asset({1, 1, 0}, "new")}), "", "");
    EXPECT_EQ(Patched(), "1:1=new ") << path;
    EXPECT_TRUE(fs::exists(Root("outside") + "kept")) << path;
  }
}

TEST_F(PatchSetTest, ASetCutAnywhereIsAppliedAsFarAsItGoes) {
  MUKAsset record = Asset({1, 1, 0}, "name");
  record.description = std::string(600, 'd').c_str();
  const std::string whole = Bytes({record});
  for (std::size_t size = 0; size < whole.size(); size += size < 130 ? 1 : 61) {
    SaveIndex("old", {});
    WriteSet(whole.substr(0, size), std::string(size % 8, 'x'), "");
    const std::string patched = Patched();
    EXPECT_EQ(index_.Count(), size == 0 ? 0u : 1u) << size;
    EXPECT_EQ(patched.starts_with("1:1="), size > 8) << size;
  }
}

TEST_F(PatchSetTest, AFailedPatchLeavesTheIndexAsItWas) {
  SaveIndex("old", {Asset({1, 1, 0}, "a")});
  const std::string path = Root("old") + kIndex;
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
  SaveIndex("old", {legacy});
  fs::create_directories(Root("old") + "world/a");
  WriteSet(Bytes({Asset({1, 1, 0}, "b")}), "", "");
  fs::create_directory(path + ".saving");
  const std::string held = ReadWholeFile(path);
  EXPECT_TRUE(Apply());
  EXPECT_EQ(ReadWholeFile(path), held);
  EXPECT_TRUE(fs::exists(Root("old") + "world/a"));
}

}  // namespace
