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
