// The text form: what each spelling means, what is written, and what a trip through it changes.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tagdata/TagTextReader.h"
#include "tagdata/TagTextWriter.h"
#include "tests/tagdata/TagBytes.h"

using namespace std::string_literals;

namespace {

TagContainer Parse(std::string_view text) {
  TagContainer tags;
  ReadTagText(tags, text);
  return tags;
}

std::string Write(const TagContainer& tags) {
  std::string text;
  EXPECT_TRUE(AppendTagText(text, tags));
  return text;
}

/// Every tag as "key:type:value ", null 0, int i, float f, string s, identifier p.
std::string Dump(const TagContainer& tags) {
  std::string text;
  tags.ForEach([&](std::string_view key, const ChunkRef& chunk) {
    text.append(key).append(":");
    const std::int32_t type = chunk->GetType();
    if (type == TagSoup) {
      text += "{ " + Dump(TagContainer(chunk)) + "} ";
    } else {
      text += "0?bfs?ip"[type];
      text +=
          type == TagNull ? " " : ":" + std::string(tags.GetText(Zef::PString(key)).View()) + " ";
    }
  });
  return text;
}

std::string DumpText(std::string_view text) { return Dump(Parse(text)); }

std::string Nested(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "a {\n";
  return text + "end 1";
}

TEST(TagText, ClassOfAValueIsThatOfItsLine) {
  const struct {
    std::string text;
    const char* expected;
  } cases[] = {
      {"A 12\t\r\n# -7", "a:i:12 #:i:-7 "},
      {"a 1\na 2\nb 3\na 4", "b:i:3 a:i:4 "},
      {"a 1.5\nb .5\nc -2.", "a:f:1.5 b:f:0.5 c:f:-2 "},
      {"n 1.2.3", "n:f:1.2 "},
      {"a -\nb .\nc -.", "a:i:0 b:f:0 c:f:0 "},
      {"a 4294967295", "a:i:-1 "},
      {"a 0000000000000000000000000000000123", "a:i:0 "},  // 31 characters are kept
      {"a 1,2,3\nb 1 2 3\nc - 5\nd ,", "a:f:1,2,3 b:f:1,2,3 c:f:0,5 d:f: "},
      {"a 1,,2 , 3 \nb 1\t2", "a:f:1,2,3 b:f:1 "},  // a tab ends a number and splits nothing
      {"a 1 2 x\nb 1e5\nc +1", "a:s:1 2 x b:s:1e5 c:s:+1 "},
      {"a 12}b 3", "a:s:12 "},  // what a brace ends is no line of numbers
      {"a <PLID:1:2>\nb \"<plid2:1:2:3>\"\nc <null>\nd <plid:x",
       "a:p:<plid:1:2> b:p:<plid2:1:2:3> c:p:<NULL> d:p:<NULL> "},
      {"a\nb \"\"\nc", "a:0 b:s: c:0 "},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(DumpText(c.text), c.expected) << c.text;
  std::string list = "a 1";
  for (int i = 0; i < 200; ++i) list += ",1";
  std::vector<float> values;
  Parse(list).GetFloatArray("a", values);
  EXPECT_EQ(values.size(), 128u) << "255 characters are kept";
}

TEST(TagText, TextsEndAndBreakByTheirQuotes) {
  const struct {
    std::string text;
    std::string expected;
  } cases[] = {
      {"a x y \nb z", "a:s:x y  b:s:z "},
      {"a say \"hi\"\n", "a:s:say \"hi\" "},
      {R"(a one\ntwo\\n)", "a:s:one\r\ntwo\\\r\n "},
      {R"(a "one\ntwo")", "a:s:one\\ntwo "},
      {"a \"1\n2\r3\r\n4\n\r5\n\n6\"b 1", "a:s:1\r\n2\r\n3\r\n4\r\n5\r\n\r\n6 b:i:1 "},
      {"a \"}{\" b 1", "a:s:}{ b:i:1 "},
      {"a \"\" b 1", "a:s: b:i:1 "},
      {"a \"", "a:s: "},
      {"a x\0y\nb \"\0\"\nc 1"s, "a:s:x b:s: c:i:1 "},
      {"k\0ey 1\n"s, "k:i:1 "},
      {"a 1\n\0b 1\nc 2"s, "a:i:1 "},  // a key of nothing ends the block
      {"a caf\xE9", "a:s:caf\xC3\xA9 "},
      {"\xEF\xBB\xBF"
       "a caf\xE9",
       "a:s:caf\xE9 "},
      {std::string(600, 'K') + " 1", std::string(511, 'k') + ":i:1 "},
  };
  for (const auto& c : cases) EXPECT_EQ(DumpText(c.text), c.expected) << c.text;
}

TEST(TagText, BlocksOpenAndCloseWhereBracesStand) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {
      {"a { b 1\n } c 2", "a:{ b:i:1 } c:i:2 "},
      {"a \r\n\n\t \r\n{\nb 1\n}\nc 2", "a:{ b:i:1 } c:i:2 "},
      {"a\n  b", "a:0 b:0 "},  // blanks before the next key are no value
      {"a { b x}c 1", "a:{ b:s:x } c:i:1 "},
      {"a { b { c {", "a:{ b:{ c:{ } } } "},
      {"a 1\n} b 2", "a:i:1 "},
      {"a { x 1\n}\na { y 2\n}", "a:{ y:i:2 } "},
      {"a x {\nb 1", "a:s:x { b:i:1 "},
      {"a{ b 1", "a{:s:b 1 "},
  };
  for (const auto& c : cases) EXPECT_EQ(DumpText(c.text), c.expected) << c.text;
}

TEST(TagText, WriterMakesTheBytesOfTheForm) {
  TagContainer inner;
  inner.SetString("b", "x \"y\"");
  inner.SetBinary("raw", "ab", 2);
  TagContainer tags;
  tags.SetInt("Big Key\x80~", 12);
  tags.SetSubContainer("sub", inner);
  tags.SetNull("none");
  tags.SetString("e", "");
  tags.SetFloatArray("list-of-numbers", {1.0f, -0.25f, 1e6f});
  tags.SetPLID("id", PLID(1, 2, 0));
  tags.SetString(Zef::PString(std::string(56, 'l')), "adjacent");
  tags.Chunk()->AddTag("none", NewHeapTag(TagInt, nullptr));  // shows what its key finds
  EXPECT_EQ(Write(tags),
            "\xEF\xBB\xBF\r\n"
            "big_key_~\t\t\t\t\t\t12\r\n"
            "sub {\r\n"
            "\tb\t\t\t\t\t\t\"x 'y'\"\r\n"
            "\traw\r\n"
            "}\r\n"
            "none\r\n"
            "e\r\n"
            "list-of-numbers\t\t\t\t\t\t1,-0.25,1e+06\r\n"
            "id\t\t\t\t\t\t\t<plid:1:2>\r\n" +
                std::string(56, 'l') + "\"adjacent\"\r\nnone\r\n");
  EXPECT_EQ(Write({}), "\xEF\xBB\xBF\r\n");
}

TEST(TagText, RefusedBlocksAreEmptyAndWhatFollowsThemIsRead) {
  TagContainer tags;
  ReadTagText(tags, "a 1\nno { x \"}\" no { y 1\n} z 1,2\n}\nyes { no { x 2\n} } b } c 1",
              [](std::string_view key) { return key == "yes"; });
  EXPECT_EQ(Dump(tags), "a:i:1 no:{ } yes:{ no:{ x:i:2 } } b:0 ");
}

TEST(TagText, DeepBlocksAreEmptyAndWhatFollowsThemIsRead) {
  for (const std::size_t depth : {1022u, 1023u, 1024u, 5000u, 1000000u}) {
    const TagContainer tags = Parse(Nested(depth) + std::string(depth, '}') + "\nbehind 1");
    EXPECT_EQ(tags.GetInt("behind"), 1) << depth;
    TagContainer at = tags;
    std::size_t levels = 0;
    while (at.GetTagType("a") == TagSoup) at = at.GetSubContainer("a"), ++levels;
    EXPECT_EQ(levels, std::min<std::size_t>(depth, kMaxTagDepth));
    EXPECT_EQ(at.GetInt("end"), depth < kMaxTagDepth ? 1 : 0);
    EXPECT_NE(TagBytes::Save(tags), "refused");
  }
  EXPECT_EQ(Parse(Nested(100000)).GetCount(), 1u) << "never closed";
}

TEST(TagText, TreesThatWouldNeverEndAreRefused) {
  std::string records;
  for (int i = 0; i < 40; ++i) {
    records = TagBytes::Record("a\0"s, 0, records) + TagBytes::Record("a\0"s, 5, "");
  }
  std::string text;
  EXPECT_FALSE(AppendTagText(text, TagBytes::Load(TagBytes::File(records)))) << "doubles 40 times";
  TagContainer outer, inner;
  inner.Ensure();
  outer.SetSubContainer("in", inner);
  inner.SetSubContainer("out", outer);
  EXPECT_FALSE(AppendTagText(text, outer));
  inner.RemoveTag("out");
}

// Texts made to be slow: eight times as long, they may take little more than eight times as long.
TEST(TagText, TimeGrowsWithTheText) {
  const auto seconds = [](std::string_view piece, std::size_t size) {
    std::string text;
    for (int i = 0; text.size() < size; ++i) {
      text.append(piece);
      if (piece == "k") text += std::to_string(i % 50000) + " 1\n";
    }
    const auto begin = std::chrono::steady_clock::now();
    Parse(text);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  for (const char* piece :
       {"}", "a{\n", "a {", "a\n\n\n", "1,1 ", "\"\n", "\\n", "a 1,1,1,1x}", "\n", "a \"", "k"}) {
    constexpr std::size_t kSize = 1u << 18;
    seconds(piece, kSize);
    EXPECT_LT(seconds(piece, 8 * kSize), 30 * seconds(piece, kSize) + 0.1) << piece;
  }
}

}  // namespace
