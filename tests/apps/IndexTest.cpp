#include <limits>

#include "tests/apps/QuarleProgram.h"
#include "tests/tagdata/TagBytes.h"

namespace {

using namespace Test;
using nlohmann::json;

using IndexCommands = QuarleProgram;

MUKAsset FullRecord() {
  MUKAsset record = Asset(2, "b\xE9ton\x1b[31m");  // Latin-1, and a sequence that turns text red
  record.id = PLID(1, 2, 3);
  record.category = "TR;LOCO";
  record.region = "DE";
  record.era = "1950s";
  record.keywords = "a;b";
  record.editPath = "editing/b";
  record.installPath = "hash-1/b";
  record.archiveName = "local";
  record.legacyPath = "trains/b";
  record.mapId = PLID(1, 9, 0);
  record.sizeBytes = 12;
  record.build = 3.7f;
  record.rating = 4;
  record.uploadTime = 5'000'000'000;
  record.modifyTime = 6;
  record.description = "";
  record.userName = "mine";
  return record;
}

/// Fills every table of the file.
void FillTables(MUKAssetIndex& index) {
  ASSERT_TRUE(index.AddObsoleteRow(PLID(1, 2, 1), PLID(1, 2, 3)));
  IndexCompanions& companions = index.Companions();
  companions.dependencies.Replace(PLID(1, 2, 3), {PLID(1, 1, 0)});
  companions.users.entries.emplace_back();
  companions.users.entries.back().name = "someone";
  companions.users.entries.back().userId = -7;
  TagContainer inner;
  inner.SetInt("number", -5);
  inner.SetFloatArray("floats", {0.5f, 1.5f});
  inner.SetPLID("id", PLID(1, 2, 3));
  inner.SetBinary("bytes", "\x0F\xA0", 2);
  inner.SetNull("nothing");
  inner.SetString("text", "hello");
  TagContainer tags;
  tags.SetSubContainer("<plid:1:1>", inner);
  companions.configCache.Set(tags);
  ArchiveList::Archive archive;
  archive.name = "content";
  archive.assets = {PLID(1, 1, 0)};
  companions.archives.Add(std::move(archive));
  companions.station.urlQueue.emplace_back();
  companions.station.urlQueue.back() = "http://x";
  companions.storedValue = 77;
  companions.storedFloat = std::numeric_limits<float>::infinity();
}

TEST_F(IndexCommands, ShowGivesEveryFieldAndTable) {
  MUKAssetIndex index;
  index.Add(FullRecord());
  index.Add(Asset(1, "a"));
  FillTables(index);
  Save("i.mkx", index);
  const json shown = Run("index show i.mkx --json").Json();
  const json record = {
      {"id", "<plid2:1:2:3>"},
      {"category", "TR;LOCO"},
      {"name", "b\uFFFDton\x1b[31m"},
      {"region", "DE"},
      {"era", "1950s"},
      {"keywords", "a;b"},
      {"editPath", "editing/b"},
      {"installPath", "hash-1/b"},
      {"archiveName", "local"},
      {"legacyPath", "trains/b"},
      {"mapId", "<plid:1:9>"},
      {"flags",
       {"enabled", "inArchiveKnown", "builtIn", "permitCommit", "permitEdit", "permitListing"}},
      {"sizeBytes", 12},
      {"build", 3.7},
      {"rating", 4},
      {"uploadTime", 5'000'000'000},
      {"modifyTime", 6},
      {"description", ""},
      {"userName", "mine"}};
  ASSERT_EQ(shown["records"].size(), 2u);
  EXPECT_EQ(shown["records"][0], record);
  EXPECT_EQ(shown["records"][1]["sizeBytes"], nullptr);
  EXPECT_EQ(shown["records"][1]["rating"], nullptr);
  EXPECT_EQ(shown["version"], 19);
  EXPECT_EQ(shown["obsolete"],
            ::Test::Parsed(R"([{"old":"<plid2:1:2:1>","replacement":"<plid2:1:2:3>"}])"));
  EXPECT_EQ(shown["dependencies"], ::Test::Parsed(R"([["<plid2:1:2:3>","<plid:1:1>"]])"));
  EXPECT_EQ(shown["users"], ::Test::Parsed(R"([{"name":"someone","profileId":0,"userId":-7}])"));
  EXPECT_EQ(shown["configCache"], ::Test::Parsed(R"([{"key":"<plid:1:1>","type":"container","tags":[
      {"key":"number","type":"int","value":-5},
      {"key":"floats","type":"float","value":[0.5,1.5]},
      {"key":"id","type":"plid","value":"<plid2:1:2:3>"},
      {"key":"bytes","type":"binary","value":"0fa0"},
      {"key":"nothing","type":"null","value":null},
      {"key":"text","type":"string","value":"hello"}]}])"));
  EXPECT_EQ(shown["archives"][0]["assets"], json({"<plid:1:1>"}));
  EXPECT_EQ(shown["station"]["urlQueue"], json({"http://x"}));
  EXPECT_EQ(shown["storedValue"], 77);
  EXPECT_EQ(shown["storedFloat"], nullptr);

