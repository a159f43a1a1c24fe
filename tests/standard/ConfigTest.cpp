#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "kernel/standard/ConfigNode.h"
#include "kernel/standard/ConfigParser.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Trace.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TestFiles.h"
#include "tests/support/Threads.h"

using namespace Zef;
using namespace std::string_literals;

namespace {

std::string traced;

class ConfigParse : public testing::Test {
 protected:
  ConfigParse() {
    traced.clear();
    SetTraceSink([](const char* line) { traced += line; });
  }
  ~ConfigParse() override { SetTraceSink(nullptr); }
};

std::string Show(std::int32_t value) { return std::to_string(value); }
std::string Show(float value) { return std::string(ConfigFloatText(value).View()) + "f"; }
std::string Show(const PString& value) { return "'" + std::string(value.View()) + "'"; }
std::string Show(std::byte value) { return "x" + std::to_string(std::to_integer<int>(value)); }
std::string Show(std::monostate) { return "none"; }
template <typename T>
std::string Show(const std::vector<T>& items) {
  std::string text = "[";
  for (const T& item : items) text += (text.size() > 1 ? " " : "") + Show(item);
  return text + "]";
}

/// "name=value{children}", nodes parted by blanks.
std::string Show(const ConfigNode& node) {
  std::string text(node.Name().View());
  text += "=" + std::visit([](const auto& value) { return Show(value); }, node.GetValue());
  std::string children;
  for (const ConfigNode* child : node.Children()) {
    children += (children.empty() ? "" : " ") + Show(*child);
  }
  return children.empty() ? text : text + "{" + children + "}";
}

/// The nodes of a text behind its header, or what was reported.
std::string Parsed(const std::string& text) {
  ConfigNode root("root");
  traced.clear();
  const std::string whole = text.starts_with("!") ? text.substr(1) : "version 1.0 " + text;
  if (ConfigParser(whole, "src").Parse(root) == ConfigParseStatus::Ok) return Show(root).substr(9);
  EXPECT_EQ(root.CountChildren(), 0U) << "a failed parse must add nothing";
  return traced;
}

std::string Repeat(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  while (times-- > 0) all += text;
  return all;
}

}  // namespace

