#include "kernel/standard/CodePage.h"

#include <gtest/gtest.h>

using namespace Zef;

TEST(CodePage, EveryByteComesBackThroughBothEncodings) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(Narrow(Widen(all)), all);
  EXPECT_EQ(FromUtf8(ToUtf8(all)), all);
  EXPECT_EQ(Widen("\x80\x81\x8C\x9F\xFF"), u"\u20AC\u0081\u0152\u0178\u00FF");
  EXPECT_EQ(ToUtf8("a\x80\xE9\x99"), "a\u20AC\u00E9\u2122");
}

TEST(CodePage, WhatHasNoByteBecomesOneQuestionMark) {
  EXPECT_EQ(Narrow(u"a\u0416b\U0001F682c"), "a?b?c");
  const char16_t lone[] = {0xD83D, u'x', 0xDE82, 0x0080, 0xD83D};
  EXPECT_EQ(Narrow({lone, 5}), "?x???") << "lone surrogates, and a control code that 0x80 is not";
  const struct {
    const char *utf8, *expected;
  } cases[] = {
      {"\u0416\U0001F682.", "??."}, {"\xE2\x82", "??"},    // cut short
      {"\xE2\x82z", "??z"},         {"\xC0\x80x", "??x"},  // broken off; a longer form of zero
      {"\xED\xA0\x80", "???"},      {"\xF4\x90\x80\x80\xFF", "?????"},  // not characters
  };
  for (const auto& c : cases) EXPECT_EQ(FromUtf8(c.utf8), c.expected);
}

TEST(FoldedCompare, FoldsAsciiLettersAloneAndOrdersBytesUnsigned) {
  const struct {
    std::string_view a, b;
    int order;
  } cases[] = {
      {"", "", 0},
      {"", "a", -1},
      {"Settings", "sETTINGS", 0},
      {"ab", "ABC", -1},
      {"Z", "_", 1},
      {"[", "{", -1},
      {"\xC9", "\xE9", -1},
      {"\xE9", "z", 1},
      {"@", "`", -1},
      {{"a\0B", 3}, {"A\0b", 3}, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CompareFolded(c.a, c.b), c.order) << c.a << " " << c.b;
    EXPECT_EQ(CompareFolded(c.b, c.a), -c.order) << c.a << " " << c.b;
    EXPECT_EQ(EqualFolded(c.a, c.b), c.order == 0) << c.a << " " << c.b;
  }
}