  const std::string text = Run("index show i.mkx").out;
  for (const char* part :
       {"Records (2)\n  <plid2:1:2:3> ", "mine", "Obsolete (1)\n  <plid2:1:2:1> -> <plid2:1:2:3>",
        "<plid2:1:2:3> needs <plid:1:1>", "-7         someone", "Cached configs (1)",
        "content, 1 asset,", "http://x"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  }
}

// A name from a downloaded index must not reach the terminal as a command.
TEST_F(IndexCommands, ListingsNeverSteerTheTerminal) {
  MUKAsset record = FullRecord();
  record.userName.Clear();
  record.category = "TR\nquarle: forged line";
  Save("i.mkx", {record});
  for (const char* command : {"index show i.mkx", "index stat i.mkx"}) {
    const std::string out = Run(command).out;
    EXPECT_EQ(out.find('\x1b'), std::string::npos) << command;
    EXPECT_EQ(out.find("\nquarle: forged"), std::string::npos) << command;
  }
  EXPECT_NE(Run("index show i.mkx").out.find("b\uFFFDton\uFFFD[31m"), std::string::npos);
}

// Containers under one key stand for the first: here 60 levels of two would print 2^60 tags.
TEST_F(IndexCommands, RepeatedContainersDoNotMultiply) {
  std::string tags;
  for (int level = 0; level < 60; ++level) {
    tags = TagBytes::Record({"k", 2}, 0, tags) + TagBytes::Record({"k", 2}, 0, "");
  }
  MUKAssetIndex index;
  Save("i.mkx", index);
  std::string bytes = Read("i.mkx");
  bytes.replace(bytes.find("HCS$"), 16, TagBytes::File(tags));
  bytes.replace(8, 4, TagBytes::Word(static_cast<std::uint32_t>(bytes.size())));
  Write("i.mkx", bytes);
  const Outcome outcome = Run("index show i.mkx --json");
  json level = outcome.Json()["configCache"];
  for (int depth = 0; depth < 60; ++depth) {
    ASSERT_EQ(level.size(), 2u) << depth;
    EXPECT_EQ(level[1]["repeated"], true);
    level = json(level[0]["tags"]);
  }
}

TEST_F(IndexCommands, CheckTellsDuplicatesFromLooseEnds) {
  const auto ids = [](const PLID& asset, const PLID& other) {
    return std::vector<std::pair<PLID, PLID>>{{asset, other}};
  };
  const PLID a(1, 1, 0), b(1, 2, 0), missing(1, 99, 0);
  const struct {
    const char* what;
    std::vector<MUKAsset> records;
    std::vector<std::pair<PLID, PLID>> obsolete, dependencies;
    int status;
    std::size_t duplicates, looseObsolete, looseDependencies;
  } cases[] = {
      {"sound", {Asset(1, "a"), Asset(2, "b")}, ids(missing, a), ids(a, b), 0, 0, 0, 0},
      {"by way of its replacement", {Asset(1, "a")}, ids(missing, a), ids(a, missing), 0, 0, 0, 0},
      {"loose", {Asset(1, "a")}, ids(a, missing), ids(a, b), 0, 0, 1, 1},
      {"of nobody", {Asset(1, "a")}, {}, ids(missing, a), 0, 0, 0, 1},
      {"twice", {Asset(1, "a"), Asset(2, "b"), Asset(1, "c"), Asset(1, "d")}, {}, {}, 1, 1, 0, 0},
  };
  for (const auto& c : cases) {
    MUKAssetIndex index;
    for (const MUKAsset& record : c.records) index.Add(MUKAsset(record));
    for (const auto& [old, given] : c.obsolete) ASSERT_TRUE(index.AddObsoleteRow(old, given));
    for (const auto& [asset, on] : c.dependencies) {
      index.Companions().dependencies.Replace(asset, {on});
    }
    Save("i.mkx", index);
    const Outcome outcome = Run("index check i.mkx --json");
    EXPECT_EQ(outcome.status, c.status) << c.what;
    EXPECT_EQ(outcome.HasOneErrorLine(), c.status != 0) << c.what;
    const json found = outcome.Json();
    EXPECT_EQ(found["loads"], true) << c.what;
    EXPECT_EQ(found["duplicates"].size(), c.duplicates) << c.what;
    EXPECT_EQ(found["danglingObsolete"].size(), c.looseObsolete) << c.what;
    EXPECT_EQ(found["danglingDependencies"].size(), c.looseDependencies) << c.what;
    EXPECT_EQ(Run("index check i.mkx -q").out, "") << c.what;
  }
  const std::string text = Run("index check i.mkx").out;
  EXPECT_NE(text.find("Identifiers with more than one record (1)\n  <plid:1:1>: 3 records"),
            std::string::npos)
      << text;
}

}  // namespace
