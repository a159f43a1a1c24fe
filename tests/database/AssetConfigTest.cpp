#include "database/AssetConfig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "database/AssetUpdate.h"
#include "database/ClassRule.h"
#include "database/CodeList.h"
#include "database/EraRule.h"
#include "database/MUKAsset.h"
#include "database/NameRule.h"
#include "database/RegionRule.h"
#include "tagdata/TagContainer.h"

namespace {

/// A config of texts, from a form such as "kind=map&name=Hill Climb".
TagContainer Config(std::string_view form) {
  TagContainer config;
  config.Ensure();
  while (!form.empty()) {
    const std::string_view tag = form.substr(0, form.find('&'));
    const std::size_t equals = tag.find('=');
    config.SetString(Zef::PString(tag.substr(0, equals)), tag.substr(equals + 1));
    form.remove_prefix(std::min(tag.size() + 1, form.size()));
  }
  return config;
}

TEST(ClassRule, JoinsOldCodesAndKindsThatAgree) {
  const struct {
    const char *tags, *category;
  } cases[] = {
      {"kind=traincar&category-class=AS&engine=1", "TR;TV;TDR;LOCO"},
      {"kind=traincar&tender=1&engine=1", "TR;TV;TEND"},
      {"kind=traincar&engine=2", "TR;TV;ROLL"},
      {"kind=traincar&category-class=xgB", "TR;TV;FRT;HOPP;ROLL"},
      {"kind=traincar&category-class=OHD", "TR;TV;ROLL"},
      {"kind=map&category-class=AS", "RT"},  // the code is another kind's
      {"kind=spline&category-class=SP", "SPLN;BRG"},
      {"kind=track&category-class=TR&istrack=1", "TK"},
      {"kind=bridge&category-class=TR&istrack=1", "TK;RLS"},
      {"kind=track&category-class=TR&istrack=0", "SPLN"},
      {"kind=bridge&istrack=0&type=tunnels", "SPLN;TUN"},
      {"kind=bridge&trackside=&istrack=0&type=tunnels", "TK;TUN"},
      {"kind=scenery&category-class=WX&trackside=0", "TO"},
      {"kind=scenery&type=trackside", "SY;SCEN"},
      {"kind=mosignal&category-class=WA", "TO;?WA"},
      {"category-class=AS", ""},
      {"category-class=OA", "FA"},
      {"type=locomotive&istrack=1", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(ConfigCategory(Config(c.tags)), c.category) << &c - cases;
}

TEST(NameRule, CleansBothEndsInEitherEncoding) {
  const struct {
    const char *name, *clean;
  } cases[] = {
      {"_'Big Boy'_", "Big Boy"},
      {"''", "Untitled"},
      {" \t\r\n_", "Untitled"},
      {"\"'Big Boy'\"", "'Big Boy'"},  // one quote an end
      {"\x93Loco\x94", "Loco"},
      {"\xE2\x80\x9CLoco\xE2\x80\x9D", "Loco"},
      {"OSOBN\xC3\x93", "OSOBN\xC3\x93"},                // O acute
      {"Big Boy \xE2\x80\x94", "Big Boy \xE2\x80\x94"},  // a dash
      {"\xF0\x9F\x9A\x94", "\xF0\x9F\x9A\x94"},
      {"Big Boy\x93\x93", "Big Boy\x93"},
      {"\xC1\x94", "\xC1"},  // leads nothing
  };
  for (const auto& c : cases) EXPECT_EQ(CleanName(c.name), c.clean) << &c - cases;
}

TEST(NameRule, FallsBackToTheFolder) {
  MUKAsset record;
  EXPECT_EQ(ConfigName(record, Config("name=old&username=new")), "new");
  EXPECT_EQ(ConfigName(record, Config("name=old&username=")), "old");
  EXPECT_EQ(ConfigName(record, Config("")), "Untitled");
  record.editPath = "editing\\_mine_\\";
  EXPECT_EQ(ConfigName(record, Config("")), "mine");
  record.legacyPath = "old:engine";
  EXPECT_EQ(ConfigName(record, Config("")), "engine");
}

TEST(RegionRule, TakesTheFirstTagThatIsThere) {
  const struct {
    const char* tags;
    float build;
    const char* region;
  } cases[] = {
      {"category-region=au;us ; FR;nowhere;Us;Britain&region=FR", 3, "AU;US;UK"},
      {"category-region=&region=FR", 3, ""},
      {"category-region-0=us  &category-region-1=?&category-region-2=USA", 3, "US"},
      {"category-region-0=gb&category-region-2=FR&region=DE", 3, "UK"},
      {"category-region-1=US&region=swiss_alps&origin=US", 3, "CH"},
      {"region=&origin=Third_Party_AU", 3, "AU"},
      {"region=to", 2.4f, "00"},
      {"region=to", 2.5f, "TO"},
      {"category-region=TO;FR", 2.4f, "TO;FR"},
      {"", 3, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ConfigRegion(Config(c.tags), c.build), c.region) << &c - cases;
  }
}

TEST(EraRule, KeepsYearsOnly) {
  EXPECT_EQ(ConfigEra(Config("category-era-0=1960s&category-era-1=sixties&category-era-2=196"
                             "&category-era-3= 70S &category-era-4=1960ss&category-era-5=1960")),
            "1960;70;1960");
  EXPECT_EQ(ConfigEra(Config("category-era=1960s;x&category-era-0=1970s")), "1960s;x");
  EXPECT_EQ(ConfigEra(Config("category-era-0=s&category-era-1= ")), "");
  const std::pair<std::int32_t, const char*> years[] = {
      {-5, "1900"}, {1909, "1900"}, {1910, "1910"}, {1999, "1990"}, {2147483647, "2000"}};
  for (const auto& [year, form] : years) EXPECT_EQ(EraFilterForm(year), form);
}

TEST(BuildRule, GuessesWhereTheConfigIsSilentOrWrong) {
  EXPECT_EQ(ConfigBuild(Config("quarle-build=2.4&mesh-table=")), 2.4f);
  EXPECT_EQ(ConfigBuild(Config("quarle-build=100&mesh-table=")), 2.0f);
  EXPECT_EQ(ConfigBuild(Config("quarle-build=0.9&scriptclass=")), 2.0f);
  EXPECT_EQ(ConfigBuild(Config("quarle-build=new")), 1.3f);
  TagContainer config = Config("");
  config.SetFloat("quarle-build", std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(ConfigBuild(config), 1.3f);
}

TEST(Privileges, DependOnBuildAndOrigin) {
  constexpr AssetFlag kPermits[] = {AssetFlag::PermitCommit, AssetFlag::PermitEdit,
                                    AssetFlag::PermitListing};
  const char* const denied = "permit-commit=0&permit-edit=0&permit-listing=0";
  const struct {
    float build;
    bool builtIn;
    const char *privileges, *tags;
    const char* permits;  // commit, edit, listing
  } cases[] = {
      {2.4f, true, nullptr, "secret=1&product-type=Template", "++-"},
      {2.4f, true, nullptr, "secret=0&product-type=template", "+++"},
      {2.4f, true, denied, "", "---"},
      {2.4f, false, denied, "", "++-"},
      {2.4f, false, "", "secret=1", "++-"},
      {2.5f, true, nullptr, "", "+++"},
      {2.5f, false, nullptr, "secret=1", "++-"},
      {2.5f, true, denied, "secret=0", "--+"},
  };
  for (const auto& c : cases) {
    MUKAsset record;
    record.build = c.build;
    record.Set(AssetFlag::BuiltIn, c.builtIn);
    TagContainer config = Config(c.tags);
    if (c.privileges != nullptr) config.SetSubContainer("privileges", Config(c.privileges));
    for (const bool before : {false, true}) {
      for (const AssetFlag flag : kPermits) record.Set(flag, before);
      ReadPrivileges(record, config);
      std::string permits;
      for (const AssetFlag flag : kPermits) permits += record.Has(flag) ? '+' : '-';
      EXPECT_EQ(permits, c.permits) << &c - cases;
    }
  }
}

TEST(FillFromConfig, DerivesEveryField) {
  TagContainer config = Config(
      "plid=<plid2:5:6:1>&kind=profile&username='Hill Climb'&region=to&category-era=1960s"
      "&company=Acme (Steam), Ltd&map-plid=<plid2:5:7:1>&quarle-build=2.4&product-type=ReSkin");
  MUKAsset record;
  record.Set(AssetFlag::InArchiveKnown, true);
  ASSERT_TRUE(FillFromConfig(record, config, true, nullptr));
  EXPECT_EQ(record.id, PLID(5, 6, 1));
  EXPECT_EQ(record.category, "SS");
  EXPECT_EQ(record.name, "Hill Climb");
  EXPECT_EQ(record.region, "00");  // by the build that the config tells, though the record had none
  EXPECT_EQ(record.era, "1960s");
  EXPECT_EQ(record.keywords, "acme;steam;ltd");
  EXPECT_EQ(record.mapId, PLID(5, 7, 1));
  EXPECT_EQ(record.build, 2.4f);
  EXPECT_TRUE(record.Has(AssetFlag::IsReskin));
  EXPECT_FALSE(record.Has(AssetFlag::InArchiveKnown));

  // Read again after an edit: a known build stays, everything else follows the config.
  config = Config(
      "plid=<plid2:5:8:1>&kind=map&quarle-build=2.9&category-keyword=One;TWO"
      "&map-plid=<plid2:5:7:1>");
  ASSERT_TRUE(FillFromConfig(record, config, false, nullptr));
  EXPECT_EQ(record.id, PLID(5, 6, 1));
  EXPECT_EQ(record.build, 2.4f);
  EXPECT_EQ(record.keywords, "one;two");
  EXPECT_TRUE(record.mapId.IsNull());
  EXPECT_FALSE(record.region.HasStorage());
  EXPECT_FALSE(record.Has(AssetFlag::IsReskin));

  // Longer than an index file holds.
  std::string name = "a;" + std::string(70'000, 'n');
  name.replace(65'533, 2, "\xC3\xA9");
  config.SetString("username", name);
  config.SetString("category-keyword", name.substr(0, 60'000) + ";some;" + name);
  ASSERT_TRUE(FillFromConfig(record, config, false, nullptr));
  EXPECT_EQ(record.name, name.substr(0, 65'533));
  EXPECT_EQ(record.keywords, name.substr(0, 60'000) + ";some;a");
}

// A rule that looks at a tag which the filter drops would see it in no scan.
TEST(FillFromConfig, FindsTheSameInAConfigReadByItsFilter) {
  const char* const configs[] = {
      "plid <plid2:1:2:3>\nKind traincar\ncategory-class AS\nengine 1\ncompany \"Acme (UK)\"",
      "kind traincar\ntender 1\nusername x\ncategory-keyword y\ncategory-region fr;us",
      "kind bridge\nistrack 1\ntype tunnels\nname z\norigin \"Swiss_Alps\"\nmesh-table {\n}",
      "kind track\nisroad 1\nregion de\ncategory-era 1960\nclass a",
      "kind scenery\ntrackside 0\ncategory-region-0 au\ncategory-region-1 us\nscriptclass a",
      "kind profile\nmap-plid <plid:5:6>\ncategory-era-0 1960s\ncategory-era-1 1970s",
      "secret 1\nproduct-type template\nquarle-build 2.4",
      "product-type reskin\nquarle-build 3\nprivileges {\npermit-commit 0\npermit-listing 0\n}",
      "quarle-build 3\nprivileges {\npermit-edit 0\npermit-listing 1\n}\nsecret 1",
      "plid-table {\na <plid:1:1>\nb <plid:1:2>\na <plid:1:3>\n}",
      "obsolete-table {\n0 <plid:2:2>\n}",
  };
  const auto told = [](const TagContainer& config) {
    MUKAsset record;
    record.Set(AssetFlag::BuiltIn, true);
    EXPECT_TRUE(FillFromConfig(record, config, false, nullptr));
    std::string text = record.mapId.TagText() + std::to_string(record.build);
    for (const auto* field : {&record.category, &record.name, &record.region, &record.era}) {
      text += '|' + field->String();
    }
    text += '|' + record.keywords.String() + '|';
    for (const auto flag : {AssetFlag::IsReskin, AssetFlag::PermitCommit, AssetFlag::PermitEdit,
                            AssetFlag::PermitListing}) {
      text += record.Has(flag) ? '+' : '-';
    }
    const AssetRelations relations = RelationsOf({1, 2, 3}, config);
    for (const auto* list : {&relations.obsolete, &relations.dependencies}) {
      for (const PLID& id : *list) text += id.TagText();
    }
    return text;
  };
  for (const char* const text : configs) {
    TagContainer whole;
    TagContainer filtered;
    ReadTagText(whole, text);
    ReadTagText(filtered, std::string(text) + "\nthumbnails {\nplid 1\n}\nother 1", UseOfConfigTag);
    EXPECT_EQ(told(filtered), told(whole)) << text;
    EXPECT_EQ(filtered.GetCount(), whole.GetCount()) << text;
  }
}

TEST(CodeList, MatchesWordsAndMakesKeywords) {
  const struct {
    const char *list, *expression;
    bool matches;
  } cases[] = {
      {"TR;TV;LOCO", "TR;TV|TK", true},
      {"TR;TV", "TR;-TV", false},
      {"TR", "TR;-TV", true},
      {"TR", "", true},
      {"TR", "TR;", false},
      {"TR", ";TR", false},
      {"TR;TV", "TR;;TV", false},
      {"TV", "TR|", false},
      {"TV", "|TR|TV", true},
      {"TV", "TR;|TV", true},
      {"TRX", "TR", false},
      {"TR", "-", false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(MatchCodes(c.list, c.expression), c.matches) << c.expression;
  const std::pair<const char*, const char*> keywords[] = {
      {"Acme (UK)", "acme;uk;"}, {"a; b", "a;b"}, {" 'x", "x"}, {"[ ]", ""}, {"a;;b", "a;;b"}};
  for (const auto& [text, words] : keywords) EXPECT_EQ(KeywordForm(text), words) << text;
}

TEST(FillFromConfig, RefusesWithoutTouchingTheRecord) {
  MUKAsset record;
  record.id = PLID(1, 2, 3);
  record.name = "kept";
  const TagContainer holder = Config("value=text");
  const TagContainer refused[] = {TagContainer(), TagContainer(NullChunk()),
                                  TagContainer(holder.GetTag("value")), Config(""),
                                  Config("plid=gibberish&name=new")};
  for (const TagContainer& config : refused) {
    EXPECT_FALSE(FillFromConfig(record, config, true, nullptr)) << &config - refused;
  }
  EXPECT_EQ(record.id, PLID(1, 2, 3));
  EXPECT_EQ(record.name, "kept");
}

TEST(FillFromConfig, MeasuresOnlyWhatIsUnknownAndOnDisk) {
  constexpr std::uint32_t kUnknown = MUKAsset::kSizeUnknown;
  const struct {
    const char *legacyPath, *installPath;
    bool builtIn;
    std::uint32_t before, after;
    int calls;
  } cases[] = {
      {"a", "", true, kUnknown, 77, 1}, {"", "b", false, kUnknown, 77, 1},
      {"", "b", true, kUnknown, 0, 0},  {"", "", false, kUnknown, kUnknown, 0},
      {"a", "b", false, 0, 0, 0},
  };
  for (const auto& c : cases) {
    MUKAsset record;
    record.legacyPath = c.legacyPath;
    record.installPath = c.installPath;
    record.Set(AssetFlag::BuiltIn, c.builtIn);
    record.sizeBytes = c.before;
    int calls = 0;
    ASSERT_TRUE(FillFromConfig(record, Config(""), false, [&](const MUKAsset& measured) {
      EXPECT_EQ(&measured, &record);
      return ++calls, 77u;
    }));
    EXPECT_EQ(record.sizeBytes, c.after) << &c - cases;
    EXPECT_EQ(calls, c.calls) << &c - cases;
  }
}

TEST(FillFromConfig, StaysBoundedForHostileConfigs) {
  constexpr int kTags = 20'000;
  constexpr int kWords = 200'000;
  TagContainer config = Config("kind=bridge");
  for (int i = 0; i < kTags; ++i) {
    const std::string number = std::to_string(i);
    config.SetString(("category-region-" + number).c_str(), i % 2 == 0 ? "Zimbabwe" : "nowhere");
    config.SetString(("category-era-" + number).c_str(), "1960s");
  }
  std::string huge;
  std::string regions;
  for (int i = 0; i < kWords; ++i) {
    huge += ";-|\x93(";
    regions += "nowhere;zw ;";
  }
  for (const char* const key : {"type", "company", "username", "category-class"}) {
    config.SetString(key, huge);
  }
  for (int depth = 0; depth < 5000; ++depth) {
    TagContainer outer = Config("");
    outer.SetSubContainer("privileges", config.GetSubContainer("privileges"));
    config.SetSubContainer("privileges", outer);
  }
  MUKAsset record;
  ASSERT_TRUE(FillFromConfig(record, config, false, nullptr));
  EXPECT_EQ(record.category, "SPLN;BRG");
  EXPECT_EQ(record.region, "ZW");
  EXPECT_EQ(record.era.View().size(), 65'534u) << "of 13107 whole words";
  config.SetString("category-region", regions);
  EXPECT_EQ(ConfigRegion(config, 3.0f), "ZW");
}

}  // namespace
