#include "kernel/standard/Options.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/Sanitizers.h"
#include "tests/support/TestFiles.h"

using namespace Zef;
using namespace std::string_literals;

namespace {

std::string Text(const Options& options, std::string_view name) {
  std::string value;
  options.Get(name, value, "absent");
  return value;
}

std::string Values(Options& options, std::string_view name) {
  std::string all;
  for (std::string value; options.NextValue(name, value);) all += "[" + value + "]";
  return all;
}

}  // namespace

TEST(Options, SwitchTextsGiveNamesAndValues) {
  const struct {
    std::string text;
    const char *x, *y;
  } cases[] = {{"", "absent", "absent"},
               {" -x", "", "absent"},
               {"X y", "", ""},
               {"-x=1 /y=2", "1", "2"},
               {"-x = 1 \n+y\t=\n2 \r\n", "1", "2"},
               {"-x=a b=c d -y", "a b=c d", ""},
               {"-x=a  -y=b-c", "a", "b-c"},
               {"-x='a -b\" -y=\"'", "a -b", ""},
               {"-x=\"a\"y=2", "a", "2"},
               {"-x=\"open -y", "open -y", "absent"},
               {"-x= -y=1", "-y=1", "absent"},
               {"x- y+", "-", "+"},
               {"x -y", "", ""},
               {"+x=1 +x=2", "1,2", "absent"},
               {"-x +x=2 +x +y", "2,", ""},
               {"+x=1 -x=2", "2", "absent"},
               {"--x=1 -=y ++ / =z -+y=2", "1", "2"},
               {"-x=1\0-y=2"s, "1", "absent"},
               {"-x=/dir/file -y=+", "/dir/file", "+"}};
  for (const auto& c : cases) {
    Options options;
    options.Add(c.text);
    EXPECT_EQ(Text(options, "x"), c.x) << c.text;
    EXPECT_EQ(Text(options, "Y"), c.y) << c.text;
    EXPECT_FALSE(options.Has("") || options.Has("-")) << c.text;
  }
}

TEST(Options, ValuesReadAsBooleans) {
  const struct {
    const char* value;
    bool ofFalse, ofTrue;
  } cases[] = {{"", true, false},      {"-", false, false},     {"-5", false, false},
               {"OFF", false, false},  {"False", false, false}, {"+", true, true},
               {"On", true, true},     {"true", true, true},    {"1", true, false},
               {"trues", true, false}, {"offf", true, false}};
  for (const auto& c : cases) {
    Options options;
    options.Add("-x='"s + c.value + "'");
    bool value = false;
    EXPECT_TRUE(options.Get("x", value, false) && value == c.ofFalse) << c.value;
    EXPECT_TRUE(options.Get("x", value, true) && value == c.ofTrue) << c.value;
    EXPECT_TRUE(!options.Get("y", value, true) && value);
  }
}

TEST(Options, ValuesReadAsNumbers) {
  const struct {
    const char* value;
    std::int32_t integer;
    float number;
  } cases[] = {{"12", 12, 12},
               {" -7.5e1x", -7, -75},
               {"", 0, 0},
               {"0x10", 0, 0},
               {"99999999999", INT32_MAX, 1e11F},
               {"on", 0, 0}};
  Options options;
  std::int32_t integer = 1;
  float number = 1;
  for (const auto& c : cases) {
    options.Add("-x='"s + c.value + "'");
    EXPECT_TRUE(options.Get("x", integer, 5) && options.Get("x", number, 5));
    EXPECT_EQ(integer, c.integer) << c.value;
    EXPECT_FLOAT_EQ(number, c.number) << c.value;
  }
  EXPECT_FALSE(options.Get("y", integer, 5) || options.Get("y", number, 2.5F));
  EXPECT_EQ(integer, 5);
  EXPECT_EQ(number, 2.5F);
}

