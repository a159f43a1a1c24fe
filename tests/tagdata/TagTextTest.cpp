// The text form: what each spelling means, what is written, and what a trip through it changes.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "kernel/standard/PString.h"
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
  return text + "end";
}

TEST(TagText, ClassOfAValueIsThatOfItsLine) {
  const std::pair<std::string, const char*> cases[] = {
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
      {"", ""}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(DumpText(text), expected) << text;
  std::string list = "a 1";
  for (int i = 0; i < 200; ++i) list += ",1";
  std::vector<float> values;
  Parse(list).GetFloatArray("a", values);
  EXPECT_EQ(values.size(), 128u) << "255 characters are kept";
}

TEST(TagText, TextsEndAndBreakByTheirQuotes) {
  const std::pair<std::string, std::string> cases[] = {
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
      {std::string(600, 'K') + " 1", std::string(511, 'k') + ":i:1 "}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(DumpText(text), expected) << text;
}

TEST(TagText, BlocksOpenAndCloseWhereBracesStand) {
  const std::pair<const char*, const char*> cases[] = {
      {"a { b 1\n } c 2", "a:{ b:i:1 } c:i:2 "},
      {"a \r\n\n\t \r\n{\nb 1\n}\nc 2", "a:{ b:i:1 } c:i:2 "},
      {"a\n  b", "a:0 b:0 "},  // blanks before the next key are no value
      {"a { b x}c 1", "a:{ b:s:x } c:i:1 "},
      {"a { b { c {", "a:{ b:{ c:{ } } } "},
      {"a 1\n} b 2", "a:i:1 "},
      {"a { x 1\n}\na { y 2\n}", "a:{ y:i:2 } "},
      {"a x {\nb 1", "a:s:x { b:i:1 "},
      {"a{ b 1", "a{:s:b 1 "}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(DumpText(text), expected) << text;
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

TEST(TagText, FiltersDropTagsAndWhatFollowsThemIsRead) {
  const TagFilter filter = [](std::string_view block, std::string_view key) {
    if (block == "table") return TagUse::Number;
    return key.starts_with("no") ? TagUse::Drop : TagUse::Keep;
  };
  TagContainer tags;
  ReadTagText(tags,
              "a 1\nno { x \"}\" no { y 1\n} z 1,2\n}\nno2 \"}\"\nyes { no { x 2\n} no3\nx 1\n"
              "in { x 1\n} } b\nno4 } c 1",
              filter);
  EXPECT_EQ(Dump(tags), "a:i:1 yes:{ x:i:1 in:{ } } b:0 ");
  ReadTagText(tags, "table { k 1\nl 2\nk 3\nm { k 1\n}\n}\nt { k 1\n}", filter);
  EXPECT_EQ(Dump(tags), "table:{ 1:i:2 0:i:3 2:{ } } t:{ k:i:1 } ");
  ReadTagText(tags, "table { k 1\nl 2\n}\ntable { z 4\n}", filter);
  EXPECT_EQ(Dump(tags), "table:{ 0:i:4 } ") << "each block counts anew";
  ReadTagText(tags, "no 1", filter);
  EXPECT_TRUE(tags.IsValid()) << "it has tags, though none of interest";

  // What a filter does not keep by name leaves nothing behind in the process.
  std::string text = "table {";
  for (std::size_t i = 0; i < kMostNumbered + 10; ++i) text += "\nk" + std::to_string(i) + " 1";
  ReadTagText(tags, text, filter);
  const std::uint32_t strings = Zef::GetStringPoolStatistics().created;
  text += "\n}";
  for (int i = 0; i < 1000; ++i) text += "\nno" + std::to_string(i) + " 1";
  std::replace(text.begin() + 7, text.end(), 'k', 'l');
  ReadTagText(tags, text, filter);
  EXPECT_EQ(tags.GetSubContainer("table").GetCount(), kMostNumbered);
  EXPECT_EQ(Zef::GetStringPoolStatistics().created, strings);
}

TEST(TagText, BlocksTooDeepAreCutOffAndWhatFollowsThemIsRead) {
  for (const std::size_t depth : {1023u, 1024u, 1025u, 5000u, 1000000u}) {
    const TagContainer tags = Parse(Nested(depth) + std::string(depth, '}') + "\nbehind 1");
    EXPECT_EQ(tags.GetInt("behind"), 1) << depth;
    TagContainer at = tags;
    std::size_t levels = 0;
    while (at.GetTagType("a") == TagSoup) at = at.GetSubContainer("a"), ++levels;
    EXPECT_EQ(levels, std::min<std::size_t>(depth, kMaxTagDepth));
    EXPECT_EQ(at.GetTagName(0).View(), depth <= kMaxTagDepth ? "end" : "a");
    const std::string saved = TagBytes::Save(tags);
    EXPECT_EQ(TagBytes::Save(TagBytes::Load(saved)), saved) << "refused?";
    EXPECT_EQ(TagBytes::Save(Parse(Write(tags))).substr(28), saved.substr(28)) << depth;
  }
  EXPECT_EQ(Parse(Nested(100000)).GetCount(), 1u) << "never closed";
}

TEST(TagText, WhatIsNotReadIsCounted) {
  const std::string numbers(255, '1');
  const std::pair<std::string, TagTextLosses> cases[] = {
      {"a 1\n}\n} \n", {}},
      {"a 1\n} b 2\n", {4, 0, 0, 0}},
      {"a 1\n\0b 2"s, {3, 0, 1, 0}},
      {"a 1\nb\na {\n}\nA\nc { a\na\n}", {0, 3, 0, 0}},
      {Nested(1026), {0, 0, 0, 1}},
      {std::string(511, 'k') + " 1," + numbers.substr(2), {}},
      {std::string(512, 'k') + " 1," + numbers.substr(1), {0, 0, 2, 0}},
      {"a x\0y\nk\0ey"s, {0, 0, 2, 0}},
      {"a 2147483647\nb -2147483648\nc 0000000001\nd 1.5\ne 1 ,2\t\n", {}},
      {"a 2147483648\nb 99999999999999999999\nc -\nd 1.5.1\ne 1,-\nf 1\t2", {0, 0, 6, 0}},
      {"a <plid:1:2> \nb <NULL>\nc \"<plid2:1:2:3>\"", {}},
      {"a <plid:1:x>\nb <plid:1:2> x", {0, 0, 1, 0}}};
  for (const auto& [text, expected] : cases) {
    TagContainer tags;
    TagTextLosses found;
    ReadTagText(tags, text, nullptr, &found);
    EXPECT_EQ(found.bytesLeft, expected.bytesLeft) << text;
    EXPECT_EQ(found.replaced, expected.replaced) << text;
    EXPECT_EQ(found.cut, expected.cut) << text;
    EXPECT_EQ(found.tooDeep, expected.tooDeep) << text;
  }
}

TEST(TagText, TreesThatWouldNeverEndAreRefused) {
  std::string records;
  for (int i = 0; i < 40; ++i) {
    records = TagBytes::Record("a\0"s, 0, records) + TagBytes::Record("a\0"s, 5, "");
  }
  std::string text;
  EXPECT_FALSE(AppendTagText(text, TagBytes::Load(TagBytes::File(records)))) << "doubles 40 times";
  records.clear();
  for (int i = 0; i < 30000; ++i) records += TagBytes::Record("a\0"s, 5, "");
  for (int i = 0; i < 1000; ++i) records = TagBytes::Record("a\0"s, 0, records);
  text.clear();
  EXPECT_FALSE(AppendTagText(text, TagBytes::Load(TagBytes::File(records)))) << "30 MB of tabs";
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
