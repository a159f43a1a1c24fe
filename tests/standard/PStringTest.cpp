#include "kernel/standard/PString.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "kernel/KernelBoot.h"
#include "tests/support/Threads.h"

using namespace Zef;

// Made as early as the system's own start-up, before or after it.
struct EarlyUser {
  PString text{"interned by a static object"};
};
__attribute__((init_priority(101))) static EarlyUser earlyUser;

TEST(PString, EqualBytesAreOnePointer) {
  const std::string stem(50, 'p');
  const struct {
    std::string a, b;
    bool same;
  } cases[] = {
      {"track", "track", true},        {"Abc", "abc", false},           {"", "", true},
      {"a", {"a\0", 2}, false},        {"1" + stem, "2" + stem, false},  // long common tail
      {stem + "1", stem + "2", false}, {stem, stem + "p", false}};
  for (const auto& c : cases) {
    const PString a{std::string_view(c.a)}, b{std::string_view(c.b)};
    EXPECT_EQ(a == b, c.same) << c.a;
    EXPECT_EQ(a.View(), c.a);
    EXPECT_EQ(a.Text()[a.Length()], 0);
  }
  EXPECT_EQ(PString::Limited("wagon", 3), PString("wag"));
  EXPECT_EQ(PString::Limited("wagon", 9), PString("wagon"));
  EXPECT_EQ(PString::Limited("wagon", -1), PString("wagon"));
  EXPECT_EQ(PString::Limited("wagon", 0), PString(""));
}

TEST(PString, NullAndEmptyAreTwoTexts) {
  const PString null, empty(""), text("b");
  for (const PString& none : {PString(nullptr), PString(nullptr, 0), PString(std::string_view()),
                              PString::Limited(nullptr, 4)}) {
    EXPECT_EQ(none, null);
    EXPECT_STREQ(none.Text(), "");
  }
  EXPECT_FALSE(empty.IsNull() || null.EqualNoCase(empty));
  EXPECT_TRUE(null.EqualNoCase(PString()) && PString("PLID").EqualNoCase(PString("plid")));
  EXPECT_TRUE(Less(null, empty) && Less(empty, text));
  EXPECT_FALSE(Less(empty, null) || Less(null, null) || Less(text, text));
  for (const PString& blank : {null, empty}) {
    EXPECT_EQ(blank.Compare(nullptr), 0);
    EXPECT_EQ(blank.Compare(""), 0);
    EXPECT_EQ(blank.Compare("a"), -1);
    EXPECT_EQ(blank.CompareNoCase(empty), 0);
  }
  EXPECT_EQ(PString("\xE9").Compare("z"), 1) << "bytes are unsigned";
  EXPECT_EQ(PString("PLID").CompareNoCase("plid"), 0);
  EXPECT_EQ(PString("a\0b", 3).Compare("a"), 0) << "plain text ends at a zero byte";
}

TEST(PString, ChangesGiveTheRecordOfTheNewText) {
  const struct {
    const char* start;
    void (*change)(PString&);
    const char* expected;
  } cases[] = {{"rail", [](PString& t) { t.Insert("mono", 0); }, "monorail"},
               {"rail", [](PString& t) { t.Insert("s", 4); }, "rails"},
               {"rail", [](PString& t) { t.Insert("s", 5); }, "rail"},
               {"rail", [](PString& t) { t.Insert("", 0); }, "rail"},
               {"rail", [](PString& t) { t.Insert(t.Text() + 1, 2); }, "raailil"},
               {nullptr, [](PString& t) { t.Insert("new", 7); }, "new"},
               {"rail", [](PString& t) { t.Erase(1, 2); }, "rl"},
               {"rail", [](PString& t) { t.Erase(2, 0xFFFFFFFF); }, "ra"},
               {"rail", [](PString& t) { t.Erase(4, 1); }, "rail"},
               {"rail", [](PString& t) { t.Erase(0, 9); }, ""},
               {"Rail\xC9", [](PString& t) { t.UpperCase(); }, "RAIL\xC9"},
               {"Rail\xC9", [](PString& t) { t.LowerCase(); }, "rail\xC9"},
               {nullptr, [](PString& t) { t.LowerCase(); }, nullptr},
               {"n=", [](PString& t) { EXPECT_EQ(t.AppendFormat("%d", -7), 2); }, "n=-7"},
               {"it", [](PString& t) { t.Format("%s:%s", t.Text(), t.Text()); }, "it:it"},
               {"it", [](PString& t) { EXPECT_EQ(t.Format("%s", ""), 0); }, nullptr}};
  for (const auto& c : cases) {
    for (const bool isShared : {false, true}) {
      PString text(c.start);
      const PString other = isShared ? text : PString();
      c.change(text);
      EXPECT_EQ(text, PString(c.expected)) << text.Text();
      EXPECT_STREQ(other.Text(), isShared && c.start != nullptr ? c.start : "");
    }
  }
}

TEST(StringPool, ChainsStayShortHoweverManyTexts) {
  constexpr std::uint32_t kTexts = 100'000;
  const std::uint32_t before = GetStringPoolStatistics().probes;
  std::vector<PString> rounds[2];
  for (auto& round : rounds) {
    for (std::uint32_t i = 0; i < kTexts; ++i) {
      round.emplace_back(std::string_view("<plid2:" + std::to_string(i) + ":100:1>"));
    }
  }
  EXPECT_EQ(rounds[0], rounds[1]);
  EXPECT_LT(GetStringPoolStatistics().probes - before, kTexts);
}

TEST(StringPool, ThreadsInternCopyChangeAndRelease) {
  const StringPoolStatistics start = GetStringPoolStatistics();
  const PString shared("handed to every thread");
  ::Test::OnThreads(4, [&shared](int) {
    for (int round = 0; round < 3000; ++round) {
      PString copy = shared;
      PString own{std::string_view("thread text " + std::to_string(round % 50))};
      copy.AppendFormat("%d", round % 7);
      copy.Erase(0, 7);
      own.UpperCase();
      if (copy.View().substr(0, 15) != "to every thread") std::abort();
      if (own.View().substr(0, 11) != "THREAD TEXT") std::abort();
    }
  });
  EXPECT_EQ(GetStringPoolStatistics().references - start.references, 1U);
  EXPECT_EQ(GetStringPoolStatistics().liveStrings - start.liveStrings, 1U);
}

TEST(StringPoolDeathTest, LivesFromBeforeStaticObjectsAndMayBeOutlived) {
  EXPECT_TRUE(IsMainThread() && !earlyUser.text.IsNull());
  EXPECT_EQ(earlyUser.text, PString("interned by a static object"));
  const auto outlive = [] {
    PString survivor("outlives the pool");
    KernelExitTable::Run();
    const PString copy = survivor, late("too late");
    survivor.Insert("x", 0);
    survivor = PString();
    std::exit(copy.IsNull() && late.IsNull() ? 0 : 1);
  };
  EXPECT_EXIT(outlive(), testing::ExitedWithCode(0), "");
}