TEST(Options, WalksTakeNonEmptyPieces) {
  Options options;
  options.Add("-x=,a:b,,c, -y=1");
  EXPECT_EQ(Values(options, "x"), "") << "no walk was begun";
  options.BeginValues("X", ",");
  EXPECT_EQ(Values(options, "x"), "[a:b][c]");
  EXPECT_EQ(Values(options, "x"), "");
  options.BeginValues("x", ":,");
  std::string value;
  ASSERT_TRUE(options.NextValue("x", value));
  options.Add("-x=z");
  EXPECT_FALSE(options.NextValue("x", value)) << "a walk must not go on in another value";
  EXPECT_EQ(value, "a");
  options.BeginValues("none", ",");
  EXPECT_FALSE(options.NextValue("none", value));
}

TEST(Options, ManySwitchesStayLinear) {
  constexpr std::size_t kMany = ::Test::kSlowBuild ? 30'000 : 300'000;
  std::string text;
  for (std::size_t i = 1; i <= kMany; ++i) text += "-n" + std::to_string(i) + "=1 +all=x ";
  Options options;
  options.Add(text + std::string(100 * kMany, ' ') + std::string(3 * kMany, '-') + "=");
  EXPECT_EQ(Text(options, "n" + std::to_string(kMany)), "1");
  EXPECT_EQ(Text(options, "all").size(), 2 * kMany - 1);
}

TEST(Options, FilesAreReadOrSilentlyNot) {
  const ::Test::TempFolder folder;
  ::Test::WriteWholeFile(folder / "wide.txt", "\xFF\xFE-\0x\0=\0\xE9\0"s);
  ::Test::WriteWholeFile(folder / "long.txt", "-x=1" + std::string(Options::kLongestText, ' '));
  Options options;
  for (const char* name : {"none.txt", "long.txt", ""}) options.Load((folder / name).c_str());
  EXPECT_FALSE(options.Has("x"));
  options.Load((folder / "wide.txt").c_str());
  EXPECT_EQ(Text(options, "x"), "\xE9");
}

TEST(Options, ProgramsLoadInADocumentedOrder) {
  const ::Test::TempFolder bin, work;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(work.Path());
  setenv("Options", "-a=1 -b=1 -c=1 -d=1 -e=1 -f=1", 1);
  setenv("editorOptions", "-b=2 -c=2 -d=2 -e=2 -f=2", 1);
  setenv("editor_7s", "-c=3 -d=3 -e=3 -f=3 -tail", 1);
  setenv("editor", "-c=3 -d=3 -e=3 -f=3", 1);
  ::Test::WriteWholeFile(bin / "editorOptions.txt", "-d=4 -e=4 -f=4 +g=4");
  ::Test::WriteWholeFile(bin / "editor.txt", "-e=5 -f=5");
  ::Test::WriteWholeFile(work / "editor.txt", "-f=6 +g=6");
  ::Test::WriteWholeFile(bin / "editor_7s.txt", "-wrong");
  for (const char* name : {"editor", "editor.exe", "editor_7s"}) {
    Options options;
    options.LoadForModule(bin / name);
    std::string all;
    for (const char* letter : {"a", "b", "c", "d", "e", "f"}) all += Text(options, letter);
    EXPECT_EQ(all, "123456") << name;
    EXPECT_EQ(Text(options, "g"), "4,6");
    EXPECT_EQ(options.Has("tail"), std::string_view(name).starts_with("editor_7s"));
    EXPECT_FALSE(options.Has("wrong"));
  }
  // Where the folders are one, its files are read once, however the path spells it.
  std::filesystem::create_directory_symlink(work.Path(), bin.Path() / "link");
  Options options;
  options.LoadForModule(bin / "link/editor");
  EXPECT_EQ(Text(options, "g"), "6");
  std::filesystem::current_path(before);
  for (const char* name : {"Options", "editorOptions", "editor_7s", "editor"}) unsetenv(name);
}
