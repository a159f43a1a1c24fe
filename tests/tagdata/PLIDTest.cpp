// Identifiers come from decades of hand-written files: every historic spelling keeps its meaning,
// and none of them may turn into another asset.

#include "tagdata/PLID.h"

#include <gtest/gtest.h>

#include <vector>

#include "kernel/standard/TBuffer.h"

TEST(PLIDText, LaxParserAcceptsEveryHistoricSpelling) {
  const struct {
    PLID expected;
    std::vector<const char*> texts;
  } cases[] = {
      {PLID(), {nullptr, "", "<NULL>", "<nuts", "abcLL>", "config", "42 ", "7:8:9", "<7:8>x"}},
      // Blanks, wrapped numbers and a missing end pass.
      {{5, 6, 0},
       {"<plid:5:6>", "<PLID:5:6>", "<plid2:5:6:0>", "<pLiD: 5: 6", "5:6", "<5:6>", "<5:6",
        "<plid:4294967301:6>"}},
      {{-3, 7, 127}, {"<plid:-3:7>", "-3:7"}},  // a negative user has version 127
      {{5, 6, 127}, {"<plid2:5:6:127>", "<plid2:5:6>"}},
      // What the scan does not reach stays null; a dash may stand anywhere, but ends it.
      {{5, -1, 0}, {"<plid:5", "5-2:3"}},
      {PLID(), {"<plid::7>", "<plid2:5:6:128>", "<plid2:5:6:-1>", "<plid2:-3:6:1>"}},
      {{33554431, 1, 0}, {"33554431:1", "<plid2:33554431:1:0>"}},
      {{-33554432, 1, 127}, {"-33554432:1"}},
      {PLID(), {"33554432:1", "-33554433:1", "<plid2:33554432:1:0>"}},
      {{-1, 42, 127}, {"42", "4294967338"}},
      {{-1, -42, 127}, {"-42"}}};
  for (const auto& c : cases) {
    for (const char* text : c.texts) {
      EXPECT_EQ(PLID(text, /*strict=*/false), c.expected) << (text ? text : "null");
    }
  }
  EXPECT_EQ(PLID(std::string_view("7:8\0x", 5), false), PLID(7, 8, 0)) << "a text ends at its zero";
}

TEST(PLIDText, StrictParserTakesOnlyBracketedForms) {
  const struct {
    PLID expected;
    std::vector<const char*> texts;
  } cases[] = {{{1, 2, 0}, {"<plid:1:2>"}},
               {{-1, 2, 127}, {"<PLID:-1:2>"}},
               {{1, 2, 127}, {"<plid2:1:2>"}},
               {{1, -1, 127}, {"<plid2:1>"}},
               {PLID(),
                {"<plid:1:-2>", "<plid:1:2", "<plid:1:2>x", "<plid: 1:2>", "<plid::2>", "7:8",
                 "<plid2:1:2:3>", "<plid2:-1:2>", "42", "<7:8>"}}};
  for (const auto& c : cases) {
    for (const char* text : c.texts) EXPECT_EQ(PLID(text, /*strict=*/true), c.expected) << text;
  }
}

TEST(PLIDText, PrintsTheShortFormWhereTheVersionSaysNothing) {
  const struct {
    PLID id;
    const char *tag, *html, *words, *delimited;
  } cases[] = {{PLID(), "<NULL>", "&#60;NULL PLID&#62;", "NULLPLID", "NULLPLID"},
               {{5, 6, 0}, "<plid:5:6>", "&#60;plid:5:6&#62;", "plid 5 6", "5_6"},
               {{-3, 7, 127}, "<plid:-3:7>", "&#60;plid:-3:7&#62;", "plid -3 7", "-3_7"},
               {{-1, 42, 127}, "<plid:-1:42>", "&#60;plid:-1:42&#62;", "plid -1 42", "-1_42"},
               {{5, -6, 3}, "<plid2:5:-6:3>", "&#60;plid2:5:-6:3&#62;", "plid2 5 -6 3", "5_-6_3"},
               {{-3, 7, 0}, "<plid2:-3:7:0>", "&#60;plid2:-3:7:0&#62;", "plid2 -3 7 0", "-3_7_0"}};
  EXPECT_EQ(PLID(-33554432, INT32_MIN, 126).TagText(), "<plid2:-33554432:-2147483648:126>");
  for (const auto& c : cases) {
    EXPECT_EQ(c.id.TagText(), c.tag);
    EXPECT_STREQ(c.id.ToTag().Text(), c.tag);
    EXPECT_STREQ(c.id.ToHtml().Text(), c.html);
    EXPECT_EQ(c.id.ToWords(), c.words);
    EXPECT_EQ(c.id.ToDelimited('_'), c.delimited);
  }
}

TEST(PLIDBytes, PackAndUnpackAreInverseWithin25Bits) {
  EXPECT_EQ(PLID(1, 2, 127).PackedWord(), 0xFE000001u);
  EXPECT_EQ(PLID().PackedWord(), 0xFFFFFFFFu);
  for (const PLID& id : {PLID(), PLID(-2, 9, 0), PLID(16777215, 1, 5), PLID(-16777216, -1, 126)}) {
    EXPECT_EQ(PLID::Unpack(id.PackedWord(), static_cast<std::uint32_t>(id.content)), id);
  }
  // Legal users of 26 bits lose their sign in storage; one of them becomes the null identifier.
  EXPECT_EQ(PLID::Unpack(PLID(33554431, 1, 0).PackedWord(), 1), PLID(-1, 1, 0));
  EXPECT_FALSE(PLID(33554431, -1, 127).IsStorable() || PLID().IsStorable());
  EXPECT_TRUE(PLID(-5, 1, 127).IsStorable() && !PLID(33554427, 1, 0).IsStorable());
}

// Lists end with a null identifier or have data behind them; one that has neither loses its last.
TEST(PLIDBytes, ReadAtTheExactEndGivesNull) {
  Zef::TBuffer stream;
  PLID(5, 6, 0).Write(stream);
  PLID(7, 8, 1).Write(stream);
  ASSERT_EQ(stream.Size(), 16u);
  EXPECT_EQ(stream.View()[0], std::byte{6}) << "content comes first";
  stream.Seek(0, 0);
  PLID first(9, 9, 9), second(9, 9, 9), beyond(9, 9, 9);
  first.Read(stream);
  second.Read(stream);
  beyond.Read(stream);
  EXPECT_EQ(first, PLID(5, 6, 0));
  EXPECT_EQ(second, PLID());
  EXPECT_EQ(beyond, PLID());
}

TEST(PLID, LocalUserFollowsTheBaseId) {
  EXPECT_TRUE(PLID(-2, 1, 127).IsLocal() && !PLID(77, 1, 0).IsLocal());
  SetBaseUserId(77);
  EXPECT_TRUE(PLID(77, 1, 0).IsLocal() && PLID(-2, 1, 127).IsLocal());
  SetBaseUserId(-1);
  EXPECT_FALSE(PLID(-1, 1, 127).IsLocal()) << "-1 is nobody's id";
  SetBaseUserId(PLID::kUnassignedUser);
}