TEST_F(ConfigParse, ReadsEveryFormOfNode) {
  const std::pair<const char*, const char*> cases[] = {
      {"5; a = ; b = 6;; c {} one two; x, y;", "{=5 a=none b=6 c=none ='onetwo' =['x' 'y']}"},
      {"a = b;; c = d, e;; f = g h;;", "{a='b' c=['d' 'e'] f='gh'}"},
      {"a = kind { };", "src(1): Syntax error at ;."},
      {"a = kind; { 1; };", "src(1): Syntax error at ;."},
      {"a { b { c = 1; } 2; } d = 3;", "{a=none{b=none{c=1} =2} d=3}"},
      {"a = kind { 1; } b = kind, { 2; } c = kind; { 3; } d {}",
       "{a='kind'{=1} b='kind'{=2} c='kind'{=3} d=none}"},
      {"a = kind;; { 1; }", "src(1): Syntax error at {."},
      {"a = two kinds; { }", "src(1): Syntax error at {."},
      {"a { b = 1; { } }", "src(1): Syntax error at {."},
      {"1, -2, 0x10; (1); (1, 2.5, -1.#INF); 1, 2.5, x, 1e20;",
       "{=[1 -2 16] =[1] =[1.0f 2.5f -1.#INFf] =['1' '2.5' 'x' '1e+20']}"},
      {"``; a = ` \n ` 0aF /*;*/ 1 # 22;\n zZ 33 4;b=1;", "{=[] a=[x10 x51] b=1}"},
      {"a = \"one \" two; \"\" = \"\"; b = it`s; a/b*c=\xE9.txt;#end",
       "{a='one two' ='' b='it`s' a/b*c='\xE9.txt'}"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(Parsed(text), expected) << text;
}

TEST_F(ConfigParse, TellsNumbersFromTexts) {
  EXPECT_EQ(Parsed("0; +7; 017; -0x2; 0x100000002; 0xFFFFFFFF; 2147483648; -99999999999999999999;"),
            "{=0 =7 =15 =-2 =2 =-1 =2147483647 =-2147483648}")
      << "decimals are held to the range, other bases wrap";
  EXPECT_EQ(Parsed("1.; .5; -08.25; 1e3; 1e999; 1.#QNAN; -1.#IND; 1.#INF#;\n;"),
            "{=1.0f =0.5f =-8.25f =1000.0f =1.#INFf =1.#QNANf =-1.#INDf =1.#INFf}");
  EXPECT_EQ(Parsed("08; 0x; 12km; -; 1.5f; 1.2.3; .; nan; 1e; +-1; 0xG;"),
            "{='08' ='0x' ='12km' ='-' ='1.5f' ='1.2.3' ='.' ='nan' ='1e' ='+-1' ='0xG'}");
  EXPECT_EQ(Parsed("1.#INFx;"), "src(1): Syntax error at end of file.") << "a float and a comment";
}

TEST_F(ConfigParse, TextsEscapeAndKeepTheirBlanks) {
  EXPECT_EQ(Parsed(R"(a = "\"\n\t\/\\\#\ \`\;\=\(\)\{\}\,\:";)"), "{a='\"\n\t/\\# `;=(){},:'}");
  EXPECT_EQ(Parsed(R"(a = "C:\dir \x \\";)"), R"({a='C:\dir \x \'})");
  EXPECT_EQ(Parsed("\"a \r\n b\"; \"# no /* comment; */\";"), "{='a  b' ='# no /* comment; */'}");
  EXPECT_EQ(Parsed("a : # skip\n /* = */ C:/x, \"y\" } \\; \r\n. ;"), "{a='C:/x, \"y\" } ; . '}");
  EXPECT_EQ(Parsed("a: text # rest\n; b: ; c: kind{d:1;}"), "{a='text ' b=none c='kind'{d='1'}}");
  EXPECT_EQ(Parsed("a: (1, 2);"), "{a=[1 2]}");
  EXPECT_EQ(Parsed("a: b = c;"), "src(1): Syntax error at =.");
  EXPECT_EQ(Parsed("a = b\\;"), "{a='b\\'}") << "bare texts have no escapes";
}

TEST_F(ConfigParse, ReportsWhereAndWhy) {
  const std::pair<std::string, const char*> cases[] = {
      {"!", "src(1): Syntax error at end of file."},
      {"!a = 1;", "src(1): Syntax error."},
      {"!version 1 a = 1;", "src(1): Syntax error at 1."},
      {"!version 1.#QNAN a = 1;", "src(1): Syntax error at 1.#QNAN."},
      {"!/* c */ # d\nversion2.0\n\n", "src(4): Syntax error at end of file."},
      {"();", "src(1): Syntax error at )."},
      {"a = 1, ;", "src(1): Syntax error at ;."},
      {"a = 1 2;", "src(1): Syntax error at 2."},
      {"a = (\"b\" \"c\");", "src(1): Syntax error at c."},
      {"\n\"x\ny\" \"/*\n*/\" /*\n*/ = }", "src(5): Syntax error at =."},
      // None may forge a line of the log.
      {"a = (b \"\\n\x1b[2J\x7F\xE9\");", "src(1): Syntax error at ??[2J?\xE9."},
      {"a = 1, ``0A1B;", "src(1): Syntax error at ``."}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(Parsed(text), expected) << text;
  for (const char* open : {"\"b;", "b; /*;", "``00", "``00 /* ;", "\"\\", "\\", "b {1;", ""}) {
    EXPECT_EQ(Parsed("a = \n"s + open), "src(2): Syntax error at end of file.") << open;
  }
  for (const std::string& zero : {"= b\0;"s, "= \"b\0\";"s, ": b\0;"s, "\0;"s}) {
    EXPECT_EQ(Parsed("a " + zero), "src(1): Syntax error.");
  }
  EXPECT_EQ(Parsed("/*\0*/ a=``\0 0\0;"s), "{a=[]}") << "what is skipped may hold anything";
  EXPECT_EQ(Parsed("a = 1;\0\0"s), "{a=1}") << "a length that counts the terminator";
  EXPECT_LT(Parsed("= " + std::string(100'000, 'x')).size(), 200U);
}

TEST_F(ConfigParse, NestsUpToTheLimitOfSymbols) {
  const auto nested = [](const std::string& level, std::size_t levels) {
    return Parsed(Repeat(level, levels) + Repeat("}", levels));
  };
  EXPECT_TRUE(nested("a{", 249).ends_with(Repeat("}", 249)));
  EXPECT_EQ(nested("a{", 250), "src(1): Syntax error at {.");
  EXPECT_TRUE(nested("1; a = b, {", 83).ends_with(Repeat("}", 83))) << traced;
  EXPECT_EQ(nested("1; a = b, {", 84), "src(1): Syntax error at ;.");
  Parsed("a = b" + Repeat(", b", 1000) + Repeat("; c d e f", 1000) + ";");
  EXPECT_EQ(traced, "") << "width is no depth";
}

TEST_F(ConfigParse, HostileTextsEndSoon) {
  constexpr std::size_t kMany = ::Test::kSlowBuild ? 30'000 : 1'000'000;
  constexpr std::size_t kTooMany = ConfigParser::kMostValues + 1;
  EXPECT_EQ(Parsed(Repeat("a{", kMany)), "src(1): Syntax error at {.");
  EXPECT_EQ(Parsed(Repeat("(", kMany)), "src(1): Syntax error at (.");
  EXPECT_EQ(Parsed("a=" + Repeat("1,", kTooMany)), "src(1): Too many values.");
  EXPECT_EQ(Parsed(Repeat("1;", kTooMany)), "src(1): Too many values.");
  EXPECT_EQ(Parsed("a=" + Repeat("` /*x*/", kMany) + ";").size(), kMany + 6);
  EXPECT_EQ(Parsed("a=" + std::string(100 * kMany, '1') + ";"), "{a=2147483647}");
  EXPECT_EQ(Parsed("a=" + std::string(20 * kMany, '0') + ".5e9;"), "{a=5e+08f}");
  EXPECT_EQ(Parsed("a=" + std::string(20 * kMany, '9') + "e;").size(), 20 * kMany + 7);
  EXPECT_EQ(Parsed("a:" + Repeat("\\n", 10 * kMany) + ";").size(), 10 * kMany + 6);
  EXPECT_EQ(Parsed("\"" + std::string(20 * kMany, '\n')),
            "src(" + std::to_string(20 * kMany + 1) + "): Syntax error at end of file.");
}

TEST_F(ConfigParse, ReadsFilesOfBothEncodings) {
  const ::Test::TempFolder folder;
  const std::string narrow = "version 2.5\na = \"\xE9\";";
  std::string wide = "\xFF\xFE";
  for (const char c : narrow) wide += {c, '\0'};
  for (const std::string& bytes : {narrow, wide, wide + "x"}) {
    ::Test::WriteWholeFile(folder / "a.txt", bytes);
    File file;
    ASSERT_EQ(file.Open((folder / "a.txt").c_str(), FileMode::kRead), RES_OK);
    for (const bool fromFile : {true, false}) {
      const auto parser = fromFile ? std::make_unique<ConfigParser>(file)
                                   : std::make_unique<ConfigParser>(bytes, "memory");
      ConfigNode root;
      EXPECT_EQ(parser->Parse(root), ConfigParseStatus::Ok);
      EXPECT_EQ(Show(root), "=none{a='\xE9'}");
      EXPECT_EQ(parser->Version(), 2.5F);
    }
  }
  File endless;
  ASSERT_EQ(endless.Open("/dev/zero", FileMode::kReadRaw), RES_OK);
  ConfigNode root;
  EXPECT_EQ(ConfigParser(endless).Parse(root), ConfigParseStatus::Failed);
  EXPECT_EQ(traced, "/dev/zero: The file is too long.");
  traced.clear();
  EXPECT_EQ(ConfigParser("", "a\nb").Parse(root), ConfigParseStatus::Failed);
  EXPECT_EQ(traced, "a?b(1): Syntax error at end of file.");
  File closed;
  EXPECT_THROW(ConfigParser{closed}, FileEx) << "failing to read is the caller's to know";
}

TEST(ConfigNode, GettersConvertOrLeaveTheDefault) {
  using Value = ConfigNode::Value;
  const struct {
    Value value;
    std::int32_t integer;
    float number;
    const char* text;
    bool truth;
  } cases[] = {{-3, -3, -3, "-3", true},
               {0, 0, 0, "0", false},
               {2.75F, 2, 2.75F, "2.75", true},
               {-1e10F, INT32_MIN, -1e10F, "-1e+10", true},
               {HUGE_VALF, INT32_MAX, HUGE_VALF, "1.#INF", true},
               {16777216.0F, 16777216, 16777216.0F, "16777216.0", true},
               {PString(" 12.5x"), 12, 12.5F, " 12.5x", false},
               {PString("TRUE"), 0, 0, "TRUE", true},
               {PString("1"), 1, 1, "1", true},
               {PString("on"), 0, 0, "on", false},
               {PString("-9999999999"), INT32_MIN, -9999999999.0F, "-9999999999", false},
               {Value(), 77, 7.5F, "default", true},
               {std::vector<std::int32_t>{1}, 77, 7.5F, "default", true}};
  for (const auto& c : cases) {
    ConfigNode node;
    node.Set(c.value);
    std::int32_t integer = 77;
    float number = 7.5F;
    PString text = "default";
    bool truth = true;
    const bool converts = node.Get(integer);
    EXPECT_EQ(node.Get(number), converts);
    EXPECT_EQ(node.Get(text), converts);
    EXPECT_EQ(node.Get(truth), converts && node.GetType() != ConfigNode::Type::Float);
    EXPECT_EQ(integer, c.integer) << c.text;
    EXPECT_EQ(number, c.number) << c.text;
    EXPECT_STREQ(text.Text(), c.text);
    EXPECT_EQ(truth, c.truth) << c.text;
  }
}

TEST(ConfigNode, NumberArraysReadAsFourOrAsAngles) {
  using Four = std::array<float, 4>;
  const std::pair<ConfigNode::Value, Four> cases[] = {
      {std::vector<float>{1, 2, 3, 4, 5}, {1, 2, 3, 4}},
      {std::vector<float>{6, 7, 8}, {6, 7, 8, 1}},
      {std::vector<std::int32_t>{6, 7}, {6, 7, -1, 1}},
      {std::vector<float>(), {-1, -1, -1, -1}},
      {5.0F, {-1, -1, -1, -1}}};
  for (const auto& [value, expected] : cases) {
    ConfigNode node;
    node.Set(value);
    Four four = {-1, -1, -1, -1};
    std::array<float, 3> angles{};
    EXPECT_EQ(node.Get(four), expected[3] != -1);
    EXPECT_EQ(four, expected);
    EXPECT_EQ(node.Get(angles), expected[2] == 8) << "three numbers alone are angles";
    EXPECT_EQ(angles[1], expected[2] == 8 ? 7.0F : 0.0F);
  }
}

TEST(ConfigNode, ChildrenAreFoundByNameAndIndex) {
  ConfigNode root, other;
  for (const char* name : {"a", "b", "a", "A"}) {
    root.AddChild(name).Set(static_cast<std::int32_t>(root.CountChildren()));
  }
  EXPECT_EQ(root.CountChildren("a"), 2U);
  EXPECT_EQ(Show(root.Child("a", 1)), "a=3");
  EXPECT_EQ(Show(root.ChildAt(3)), "A=4");
  EXPECT_TRUE(root.Child("a", 2).IsMissing() && root.Child("c").Child("d").IsMissing());
  EXPECT_TRUE(root.ChildAt(4).IsMissing());

  root.AddChild("c").AddChild("d").Set(std::vector<PString>{"x"});
  other = root;
  root.AddChildren(other);
  other = root.Child("c");
  EXPECT_EQ(Show(other), "c=none{d=['x']}");
  EXPECT_EQ(Show(root), "=none{a=1 b=2 a=3 A=4 c=none{d=['x']} a=1 b=2 a=3 A=4 c=none{d=['x']}}");
  root = root.ChildAt(4);
  EXPECT_EQ(Show(root), Show(other)) << "a tree may take the place of the one it is in";
}

TEST(ConfigNode, TreesGrowOnManyThreads) {
  ::Test::OnThreads(4, [](int) {
    for (int round = 0; round < 50; ++round) {
      ConfigNode root;
      const std::string text = "ver 1.0 " + Repeat("a { b = \"x\"; c = 1, 2; }", 100);
      if (ConfigParser(text, "").Parse(root) != ConfigParseStatus::Ok) std::abort();
      if (ConfigNode(root).CountChildren("a") != 100) std::abort();
    }
  });
}
