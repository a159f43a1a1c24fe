#include "database/ClassTables.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "database/RegionTable.h"

namespace {

TEST(ClassTables, KindsFallThroughTheirDetails) {
  const struct {
    const char *kind, *details, *classes;
  } cases[] = {
      {"bridge", "tunnels;road", "SPLN;TUN"},
      {"bridge", "tunnels", "TK;TUN"},
      {"bridge", "Tunnels", "SPLN;BRG"},
      {"scenery", ";trackside", "TO"},
      {"scenery", "", "SY;SCEN"},
      {"traincar", ";tender;locomotive", "TR;TV;TEND"},
      {"Traincar", "tender", ""},
      {"", "rollingstock", "TR;TV;ROLL"},
      {"", "canoe", ""},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(KindCodes(c.kind, c.details), c.classes) << c.kind << ' ' << c.details;
  }
  EXPECT_EQ(KindOfCodes("TR;TV;TDR"), "traincar");
  EXPECT_EQ(KindOfCodes("RD;SPLN"), "track");
  EXPECT_EQ(KindOfCodes("TX;ENV;SKYS"), "");
}

TEST(ClassTables, TheHeaviestNameWins) {
  const struct {
    const char *category, *name, *key;
  } cases[] = {
      {"TK;BRG", "Bridge", "Track"},
      {"TX;ENV;GRND", "TextureEnv", "TextureEnv"},
      {"TR;TV;LOCO", "Train", "Train"},
      {"TR;CMP;HORN;SD", "Sound", "Sound"},
      {"TR;CMP;BOGY", "Train Component", "Train"},
      {"BD;IND;ACTV;FIXD", "Industry", "Building"},
      {"FIXD;SWT", "Fixed Track", "Misc"},
      {"PROD", "Unknown", "Misc"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ClassName(c.category), c.name) << c.category;
    EXPECT_EQ(ClassKey(c.category), c.key) << c.category;
  }
}

TEST(RegionTable, EveryNameLeadsToItsOwnCode) {
  ASSERT_EQ(RegionTable().size(), 240u + 1 + 19);
  std::map<std::string_view, std::string_view> chief;
  for (const RegionRow& row : RegionTable()) {
    EXPECT_EQ(RegionCodeByName(row.name), row.code) << row.name;
    EXPECT_TRUE(IsRegionCode(row.code)) << row.code;
    EXPECT_EQ(RegionName(row.code), chief.emplace(row.code, row.name).first->second);
  }
  EXPECT_EQ(chief.size(), 241u);
  EXPECT_EQ(RegionCodeByName("bRITAIN"), "UK");
  EXPECT_EQ(RegionCodeByName("Brit"), "");
  for (const char* const unknown : {"GB", "uk", "", "0", "000", "ZZ", "USA"}) {
    EXPECT_FALSE(IsRegionCode(unknown)) << unknown;
  }
}

}  // namespace
