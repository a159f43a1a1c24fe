#include "kernel/standard/FilePath.h"

#include <gtest/gtest.h>

#include <string>

namespace Zef {

namespace {

struct Case {
  const char* before;
  const char* after;
};

template <std::size_t N, typename Change>
void ExpectChanges(const char* operation, const Case (&cases)[N], Change change) {
  for (const Case& c : cases) {
    FilePath path(c.before);
    change(path);
    EXPECT_STREQ(path.Text(), c.after) << operation << " of " << c.before;
  }
}

const std::string kTooLong = "folder/" + std::string(300, 'x') + "/file.txt";

}  // namespace

TEST(FilePath, PartsOfAName) {
  const struct {
    const char* path;
    const char* file;
    const char* extension;  // null: none
  } cases[] = {
      {"a/b.txt", "b.txt", "txt"},
      {"data:b.tar.gz", "b.tar.gz", "gz"},
      {"a.b/c", "c", nullptr},
      {"a.b\\c", "c", nullptr},
      {"a.b:c", "c", nullptr},
      {"", "", nullptr},
      {"/m/a:b.c", "a:b.c", "c"},  // a colon behind a separator ends no name
      {"a.", "a.", ""},
      {".hidden", ".hidden", "hidden"},
  };
  for (const auto& c : cases) {
    const FilePath path(c.path);
    EXPECT_STREQ(path.FilePart(), c.file) << c.path;
    EXPECT_STREQ(path.Extension(), c.extension) << c.path;
    EXPECT_EQ(path.HasExtension(nullptr), c.extension == nullptr) << c.path;
  }
  EXPECT_TRUE(FilePath("a/b.TXT").HasExtension(".txt"));
  EXPECT_TRUE(FilePath("a/b.txt").HasExtension("Txt"));
  EXPECT_FALSE(FilePath("a/b.txt2").HasExtension("txt"));
  EXPECT_FALSE(FilePath("a/txt").HasExtension("txt"));
}

TEST(FilePath, OperationsInPlace) {
  ExpectChanges("ToBackSlashes", {{"a/b\\c/", "a\\b\\c\\"}}, [](auto& p) { p.ToBackSlashes(); });
  ExpectChanges("StripToFolder",
                {{"a/b.txt", "a/"}, {"data:x", "data:"}, {"x", ""}, {"a\\", "a\\"}, {"/x", "/"}},
                [](auto& p) { p.StripToFolder(); });
  ExpectChanges("StripToFolder(drop)",
                {{"a/b.txt", "a"}, {"data:x", "data"}, {"x", ""}, {"/x", ""}, {"/a:b/c", "/a:b"}},
                [](auto& p) { p.StripToFolder(true); });
  ExpectChanges("StripTrailingPart", {{"a/b/", "a/b"}, {"a/b", "a/b"}, {"a:", "a:"}, {"", ""}},
                [](auto& p) { p.StripTrailingPart(); });
  ExpectChanges(
      "EnsureTrailingSeparator",
      {{"a", "a/"}, {"", ""}, {"a\\", "a\\"}, {"a/", "a/"}, {"d:", "d:"}, {"/d:", "/d:/"}},
      [](auto& p) { p.EnsureTrailingSeparator(); });
  ExpectChanges("StripBaseName",
                {{"a/b.txt", "a/.txt"}, {"a/b.c.txt", "a/.txt"}, {"a/b", "a/"}, {"d:b.c", "d:.c"}},
                [](auto& p) { p.StripBaseName(); });
  ExpectChanges("RemoveLastFolder",
                {{"a/b/c.txt", "a/c.txt"},
                 {"a\\c", "c"},
                 {"d:a/c", "d:c"},
                 {"/a/c", "/c"},
                 {"/c", "/c"},
                 {"d:c", "d:c"},
                 {"a//c", "c"},
                 {"a/b/", "a/"}},
                [](auto& p) { p.RemoveLastFolder(); });
  ExpectChanges(
      "ReduceToRoot",
      {{"d:a/b/c", "d:c"}, {"d:/a/c", "d:/c"}, {"/a/b/c", "/c"}, {"a/c", "c"}, {"c", "c"}},
      [](auto& p) { p.ReduceToRoot(); });
  ExpectChanges("Erase", {{"abcdef", "adef"}, {"ab", "a"}, {"a", "a"}},
                [](auto& p) { p.Erase(1, 2); });
}

TEST(FilePath, NormaliseKeepsItsOldRules) {
  ExpectChanges("Normalise",
                {{"a/./b//c/", "a/b/c"},
                 {"\\a\\b", "/a/b"},
                 {"a/b/../c", "a/c"},
                 {"../x", "../x"},
                 // A ".." kept at the root is a component that the next one removes.
                 {"../../x", "x"},
                 {"a/../../x", "../x"},
                 {"/../x", "/../x"},
                 {"/../../x", "/x"},
                 // A substitution's name is never taken away.
                 {"d:a/../x", "d:x"},
                 {"d:/../x", "d:x"},
                 {"/a:b/../c", "/c"},
                 {"/x:/y", "/x:/y"},
                 {"/", "/"},
                 {"./", ""},
                 {"a/..", ""},
                 {"", ""}},
                [](auto& p) { p.Normalise(); });
}

TEST(FilePath, JoinAndPop) {
  const struct {
    const char* path;
    const char* other;
    const char* joined;
  } joins[] = {{"a", "b", "a/b"}, {"a/", "//b", "a/b"}, {"d:", "\\b", "d:b"},
               {"", "/b", "b"},   {"a", "/", "a"},      {"a", "bcdefgh", "a/bcd"}};
  for (const auto& c : joins) {
    FilePath path(c.path);
    path.Join(c.other, 3);
    EXPECT_STREQ(path.Text(), c.joined) << c.path << " + " << c.other;
  }
  FilePath path("d:a\\b/c");
  for (const char* part : {"d:a", "b", "c", ""}) EXPECT_STREQ(path.PopFirst().Text(), part);
  path = "/a";
  EXPECT_STREQ(path.PopFirst().Text(), "");
  EXPECT_STREQ(path.Text(), "a");
}

TEST(FilePath, Combine) {
  const struct {
    const char* base;
    const char* name;
    const char* expected;
  } cases[] = {{"a/b.txt", "c", "a/c"}, {"a\\b\\", "/c", "a\\b\\c"}, {"data", "c", "data:/c"},
               {"..", "c", "../c"},     {"data:b", "c", "data:b/c"}, {"", "c", "c"},
               {"", "/tmp/c", "/tmp/c"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(FilePath::Combine(c.base, c.name).Text(), c.expected) << c.base;
  }
}

TEST(FilePath, Relative) {
  const struct {
    const char* target;
    const char* base;
    const char* expected;  // null: no common root
  } cases[] = {
      {"/a/b/c.txt", "/a/d/e.txt", "../b/c.txt"},
      {"/A/b/c", "/a/B/x", "c"},
      {"d:a/b", "D:a/c/x", "../b"},
      {"a/b/c", "x", "a/b/c"},
      {"a/b", "c/d/e", "../../a/b"},
      {"/a/b", "a/b", nullptr},
      {"d:x", "e:x", nullptr},
      {"a\\b\\c", "a/x", "b\\c"},
      {"ab/c", "a/c", "../ab/c"},
      {"/a//b/c", "/a/b/", "c"},
  };
  for (const auto& c : cases) {
    FilePath result("untouched");
    ASSERT_EQ(FilePath::Relative(c.target, c.base, result), c.expected != nullptr) << c.target;
    EXPECT_STREQ(result.Text(), c.expected ? c.expected : "untouched") << c.target;
  }
}

TEST(FilePath, CutPathStaysFullWhateverIsDoneToIt) {
  const FilePath cut(kTooLong.c_str());
  ASSERT_TRUE(cut.IsFull());
  ASSERT_EQ(cut.Length(), FilePath::kSize - 1);
  void (*const changes[])(FilePath&) = {
      [](FilePath& p) { p.StripToFolder(); },    [](FilePath& p) { p.StripBaseName(); },
      [](FilePath& p) { p.RemoveLastFolder(); }, [](FilePath& p) { p.ReduceToRoot(); },
      [](FilePath& p) { p.Normalise(); },        [](FilePath& p) { p.Erase(0, 100); },
      [](FilePath& p) { p.Append("more"); },     [](FilePath& p) { p.EnsureTrailingSeparator(); },
  };
  for (const auto change : changes) {
    FilePath path = cut;
    change(path);
    EXPECT_EQ(path, cut) << path.Text();
  }
  FilePath path = cut;
  EXPECT_TRUE(path.PopFirst().IsFull());
  EXPECT_TRUE(path.IsEmpty());
  EXPECT_FALSE(FilePath::Relative(cut, "folder/x", path));
  EXPECT_TRUE(FilePath::Combine("a/", kTooLong.c_str()).IsFull());
  // The folder of a base that is too long is not the folder of the base cut.
  EXPECT_TRUE(FilePath::Combine(kTooLong.c_str(), "x").IsFull());
}

TEST(Wildcard, Matches) {
  const struct {
    const char* name;
    const char* pattern;
    bool matches;
  } cases[] = {
      {"readme", "*.*", true},
      {"readme", "*", true},
      {"readme", "*.", true},
      {"readme", "read*.*", true},
      {"readme", "readme.*", false},
      {"readme", "readme.", false},
      {"readme", "*x.*", false},
      {"a.txt", "*.TXT", true},
      {"a.txt", "*.tx", false},
      {"a.txt", "?.t?t", true},
      {"a.txt", "??.txt", false},
      {"", "*", true},
      {"", "", true},
      {"a", "", false},
      {"b", "a;b", true},
      {"c", "a;b", false},
      {"x.ini", "*.txt;*.ini", true},
      {"a;b", "a;b", false},
      {"aXbXc", "a*x*c", true},
      {"aabab", "*ab", true},
      {"ab", "a**b", true},
      {"./a", "a", true},
      {"a", ".\\a", true},
      {"a/b", "A\\B", true},
      {"a/b/c", "a/*/c", true},
      {"a/b/c", "*/c", false},
      {"a/b", "*", false},
      {"a/b", "a?b", false},
      {"x/b", "a;x/b", false},
      {"dir/x", "d*/y;x", true},
      {"a", "a/", false},
      {"\xC4", "\xE4", false},  // only ASCII folds
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MatchWildcard(c.name, c.pattern), c.matches) << c.name << " ~ " << c.pattern;
  }
}

TEST(Wildcard, TellsTheFolderThatThePatternReaches) {
  const struct {
    const char* name;
    const char* pattern;
    bool matches;
    std::int32_t position;
  } cases[] = {
      {"a/b/c.txt", "a/*", true, 3},  {"./a/b/c", "a/b", true, 5}, {"a/b", "a/*", true, -1},
      {"a/b/c", "a/x;b*.*", true, 3}, {"a/b/c", "x/*", false, -1}, {"a", "a/*", false, -1},
      {"a\\b", "*", true, 1},
  };
  for (const auto& c : cases) {
    std::int32_t position = 77;
    EXPECT_EQ(MatchWildcard(c.name, c.pattern, &position), c.matches) << c.name;
    EXPECT_EQ(position, c.position) << c.name << " ~ " << c.pattern;
  }
}

TEST(Wildcard, HostilePatternDoesNotExplode) {
  const std::string name(250, 'a');
  std::string pattern;
  for (int i = 0; i < 120; ++i) pattern += "*a";
  EXPECT_TRUE(MatchWildcard(name.c_str(), pattern.c_str()));
  EXPECT_FALSE(MatchWildcard(name.c_str(), (pattern + "*b").c_str()));
}

}  // namespace Zef
