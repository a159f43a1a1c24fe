// Identifiers come from decades of hand-written files: every historic spelling keeps its meaning,
// and none of them may turn into another asset.

#include "tagdata/PLID.h"

#include <gtest/gtest.h>

#include "kernel/standard/TBuffer.h"

namespace {

PLID Make(std::int32_t user, std::int32_t content, std::int32_t version) {
  PLID id;
  id.user = user;
  id.content = content;
  id.version = version;
  return id;
}

}  // namespace

TEST(PLIDText, LaxParserAcceptsEveryHistoricSpelling) {
  const struct {
    const char* text;
    PLID expected;
  } cases[] = {
      {nullptr, PLID()},
      {"", PLID()},
      {"<NULL>", PLID()},
      {"<nuts", PLID()},                  // anything that begins so is null
      {"abcLL>", PLID()},                 // whatever stands in front
      {"<PLID:123:456>", {123, 456, 0}},  // old form, any letter case
      {"<plid:-3:7>", {-3, 7, 127}},      // a negative user has version 127
      {"<pLiD: 5: -6", {5, -6, 0}},       // blanks and a missing end pass
      {"<plid:5", Make(5, -1, 0)},        // what the scan does not reach stays null
      {"<plid::7>", PLID()},
      {"<plid2:5:6:0>", {5, 6, 0}},
      {"<plid2:5:6:127>", {5, 6, 127}},
      {"<plid2:1:2>", {1, 2, 127}},  // no version reached
      {"<plid2:5:6:128>", PLID()},
      {"<plid2:5:6:-1>", PLID()},
      {"<plid2:-3:6:1>", PLID()},  // never legal in the new form
      {"<plid2:33554432:1:0>", PLID()},
      {"33554431:1", Make(33554431, 1, 0)},  // the last user
      {"33554432:1", PLID()},                // one past the range
      {"-33554432:1", {-33554432, 1, 127}},
      {"-33554433:1", PLID()},
      {"7:8", {7, 8, 0}},
      {"7:8:9", PLID()},
      {"<7:8>", {7, 8, 0}},
      {"<7:8", {7, 8, 0}},
      {"<7:8>x", PLID()},         // nothing may follow
      {"1-2:3", Make(1, -1, 0)},  // a dash may stand anywhere, but ends the scan
      {"42", {-1, 42, 127}},
      {"-42", {-1, -42, 127}},
      {"4294967298", {-1, 2, 127}},  // numbers wrap at 32 bits
      {"<plid:4294967297:1>", {1, 1, 0}},
      {"42 ", PLID()},
      {"config", PLID()},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(PLID(c.text, /*strict=*/false), c.expected) << (c.text ? c.text : "null");
  }
  EXPECT_EQ(PLID(std::string_view("7:8\0x", 5), false), PLID(7, 8, 0)) << "a text ends at its zero";
}

TEST(PLIDText, StrictParserTakesOnlyBracketedForms) {
  const struct {
    const char* text;
    PLID expected;
  } cases[] = {
      {"<plid:1:2>", {1, 2, 0}},
      {"<PLID:-1:2>", {-1, 2, 127}},
      {"<plid:1:-2>", PLID()},
      {"<plid:1:2", PLID()},
      {"<plid:1:2>x", PLID()},
      {"<plid: 1:2>", PLID()},
      {"<plid::2>", PLID()},
      {"<plid2:1:2>", {1, 2, 127}},
      {"<plid2:1>", Make(1, -1, 127)},
      {"<plid2:1:2:3>", PLID()},
      {"<plid2:-1:2>", PLID()},
      {"7:8", PLID()},
      {"42", PLID()},
      {"<7:8>", PLID()},
  };
  for (const auto& c : cases) EXPECT_EQ(PLID(c.text, /*strict=*/true), c.expected) << c.text;
}

TEST(PLIDText, PrintsTheShortFormWhereTheVersionSaysNothing) {
  const struct {
    PLID id;
    const char *tag, *html, *words, *delimited;
  } cases[] = {
      {PLID(), "<NULL>", "&#60;NULL PLID&#62;", "NULLPLID", "NULLPLID"},
      {{5, 6, 0}, "<plid:5:6>", "&#60;plid:5:6&#62;", "plid 5 6", "5_6"},
      {{-3, 7, 127}, "<plid:-3:7>", "&#60;plid:-3:7&#62;", "plid -3 7", "-3_7"},
      {{-1, 42, 127}, "<plid:-1:42>", "&#60;plid:-1:42&#62;", "plid -1 42", "-1_42"},
      {{5, -6, 3}, "<plid2:5:-6:3>", "&#60;plid2:5:-6:3&#62;", "plid2 5 -6 3", "5_-6_3"},
      {{-3, 7, 0}, "<plid2:-3:7:0>", "&#60;plid2:-3:7:0&#62;", "plid2 -3 7 0", "-3_7_0"},
      {{-33554432, INT32_MIN, 126},
       "<plid2:-33554432:-2147483648:126>",
       "&#60;plid2:-33554432:-2147483648:126&#62;",
       "plid2 -33554432 -2147483648 126",
       "-33554432_-2147483648_126"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.id.TagText(), c.tag);
    EXPECT_STREQ(c.id.ToTag().Text(), c.tag);
    EXPECT_STREQ(c.id.ToHtml().Text(), c.html);
    EXPECT_EQ(c.id.ToWords(), c.words);
    EXPECT_EQ(c.id.ToDelimited('_'), c.delimited);
  }
}

TEST(PLIDBytes, PackAndUnpackAreInverseWithin25Bits) {
  const struct {
    PLID id;
    std::uint32_t packed;
    PLID back;
  } cases[] = {
      {{1, 2, 127}, 0xFE000001, {1, 2, 127}},     {PLID(), 0xFFFFFFFF, PLID()},
      {{-2, 9, 0}, 0x01FFFFFE, {-2, 9, 0}},       {{16777215, 1, 5}, 0x0AFFFFFF, {16777215, 1, 5}},
      {{33554431, 1, 0}, 0x01FFFFFF, {-1, 1, 0}},  // legal, but one bit too wide for storage
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.id.PackedWord(), c.packed);
    EXPECT_EQ(PLID::Unpack(c.packed, static_cast<std::uint32_t>(c.id.content)), c.back);
  }
  EXPECT_TRUE(PLID(33554431, -1, 127).PacksToNull());
  EXPECT_FALSE(PLID(33554431, -1, 127).IsNull());
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
  EXPECT_TRUE(PLID(-2, 1, 127).IsLocal());
  EXPECT_FALSE(PLID(77, 1, 0).IsLocal());
  SetBaseUserId(77);
  EXPECT_TRUE(PLID(77, 1, 0).IsLocal());
  EXPECT_TRUE(PLID(-2, 1, 127).IsLocal());
  SetBaseUserId(-1);
  EXPECT_FALSE(PLID(-1, 1, 127).IsLocal()) << "-1 is nobody's id";
  SetBaseUserId(PLID::kUnassignedUser);
}
