#include "kernel/standard/SharedText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "kernel/standard/PString.h"

namespace Zef {
namespace {

TEST(SharedText, EmptyHasTwoForms) {
  const char* none = nullptr;
  SharedText limited("x"), formatted("x"), pooled("x"), nulled("x");
  limited.AssignLimited("text", 0);
  EXPECT_EQ(formatted.AssignFormat("%s", ""), 0);
  pooled = PString("");
  nulled = none;
  for (const SharedText& text : {SharedText(), SharedText(none), SharedText(PString("")),
                                 SharedText('x', 0), limited, formatted, pooled, nulled}) {
    EXPECT_FALSE(text.HasStorage());
    EXPECT_EQ(text.Text(), nullptr);
    EXPECT_EQ(text.Capacity(), 0U);
    EXPECT_STREQ(text.TextOrEmpty(), "");
  }
  SharedText cut("rail"), assigned;
  cut.Truncate(0);
  assigned = "";
  for (const SharedText& text : {SharedText(""), cut, assigned}) {
    EXPECT_TRUE(text.HasStorage());
    EXPECT_STREQ(text.Text(), "");
  }
}

TEST(SharedText, CompareTellsFirstEqualAfter) {
  const SharedText none, empty(""), b("b");
  EXPECT_EQ(none.Compare(static_cast<const char*>(nullptr)), 1);
  EXPECT_EQ(none.Compare(""), 0) << "no storage sorts before storage without characters";
  EXPECT_EQ(empty.Compare(""), 1);
  EXPECT_EQ(empty.Compare(static_cast<const char*>(nullptr)), 2);
  EXPECT_EQ(none.Compare(SharedText()), 1);
  EXPECT_EQ(none.CompareNoCase(empty), 0);
  EXPECT_EQ(empty.CompareNoCase(none), 2);
  const struct {
    const char* text;
    int exact, noCase;
  } cases[] = {{"a", 2, 2}, {"B", 2, 1}, {"b", 1, 1}, {"bb", 0, 0}, {"\xE9", 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(b.Compare(c.text), c.exact) << c.text;
    EXPECT_EQ(b.Compare(SharedText(c.text)), c.exact) << c.text;
    EXPECT_EQ(b.CompareNoCase(c.text), c.noCase) << c.text;
    EXPECT_EQ(b.CompareNoCase(SharedText(c.text)), c.noCase) << c.text;
  }
}

TEST(SharedText, CapacityGrowsInSteps) {
  for (const std::uint32_t length : {0U, 14U, 15U, 30U, 31U, 5000U}) {
    SharedText text;
    text = std::string(length, 'x').c_str();
    EXPECT_EQ(text.Capacity(), (length + 17) & ~15U);
    EXPECT_EQ(SharedText('x', length).View(), std::string(length, 'x'));
  }
  SharedText text("fits");
  const char* place = text.Text();
  text = "in place";
  EXPECT_EQ(text.Text(), place);
  text.EnsureUnique(100, true);
  EXPECT_STREQ(text.Text(), "in place");
  EXPECT_EQ(text.Capacity(), 100U);
}

TEST(SharedText, BuildingPieceByPieceCopiesSeldom) {
  SharedText text;
  int moves = 0;
  for (int piece = 0; piece < 100'000; ++piece) {
    const char* before = text.Text();
    text.Append("0123456789");
    moves += text.Text() != before;
  }
  EXPECT_EQ(text.Length(), 1'000'000U);
  EXPECT_LT(moves, 100);
}

using Change = void (*)(SharedText&);

TEST(SharedText, ChangesCopyFirst) {
  const struct {
    const char* start;
    Change change;
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

TEST(SharedText, RefusesTextsThatAreTooLong) {
  SharedText text("kept");
  const std::string_view huge("x", SharedText::kMostLength + 1);  // refused before it is read
  text.Assign(huge);
  text.Append(huge.substr(0, SharedText::kMostLength));
  EXPECT_STREQ(text.Text(), "kept");
  EXPECT_FALSE(SharedText('x', 0xFFFFFFFF).HasStorage());
}

TEST(SharedText, FindsFromAStartAndTellsAbsence) {
  const SharedText text("Rail Rail\xC9");
  EXPECT_EQ(text.Find('R'), 0);
  EXPECT_EQ(text.Find('R', 1), 5);
  EXPECT_EQ(text.Find('r'), -1);
  EXPECT_EQ(text.Find('l', 100), -1);
  EXPECT_EQ(text.Find("ail", 2), 6);
  EXPECT_EQ(text.Find("rail"), -1);
  EXPECT_EQ(text.FindNoCase('r', 1), 5);
  EXPECT_EQ(text.FindNoCase('\xE9'), -1) << "only ASCII letters have case";
  EXPECT_EQ(text.FindNoCase("rAIL", 1), 5);
  EXPECT_EQ(text.FindNoCase("rails"), -1);
  EXPECT_EQ(text.FindNoCase("", 100), -1);
  EXPECT_EQ(SharedText().Find('x'), -1);
  EXPECT_EQ(SharedText().Find(""), -1);
  EXPECT_EQ(SharedText().FindNoCase(""), -1);
}

TEST(SharedText, PopTokenLeavesTheDelimiterThatEndedIt) {
  SharedText text(";;TR; TV;");
  const SharedText before = text;
  EXPECT_STREQ(text.PopToken("; ").Text(), "TR");
  EXPECT_STREQ(text.Text(), "; TV;");
  EXPECT_STREQ(text.PopToken("; ").Text(), "TV");
  EXPECT_FALSE(text.PopToken("; ").HasStorage());
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_STREQ(before.Text(), ";;TR; TV;");
  SharedText whole("a b");
  EXPECT_STREQ(whole.PopToken("").Text(), "a b");
}

TEST(SharedText, ThreadsShareAndChangeTheirCopies) {
  const SharedText shared("first of all"), none;
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([shared, none] {
      for (int round = 0; round < 5000; ++round) {
        SharedText copy = shared, empty = none;
        copy.Append(" changed");
        empty.Append("used");
        if (copy.Length() != 20 || empty.Length() != 4) std::abort();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_STREQ(shared.Text(), "first of all");
}

TEST(Format, LengthsAroundTheInlineBuffer) {
  for (const int length : {1, 1022, 1023, 1024, 70'000}) {
    SharedText text;
    EXPECT_EQ(text.AppendFormat("%*d", length, 7), length);
    EXPECT_EQ(text.View(), std::string(static_cast<std::size_t>(length - 1), ' ') + "7");
  }
  SharedText text("old");
  EXPECT_EQ(text.AssignFormat("%*d", 32 << 20, 7), -1);
  EXPECT_FALSE(text.HasStorage()) << "a result that is too long counts as empty";
}

TEST(Format, NumbersIgnoreTheHostsLocale) {
  const char* names[] = {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "fr_FR"};
  const bool hasComma = std::any_of(std::begin(names), std::end(names), [](const char* name) {
    return std::setlocale(LC_NUMERIC, name) != nullptr;
  });
  if (!hasComma) GTEST_SKIP() << "no locale with a decimal comma is installed";
  SharedText text;
  text.AssignFormat("%.2f", 1.5);
  const std::string hostsPoint = std::localeconv()->decimal_point;
  std::setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(hostsPoint, ",") << "the host's own setting must stand";
  EXPECT_STREQ(text.Text(), "1.50");
}

}  // namespace
}  // namespace Zef
