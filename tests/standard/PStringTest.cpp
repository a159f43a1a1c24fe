#include "kernel/standard/PString.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "kernel/KernelBoot.h"

namespace Zef {
namespace {

// Runs before main and, through the priority, as early as the system's own start-up does.
struct EarlyUser {
  PString text{"interned by a static object"};
};
__attribute__((init_priority(101))) EarlyUser earlyUser;

TEST(PString, EqualBytesAreOnePointer) {
  const std::string prefix(50, 'p');
  const struct {
    std::string a, b;
    bool same;
  } cases[] = {
      {"track", "track", true},
      {"Abc", "abc", false},
      {"", "", true},
      {"a", std::string("a\0", 2), false},
      {"1" + prefix, "2" + prefix, false},  // long common tail
      {prefix + "1", prefix + "2", false},
      {prefix, prefix + "p", false},
  };
  for (const auto& c : cases) {
    const PString a{std::string_view(c.a)}, b{std::string_view(c.b)};
    EXPECT_EQ(a == b, c.same) << c.a;
    EXPECT_EQ(a.View(), c.a);
    EXPECT_EQ(a.Text()[a.Length()], 0);
  }
}

TEST(PString, NullAndEmptyAreTwoTexts) {
  const PString null, empty(""), text("b");
  EXPECT_TRUE(PString(nullptr).IsNull());
  EXPECT_TRUE(PString(nullptr, 0).IsNull());
  EXPECT_TRUE(PString(std::string_view()).IsNull());
  EXPECT_TRUE(PString::Limited(nullptr, 4).IsNull());
  EXPECT_FALSE(empty.IsNull());
  EXPECT_STREQ(null.Text(), "");
  EXPECT_FALSE(null.EqualNoCase(empty));
  EXPECT_TRUE(null.EqualNoCase(PString()));
  EXPECT_TRUE(Less(null, empty));
  EXPECT_TRUE(Less(empty, text));
  EXPECT_FALSE(Less(empty, null) || Less(null, null));
  EXPECT_EQ(null.CompareNoCase(empty), 0);
  for (const PString& blank : {null, empty}) {
    EXPECT_EQ(blank.Compare(nullptr), 0);
    EXPECT_EQ(blank.Compare(""), 0);
    EXPECT_EQ(blank.Compare("a"), -1);
  }
  EXPECT_EQ(PString("\xE9").Compare("z"), 1) << "bytes are unsigned";
  EXPECT_EQ(PString("KUID").CompareNoCase("kuid"), 0);
  EXPECT_TRUE(PString("KUID").EqualNoCase(PString("kuid")));
  EXPECT_EQ(PString::Limited("wagon", 3).View(), "wag");
  EXPECT_EQ(PString::Limited("wagon", 9).View(), "wagon");
  EXPECT_EQ(PString::Limited("wagon", -1).View(), "wagon");
  EXPECT_FALSE(PString::Limited("wagon", 0).IsNull());
}

TEST(PString, ChangesGiveTheRecordOfTheNewText) {
  const std::string lengthy(3000, 'x');
  const auto apply = [](const char* start, auto change) {
    PString text(start);
    change(text);
    return text;
  };
  const struct {
    PString result;
    const char* expected;
  } cases[] = {
      {apply("rail", [](PString& t) { t.Insert("mono", 0); }), "monorail"},
      {apply("rail", [](PString& t) { t.Insert("s", 4); }), "rails"},
      {apply("rail", [](PString& t) { t.Insert("s", 5); }), "rail"},
      {apply("rail", [](PString& t) { t.Insert("", 0); }), "rail"},
      {apply("rail", [](PString& t) { t.Insert(t.Text() + 1, 2); }), "raailil"},
      {apply(nullptr, [](PString& t) { t.Insert("new", 7); }), "new"},
      {apply("rail", [](PString& t) { t.Erase(1, 2); }), "rl"},
      {apply("rail", [](PString& t) { t.Erase(2, 0xFFFFFFFF); }), "ra"},
      {apply("rail", [](PString& t) { t.Erase(4, 1); }), "rail"},
      {apply("rail", [](PString& t) { t.Erase(0, 9); }), ""},
      {apply("Rail\xC9", [](PString& t) { t.UpperCase(); }), "RAIL\xC9"},
      {apply("Rail\xC9", [](PString& t) { t.LowerCase(); }), "rail\xC9"},
      {apply("n=", [](PString& t) { EXPECT_EQ(t.AppendFormat("%d", -7), 2); }), "n=-7"},
      {apply("it", [](PString& t) { t.Format("%s:%s", t.Text(), t.Text()); }), "it:it"},
      {apply("a", [&](PString& t) { t.Format("%s", lengthy.c_str()); }), lengthy.c_str()},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, PString(c.expected)) << c.result.Text();
  PString gone("something");
  EXPECT_EQ(gone.Format("%s", ""), 0);
  EXPECT_TRUE(gone.IsNull());
  gone.LowerCase();
  EXPECT_TRUE(gone.IsNull());
}

TEST(PString, AChangeLeavesOtherHoldersAlone) {
  PString first("shared before the change");
  const PString second = first;
  first.Erase(6, 100);
  EXPECT_EQ(second.View(), "shared before the change");
  EXPECT_EQ(first, PString("shared"));

  PString alone("grown in place");
  const char* place = alone.Text();
  alone.AppendFormat("!");
  EXPECT_EQ(alone.Text(), place) << "the only holder's record is reused when it has room";
  EXPECT_EQ(alone, PString("grown in place!"));
  EXPECT_NE(PString("grown in place").Text(), place) << "and left the place of its old text";
}

TEST(StringPool, CountsTextsHandlesAndLookups) {
  const StringPoolStatistics start = GetStringPoolStatistics();
  EXPECT_EQ(start.bucketCount, 997U);
  std::uintptr_t key = 0;
  {
    const PString first("counted by this test only");
    const PString second = first;
    const PString third("counted by this test only");
    key = first.Key();
    const StringPoolStatistics now = GetStringPoolStatistics();
    EXPECT_EQ(now.created - start.created, 1U);
    EXPECT_EQ(now.liveStrings - start.liveStrings, 1U);
    EXPECT_EQ(now.references - start.references, 3U);
    EXPECT_EQ(now.hits - start.hits, 1U);
  }
  EXPECT_EQ(GetStringPoolStatistics().liveStrings, start.liveStrings);
  EXPECT_EQ(GetStringPoolStatistics().references, start.references);
  const PString revived("counted by this test only");
  EXPECT_EQ(revived.Key(), key) << "a text that nobody holds stays in the pool";
  EXPECT_EQ(GetStringPoolStatistics().created - start.created, 1U);
}

TEST(StringPool, ChainsStayShortHoweverManyTexts) {
  constexpr std::uint32_t kTexts = 200'000;
  const std::uint32_t before = GetStringPoolStatistics().probes;
  std::vector<PString> held;
  for (std::uint32_t i = 0; i < kTexts; ++i) {
    held.emplace_back(std::string_view("<kuid2:" + std::to_string(i) + ":100:1>"));
  }
  for (std::uint32_t i = 0; i < kTexts; ++i) {
    ASSERT_EQ(held[i], PString(std::string_view("<kuid2:" + std::to_string(i) + ":100:1>")));
  }
  EXPECT_LT(GetStringPoolStatistics().probes - before, 2 * kTexts);
}

TEST(StringPool, ThreadsInternCopyChangeAndRelease) {
  const StringPoolStatistics start = GetStringPoolStatistics();
  const PString shared("handed to every thread");
  const auto work = [&shared] {
    for (int round = 0; round < 3000; ++round) {
      PString copy = shared;
      const PString own{std::string_view("thread text " + std::to_string(round % 50))};
      copy.AppendFormat("%d", round % 7);
      copy.Erase(0, 7);
      PString again = own;
      again.UpperCase();
      if (copy.View().substr(0, 15) != "to every thread") std::abort();
      if (again.View().substr(0, 11) != "THREAD TEXT") std::abort();
    }
  };
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(GetStringPoolStatistics().references - start.references, 1U);
  EXPECT_EQ(GetStringPoolStatistics().liveStrings - start.liveStrings, 1U);
}

TEST(StringPool, ExistsBeforeEveryStaticObject) {
  EXPECT_TRUE(StringPoolExists());
  EXPECT_EQ(earlyUser.text, PString("interned by a static object"));
  EXPECT_TRUE(IsMainThread());
}

TEST(StringPoolDeathTest, HandlesThatOutliveThePoolAreHarmless) {
  EXPECT_EXIT(
      {
        PString survivor("outlives the pool");
        KernelExitTable::Run();
        const bool isGone = !StringPoolExists();
        PString copy = survivor;
        const PString late("too late");
        copy.Insert("x", 0);
        survivor = PString();
        std::exit(isGone && copy.IsNull() && late.IsNull() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Zef
