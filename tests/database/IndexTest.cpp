#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "database/IndexHost.h"
#include "database/ShownName.h"
#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"
#include "tests/database/IndexFixture.h"
#include "tests/support/TestFiles.h"

namespace {

using Test::Asset;
using Test::Names;

constexpr PLID kA(1, 1, 0), kB(1, 2, 0), kC(1, 3, 0), kD(1, 4, 0);

/// A host whose assets declare what a test says.
class DeclaringHost final : public IndexHost {
 public:
  void Touch() override {}
  void MarkChanged(std::uint32_t) override {}
  void BeforeSave() override {}
  std::int64_t UnixTime() override { return 0; }
  std::vector<PLID> ReadObsoleteList(const MUKAsset& asset) override {
    return declared[asset.name.String()];
  }
  PLID NextLocalId() override { return {}; }

  std::map<std::string, std::vector<PLID>> declared;
};

TEST(ObsoleteRows, KeepPointingToTheEndOfTheChain) {
  const struct {
    std::vector<std::pair<PLID, PLID>> rows;
    bool lastIsTaken;
    PLID expectedForA;
  } cases[] = {
      {{{kA, kB}, {kB, kA}}, false, kB},
      {{{kA, kB}, {kB, kC}}, true, kC},
      {{{kB, kC}, {kA, kB}}, true, kC},
      {{{kA, kB}, {kB, kC}, {kC, kA}}, false, kC},
      {{{kA, kB}, {kB, kC}, {kA, kD}, {kC, kA}}, true, kD},
      {{{kA, kA}}, false, kA},
      {{{kA, PLID()}}, false, kA},
      {{{PLID(33554431, -1, 127), kB}}, false, kA},  // would be stored as the end of the list
  };
  for (const auto& c : cases) {
    MUKAssetIndex index;
    bool taken = false;
    for (const auto& [old, given] : c.rows) taken = index.AddObsoleteRow(old, given);
    EXPECT_EQ(taken, c.lastIsTaken) << &c - cases;
    EXPECT_EQ(index.Resolve(kA), c.expectedForA) << &c - cases;
    EXPECT_EQ(index.ResolveExact(kA), c.expectedForA == kA ? PLID() : c.expectedForA);
  }
}

TEST(ObsoleteRows, AreSkippedExactlyWhenTheyCanBeRead) {
  std::mt19937 random(1);
  int bad = 0;
  for (int round = 0; round < 2000; ++round) {
    Zef::ByteWriter out;
    const unsigned ids = 2 + random() % 2;
    out.U32(ids - 2);
    for (unsigned i = random() % (5 * ids); i > 0; --i) {
      const auto content = static_cast<std::int32_t>(random() % 40);
      PutStoredId(out, content == 39 ? PLID() : PLID(1, content, 0));
    }
    if (random() % 8 != 0) PutStoredId(out, PLID());
    Zef::ByteReader read(out.View().data(), out.Size());
    Zef::ByteReader skipped(out.View().data(), out.Size());
    const bool whole = ObsoleteTable().Read(read);
    EXPECT_EQ(ObsoleteTable::Skip(skipped), whole) << round;
    EXPECT_TRUE(!whole || skipped.Position() == read.Position()) << round;
    bad += whole ? 0 : 1;
  }
  EXPECT_GT(bad, 100);
  EXPECT_LT(bad, 1900);
}

TEST(ObsoleteRows, ComeFromVersionsAndFromTheUsersOwnDeclarations) {
  DeclaringHost host;
  MUKAssetIndex index(&host);
  const PLID id(7, 1, 3);
  host.declared["new"] = {{7, 2, 5}, {8, 2, 0}, {7, 1, 9}};
  const MUKAsset& old = index.Add(Asset({7, 2, 5}, "old"));
  EXPECT_FALSE(index.IsObsolete(old));
  index.RereadObsolete(index.Add(Asset(id, "new")));
  for (const PLID& gone : {PLID(7, 1, 0), PLID(7, 1, 2), PLID(7, 2, 5)}) {
    EXPECT_EQ(index.Resolve(gone), id);
  }
  EXPECT_EQ(index.Resolve({8, 2, 0}), PLID(8, 2, 0)) << "another user's";
  EXPECT_EQ(index.Resolve({7, 1, 9}), PLID(7, 1, 9)) << "a version of its own";
  EXPECT_TRUE(index.IsObsolete(old));

  host.declared["default"] = {{8, 2, 0}};
  index.RereadObsolete(index.Add(Asset({-5, 1, 0}, "default")));
  EXPECT_EQ(index.Resolve({8, 2, 0}), PLID(-5, 1, 0)) << "built-in users declare for all";
}

// What would change its value on disk would make the next load refuse the whole file.
TEST(SideTables, RefuseIdentifiersThatDoNotSurviveStorage) {
  const PLID wide(33554427, 1, 0);  // stored, it reads (-5, 1, 0)
  const ::Test::TempFolder folder;
  MUKAssetIndex index;
  EXPECT_FALSE(index.AddObsoleteRow(wide, {-5, 1, 0}));
  EXPECT_FALSE(index.AddObsoleteRow({1, 1, 0}, {33554431, -1, 127}));
  DependencyTable& table = index.Companions().dependencies;
  table.Replace({1, 1, 0}, {wide, {1, 2, 0}, PLID()});
  table.Replace({1, 3, 0}, {{1, 2, 0}});
  table.Replace({1, 1, 0}, {{1, 4, 0}});
  EXPECT_EQ(table.DependentsOf({1, 2, 0}), std::vector<PLID>{PLID(1, 3, 0)});
  ArchiveList::Archive archive;
  archive.assets = {PLID(), wide, {1, 1, 0}};
  index.AddArchive(archive);
  index.Companions().users.entries.emplace_back().profileId = 0xFFFFFFFF;
  ASSERT_TRUE(index.Save(folder / "i"));
  ASSERT_TRUE(index.Load(folder / "i"));
  EXPECT_EQ(index.Companions().archives.All().at(0).assets.size(), 1u);
  EXPECT_EQ(table.Count(), 2u);
}

// So many changes that both tables throw away what they no longer need.
TEST(SideTables, KeepWhatStandsThroughThousandsOfChanges) {
  ObsoleteTable obsolete;
  DependencyTable dependencies;
  std::map<int, PLID> now;
  for (int i = 0; i < 4000; ++i) {
    const int old = i % 40;
    now[old] = PLID(2, i, 0);
    ASSERT_TRUE(obsolete.AddRow({1, old, 0}, now[old]));
    dependencies.Replace({1, old, 0}, {now[old], {9, old % 5, 0}});
    if (i % 100 == 3) {  // replaced itself
      ASSERT_TRUE(obsolete.AddRow(std::exchange(now[old], {3, i, 0}), {3, i, 0}));
    } else if (i % 9 == 0) {
      EXPECT_EQ(obsolete.RemoveReplacedBy(now[old]), std::vector<PLID>{PLID(1, old, 0)});
      now[old] = PLID();
    }
    if (i % 100 != 99) continue;
    for (const auto& [content, replacement] : now) {
      ASSERT_EQ(obsolete.ResolveExact({1, content, 0}), replacement) << i;
      ASSERT_EQ(dependencies.DependenciesOf({1, content, 0}).size(), 2U);
      ASSERT_EQ(dependencies.DependentsOf({9, content % 5, 0}).size(), 8U);
    }
    ASSERT_EQ(dependencies.DependenciesOf({1, old, 0})[0], PLID(2, i, 0));
    ASSERT_EQ(dependencies.DependentsOf({2, i, 0}), std::vector<PLID>{PLID(1, old, 0)});
    ASSERT_EQ(dependencies.Count(), 80U);
  }
}

TEST(IndexRemove, FreesWhatTheRecordHadReplaced) {
  DeclaringHost host;
  MUKAssetIndex index(&host);
  MUKAsset middle = Asset(kB, "middle");
  middle.installPath = "here";
  host.declared["middle"] = {kA};
  index.RereadObsolete(index.Add(std::move(middle)));
  const MUKAsset& newest = index.Add(Asset(kC, "newest"));
  index.AddObsoleteRow(kB, kC);
  ASSERT_EQ(index.Resolve(kA), kC);
  index.Remove(kC);
  EXPECT_EQ(index.Resolve(kA), kB) << "declared again by the record that is back";
  EXPECT_EQ(index.Resolve(kB), kB);
  EXPECT_EQ(newest.name, "newest") << "a removed record stays where it is";
}

TEST(IndexRemove, ShowsTheNextRecordOfTheIdentifier) {
  MUKAssetIndex index;
  for (const char* name : {"z", "m", "a"}) index.Add(Asset(kA, name));
  index.Add(Asset(kB, "b"));
  index.Sort();
  std::string seen;
  while (const MUKAsset* record = index.Find(kA)) {
    seen += record->name.String();
    index.Remove(kA);
  }
  EXPECT_EQ(seen, "zma");
  index.Add(Asset(kA, "A"));
  EXPECT_EQ(Names(index), "b A ");
  EXPECT_EQ(index.Records().front()->name, "b") << "sorted only by the next Sort";
}

TEST(ShownName, OrdersByTheCollationAndNothingElse) {
  const std::string head(31, 'a');
  const std::string longer[] = {head + "A", head + "a0", head + "b", std::string(80, 'b'),
                                std::string(80, 'b') + "c"};
  std::vector<MUKAsset> ordered;
  for (const char* name :
       {static_cast<const char*>(nullptr), "", "a", longer[0].c_str(), longer[1].c_str(),
        longer[2].c_str(), "abcdefgh", "abcdefghi", "B", longer[3].c_str(), longer[4].c_str(), "z",
        " ", "1", "@", "\xC3\xA9", "\x01"}) {
    ordered.push_back(Asset(kA, name));
  }
  std::vector<MUKAsset*> expected;
  for (MUKAsset& record : ordered) expected.push_back(&record);
  std::vector<MUKAsset*> sorted = expected;
  std::mt19937 random(1);
  for (int round = 0; round < 100; ++round) {
    std::shuffle(sorted.begin(), sorted.end(), random);
    SortByShownName(sorted);
    EXPECT_EQ(sorted, expected) << round;
  }
  MUKAssetIndex index;
  const char* const names[] = {"same", "Zebra", "SAME", "abcdefghz", "abcdefgha"};
  for (const char* name : names) index.Add(Asset(kA, name));
  MUKAsset renamed = Asset(kA, "first by name");
  renamed.userName = "zz";
  index.Add(std::move(renamed));
  index.Sort();
  std::string order;
  for (const MUKAsset* record : index.Records()) order += record->ShownName().String() + ' ';
  EXPECT_EQ(order, "abcdefgha abcdefghz same SAME Zebra zz ") << "equal names keep their order";
}

TEST(IndexMerge, JoinsPlacesThatDoNotContradict) {
  const struct {
    AssetText MUKAsset::*field;
    const char *held, *offered;
    const char* expected;  // null: refused
  } cases[] = {{&MUKAsset::editPath, nullptr, "e", "e"},    {&MUKAsset::editPath, "e", "", "e"},
               {&MUKAsset::editPath, "e", "f", nullptr},    {&MUKAsset::installPath, "i", "i", "i"},
               {&MUKAsset::installPath, "i", "I", nullptr}, {&MUKAsset::legacyPath, "", "l", "l"},
               {&MUKAsset::archiveName, "a", "b", nullptr}};
  for (const auto& c : cases) {
    MUKAssetIndex index;
    MUKAsset& held = index.Add(Asset(kA, "held"));
    MUKAsset offered = Asset(kA, "offered");
    if (c.held != nullptr) held.*c.field = c.held;
    offered.*c.field = c.offered;
    offered.Set(AssetFlag::Patched, true);
    const bool joined = c.expected != nullptr;
    EXPECT_EQ(index.Merge(offered), joined) << &c - cases;
    EXPECT_EQ((held.*c.field).View(), joined ? c.expected : c.held) << &c - cases;
    EXPECT_EQ(held.Has(AssetFlag::Patched), joined);
    EXPECT_EQ(held.Has(AssetFlag::InArchiveKnown), !joined);
  }
}

TEST(IndexRecords, AreSearchedByNameKeywordsAndClass) {
  MUKAssetIndex index;
  MUKAsset& made = *index.CreateNew(kB);
  EXPECT_EQ(index.SearchText(made).View(), "new;asset");
  made.userName = "My \"Big\" Engine, old";
  made.keywords = "steam;big";
  made.category = "TR;LOCO";
  index.ForgetSearchText(made);
  EXPECT_EQ(index.SearchText(made).View(), "my;big;engine;old;steam;locomotive");

  // More words than are looked for one by one, each twice.
  std::string many;
  for (int word = 0; word < 200; ++word) many += "w" + std::to_string(word) + ";";
  made.keywords = "old;" + many + many;
  index.ForgetSearchText(made);
  EXPECT_EQ(index.SearchText(made).View(), "my;big;engine;old;" + many + "locomotive");
}

}  // namespace
