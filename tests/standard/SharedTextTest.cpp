#include "kernel/standard/SharedText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kernel/standard/PString.h"
#include "tests/support/Threads.h"

using namespace Zef;

static const char* const kNoText = nullptr;

TEST(SharedText, EmptyHasTwoForms) {
  SharedText limited("x"), formatted("x"), pooled("x"), nulled("x"), cut("rail"), assigned;
  limited.AssignLimited("text", 0);
  EXPECT_EQ(formatted.AssignFormat("%s", ""), 0);
  pooled = PString("");
  nulled = kNoText;
  for (const SharedText& text : {SharedText(), SharedText(kNoText), SharedText(PString("")),
                                 SharedText('x', 0), limited, formatted, pooled, nulled}) {
    EXPECT_FALSE(text.HasStorage());
    EXPECT_EQ(text.Text(), nullptr);
    EXPECT_EQ(text.Capacity(), 0U);
    EXPECT_STREQ(text.TextOrEmpty(), "");
  }
  cut.Truncate(0);
  assigned = "";
  for (const SharedText& text : {SharedText(""), cut, assigned}) EXPECT_STREQ(text.Text(), "");
  EXPECT_STREQ(SharedText('x', 3).Text(), "xxx");
}

TEST(SharedText, CompareTellsFirstEqualAfter) {
  const SharedText none, empty(""), b("b");
  EXPECT_EQ(none.Compare(""), 0) << "no storage sorts before storage without characters";
  EXPECT_EQ(none.CompareNoCase(empty), 0);
  EXPECT_EQ(none.Compare(SharedText()), 1);
  const struct {
    SharedText left;
    const char* right;
    int exact, noCase;
  } cases[] = {{none, nullptr, 1, 1},  {none, "a", 0, 0}, {empty, "", 1, 1},
               {empty, nullptr, 2, 2}, {b, "a", 2, 2},    {b, "B", 2, 1},
               {b, "b", 1, 1},         {b, "bb", 0, 0},   {b, "\xE9", 0, 0}};
  for (const auto& c : cases) {
    const SharedText right(c.right);
    EXPECT_EQ(c.left.Compare(c.right), c.exact) << right.TextOrEmpty();
    EXPECT_EQ(c.left.Compare(right), c.exact) << right.TextOrEmpty();
    EXPECT_EQ(c.left.CompareNoCase(c.right), c.noCase) << right.TextOrEmpty();
    EXPECT_EQ(c.left.CompareNoCase(right), c.noCase) << right.TextOrEmpty();
  }
}

TEST(SharedText, ChangesReachNoOtherHolder) {
  const struct {
    const char* start;
    void (*change)(SharedText&);
    const char* expected;
  } cases[] = {
      {"rail", [](SharedText& t) { t.Truncate(2); }, "ra"},
      {"rail", [](SharedText& t) { t.Truncate(5); }, "rail"},
      {"rail", [](SharedText& t) { t.Insert("mono", 0); }, "monorail"},
      {"rail", [](SharedText& t) { t.Insert("s", 4); }, "rails"},
      {"rail", [](SharedText& t) { t.Insert("s", 5); }, "rail"},
      {"rail", [](SharedText& t) { t.Insert(nullptr, 0); }, "rail"},
      {"rail", [](SharedText& t) { t.Erase(1, 2); }, "rl"},
      {"rail", [](SharedText& t) { t.Erase(2, 0xFFFFFFFF); }, "ra"},
      {"rail", [](SharedText& t) { t.Erase(4, 1); }, "rail"},
      {"rail", [](SharedText& t) { t.AppendFormat("%s%d", "way", 9); }, "railway9"},
      {"rail", [](SharedText& t) { t.AssignLimited("wagon", 3); }, "wag"},
      {"rail", [](SharedText& t) { t = t.Text() + 1; }, "ail"},
      {"rail", [](SharedText& t) { t.Insert(t.Text() + 2, 1); }, "rilail"},
      {"rail", [](SharedText& t) { t.AssignFormat("%s-%s", t.Text(), t.Text()); }, "rail-rail"},
      {"rail", [](SharedText& t) { t = *&t; }, "rail"},
      {"rail", [](SharedText& t) { t = PString("yard"); }, "yard"},
      {"rail", [](SharedText& t) { t.Append(std::string_view("x", SharedText::kMostLength)); },
       "rail"},
  };
  for (const auto& c : cases) {
    for (const bool isShared : {false, true}) {
      SharedText text(c.start);
      const SharedText other = isShared ? text : SharedText(c.start);
      c.change(text);
      EXPECT_STREQ(text.Text(), c.expected);
      EXPECT_EQ(text.Length(), std::string_view(c.expected).size());
      EXPECT_STREQ(other.Text(), c.start) << "another holder saw the change to " << c.expected;
    }
  }
}

TEST(SharedText, FindsFromAStartAndTellsAbsence) {
  const SharedText text("Rail Rail\xC9");
  EXPECT_EQ(text.Find('R', 1), 5);
  EXPECT_EQ(text.Find('l', 100), -1);
  EXPECT_EQ(text.Find("ail", 2), 6);
  EXPECT_EQ(text.FindNoCase('\xE9'), -1) << "only ASCII letters have case";
  EXPECT_EQ(text.FindNoCase("rAIL", 1), 5);
  EXPECT_EQ(text.FindNoCase("", 100), -1);
  EXPECT_EQ(SharedText().FindNoCase(""), -1);
}

TEST(SharedText, PopTokenLeavesTheDelimiterThatEndedIt) {
  SharedText text(";;TR; TV;");
  EXPECT_STREQ(text.PopToken("; ").Text(), "TR");
  EXPECT_STREQ(text.Text(), "; TV;");
  EXPECT_STREQ(text.PopToken("").Text(), "; TV;");
  EXPECT_FALSE(text.PopToken("; ").HasStorage());
}

TEST(SharedText, ThreadsShareAndChangeTheirCopies) {
  const SharedText shared("first of all"), none;
  ::Test::OnThreads(4, [shared, none](int) {
    for (int round = 0; round < 5000; ++round) {
      SharedText copy = shared, empty = none;
      copy.Append(" changed");
      empty.Append("used");
      if (copy.Length() != 20 || empty.Length() != 4) std::abort();
    }
  });
  EXPECT_STREQ(shared.Text(), "first of all");
}

TEST(Format, LengthsAroundTheInlineBuffer) {
  SharedText text;
  for (const int length : {1, 1022, 1023, 1024, 70'000}) {
    EXPECT_EQ(text.AssignFormat("%*d", length, 7), length);
    EXPECT_EQ(text.View(), std::string(static_cast<std::size_t>(length - 1), ' ') + "7");
  }
  EXPECT_EQ(text.AssignFormat("%*d", 32 << 20, 7), -1);
  EXPECT_FALSE(text.HasStorage()) << "a result that is too long counts as empty";
}
