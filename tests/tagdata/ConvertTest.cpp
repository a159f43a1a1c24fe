// Numbers in texts mean the same on every machine and in every locale, and nothing is invented
// for a text that is no number.

#include "tagdata/Convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tagdata/PLID.h"

namespace {

CoreRef Text(const char* text) {
  return HCSRawDataCore::Copy(text, static_cast<std::uint32_t>(std::strlen(text)));
}

template <class T>
T Word(const CoreRef& core) {
  T value{};
  if (core && core->Size() == sizeof value) std::memcpy(&value, core->Data(), sizeof value);
  return value;
}

template <class... T>
CoreRef Values(T... values) {
  const std::common_type_t<T...> all[] = {values...};
  return HCSRawDataCore::Copy(all, sizeof all);
}

}  // namespace

TEST(Convert, TextsBecomeNumbersOnlyWhenTheyAre) {
  const struct {
    const char* text;
    std::int32_t asInt;
    float asFloat;
  } cases[] = {{"12", 12, 12},
               {"-12.5", -12, -12.5f},
               {".5", 0, 0.5f},
               {"1.5e+2", 1, 150},
               {"1.0e-3 \t", 1, 0.001f},
               {"- ", 0, 0},
               {"4294967295", -1, 4294967296.0f},
               {"1.0e+99", 1, INFINITY},
               {"-1.0e+999", -1, -INFINITY},
               {"1.0e-999", 1, 0},
               {"0.0000000001e+999", 0, INFINITY},
               {"12345678901.0e-999", -539222987, 0},
               {"1.0e-99999999999999999999", 1, 0}};
  for (const auto& c : cases) {
    EXPECT_TRUE(IsNumberText(c.text)) << c.text;
    const CoreRef asInt = ConvertTagData(TagString, Text(c.text), TagInt);
    const CoreRef asFloat = ConvertTagData(TagString, Text(c.text), TagFloat);
    ASSERT_TRUE(asInt && asFloat) << c.text;
    EXPECT_EQ(Word<std::int32_t>(asInt), c.asInt) << c.text;
    EXPECT_EQ(Word<float>(asFloat), c.asFloat) << c.text;
  }
  for (const char* text :
       {"-", " 7", "+7", "1,2", "1.2.3", "1e+5", "1.5e5", "1.5e+", "7 x", "0x10", "nan"}) {
    EXPECT_FALSE(IsNumberText(text)) << text;
    EXPECT_FALSE(ConvertTagData(TagString, Text(text), TagInt)) << text;
  }
  EXPECT_FALSE(IsNumberText(""));
  const char text[] = "1.5\0rest";
  EXPECT_EQ(Word<float>(ConvertTagData(TagString, HCSRawDataCore::Copy(text, 8), TagFloat)), 1.5f);
}

TEST(Convert, ValuesBecomeTexts) {
  const struct {
    std::int32_t type;
    CoreRef core;
    std::string_view expected;
  } cases[] = {{TagInt, Values(1, -2, INT32_MIN), "1,-2,-2147483648"},
               {TagFloat, Values(1.0f, 0.1f, -2.5f), "1,0.1,-2.5"},
               {TagFloat, Values(1e6f, 123456789.0f, 1e-5f), "1e+06,1.23457e+08,1e-05"},
               {TagFloat, Values(INFINITY, -0.0f), "inf,-0"},
               {TagPLID, Values(6u, 5u), std::string_view("<plid:5:6>", 11)}};
  for (const auto& c : cases) {
    const CoreRef text = ConvertTagData(c.type, c.core, TagString);
    ASSERT_TRUE(text) << c.expected;
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(text->Data()), text->Size()),
              c.expected);
  }
  EXPECT_FALSE(ConvertTagData(TagFloat, HCSRawDataCore::Copy("abc", 3), TagString));
  EXPECT_FALSE(ConvertTagData(TagPLID, HCSRawDataCore::Copy("1234567", 7), TagString));
}

TEST(Convert, WaysLeadThroughTextAndNoFurther) {
  const CoreRef seven = Values(7);
  EXPECT_EQ(ConvertTagData(TagInt, seven, TagInt), seven) << "the payload itself, not a copy";
  EXPECT_EQ(Word<float>(ConvertTagData(TagInt, seven, TagFloat)), 7.0f);
  EXPECT_FALSE(ConvertTagData(TagInt, Values(1, 2), TagFloat)) << "1,2 is no number";
  const auto id = Word<std::uint64_t>(ConvertTagData(TagString, Text("rubbish"), TagPLID));
  EXPECT_EQ(id, UINT64_MAX) << "a bad text is the null identifier, not nothing";
  EXPECT_EQ(Word<std::uint64_t>(ConvertTagData(TagString, nullptr, TagPLID)), UINT64_MAX);
  EXPECT_FALSE(ConvertTagData(TagString, nullptr, TagInt));
  EXPECT_EQ(Word<std::uint64_t>(ConvertTagData(TagInt, nullptr, TagPLID)), UINT64_MAX)
      << "the second step is taken whatever the first one gave";
  for (const std::int32_t type : {TagNull, TagSoup, TagBinary, TagStringAlt, TagType(9)}) {
    EXPECT_FALSE(ConvertTagData(type, seven, TagString)) << type;
    EXPECT_FALSE(ConvertTagData(TagInt, seven, type)) << type;
  }
  const ChunkRef tag = NewHeapTag(TagInt, seven);
  ConvertTag(*tag, TagString);
  EXPECT_EQ(tag->GetType(), TagString);
  EXPECT_EQ(tag->GetDataSize(), 1u);
}
