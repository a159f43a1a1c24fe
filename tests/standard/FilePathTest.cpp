#include "kernel/standard/FilePath.h"

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

namespace Zef {

namespace {

/// Cases stand as words in one text, their parts behind marks: "before>after".
std::vector<std::string> Words(const std::string& text, char end = ' ') {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, end);) words.push_back(word);
  return words;
}

template <typename Change>
void ExpectChanges(Change change, const char* cases) {
  for (const std::string& text : Words(cases)) {
    const auto parts = Words(text + ">", '>');
    FilePath path(parts.at(0).c_str());
    change(path);
    EXPECT_EQ(path.View(), parts.at(1)) << text;
  }
}

}  // namespace

TEST(FilePath, PartsOfAName) {
  // Path, file part, extension. A colon behind a separator ends no name.
  for (const std::string& text : Words("data:b.tar.gz>b.tar.gz>gz a.b/c>c>none a.b\\c.d>c.d>d "
                                       "/m/a:b.c>a:b.c>c a.b:c>c>none a.>a.>")) {
    const auto parts = Words(text + ">", '>');
    const FilePath path(parts.at(0).c_str());
    EXPECT_EQ(path.FilePart(), parts.at(1)) << text;
    EXPECT_EQ(path.Extension() ? path.Extension() : "none", parts.at(2)) << text;
    EXPECT_EQ(path.HasExtension(nullptr), parts.at(2) == "none") << text;
  }
  EXPECT_TRUE(FilePath("a/b.TXT").HasExtension(".txt"));
  EXPECT_FALSE(FilePath("a/b.txt2").HasExtension("txt"));
}

TEST(FilePath, OperationsInPlace) {
  ExpectChanges([](auto& p) { p.StripToFolder(); }, "a/b.txt>a/ data:x>data: x> a\\>a\\ /x>/");
  ExpectChanges([](auto& p) { p.StripToFolder(true); }, "a/b>a data:x>data x> /x> /a:b/c>/a:b");
  ExpectChanges([](auto& p) { p.StripTrailingPart(); }, "a/b/>a/b a/b>a/b d:>d:");
  ExpectChanges([](auto& p) { p.EnsureTrailingSeparator(); }, "a>a/ > a\\>a\\ d:>d: /d:>/d:/");
  ExpectChanges([](auto& p) { p.StripBaseName(); },
                "a/b.txt>a/.txt a/b.c.txt>a/.txt a/b>a/ d:b.c>d:.c");
  ExpectChanges([](auto& p) { p.RemoveLastFolder(); },
                "a/b/c.txt>a/c.txt a\\c>c d:a/c>d:c /a/c>/c /c>/c d:c>d:c a//c>c a/b/>a/");
  ExpectChanges([](auto& p) { p.ReduceToRoot(); }, "d:a/b/c>d:c d:/a/c>d:/c /a/b/c>/c a/c>c c>c");
  ExpectChanges([](auto& p) { p.Erase(1, 2); }, "abcdef>adef ab>a a>a");
  ExpectChanges([](auto& p) { p.Join("//bcdef", 5); }, "a>a/bcd a/>a/bcd d:>d:bcd >bcd");
  ExpectChanges([](auto& p) { p.Join("//", 5); }, "a>a");
  FilePath path("d:a\\b//c");
  for (const char* part : {"d:a", "b", "", "c", ""}) EXPECT_STREQ(path.PopFirst().Text(), part);
}

TEST(FilePath, NormaliseCountsAKeptDotDotAsAFolder) {
  ExpectChanges([](auto& p) { p.Normalise(); },
                "a/./b//c/>a/b/c \\a\\b>/a/b a/b/../c>a/c ../x>../x ../../x>x a/../../x>../x "
                "/../x>/../x /../../x>/x />/ ./> a/..> d:a/../x>d:x d:/../x>d:../x /a:b/../c>/c "
                "/x:/y>/x:/y");
}

TEST(FilePath, CombineAndRelative) {
  for (const std::string& text : Words("a/b.txt+c>a/c a\\b\\+/c>a\\b\\c data+c>data:/c ..+c>../c "
                                       "d:b+c>d:b/c +/tmp/c>/tmp/c")) {
    const auto parts = Words(text, '>');
    const auto names = Words(parts.at(0), '+');
    const FilePath combined = FilePath::Combine(names.at(0).c_str(), names.at(1).c_str());
    EXPECT_EQ(combined.View(), parts.at(1)) << text;
  }
  // Base, target, the way from one to the other.
  for (const std::string& text :
       Words("/a/d/e.txt>/a/b/c.txt>../b/c.txt /a/B/x>/A/b/c>c D:a/c/x>d:a/b>../b "
             "c/d/e>a/b>../../a/b a/x>a\\b\\c>b\\c a/c>ab/c>../ab/c /a/b/>/a//b/c>c "
             "a/b>/a/b>none e:x>d:x>none")) {
    const auto parts = Words(text, '>');
    FilePath way("none");
    const bool found = FilePath::Relative(parts.at(1).c_str(), parts.at(0).c_str(), way);
    EXPECT_EQ(found, parts.at(2) != "none") << text;
    EXPECT_EQ(way.View(), parts.at(2)) << text;
  }
}

TEST(FilePath, CutPathStaysFullWhateverIsDoneToIt) {
  const std::string tooLong = "folder/" + std::string(300, 'x') + "/file.txt";
  const FilePath cut(tooLong.c_str());
  ASSERT_EQ(cut.Length(), FilePath::kSize - 1);
  FilePath path = cut;
  path.StripToFolder();
  path.StripBaseName();
  path.RemoveLastFolder();
  path.ReduceToRoot();
  path.Normalise();
  path.Erase(0, 100);
  path.Join("more");
  EXPECT_EQ(path.View(), cut.View());
  EXPECT_TRUE(path.PopFirst().IsFull() && path.IsEmpty());
  EXPECT_FALSE(FilePath::Relative(cut, "folder/x", path));
  // The folder of a base that is too long is not the folder of the base cut.
  EXPECT_TRUE(FilePath::Combine(tooLong.c_str(), "x").IsFull());
}

// "yes", "no", or the offset of the separator behind the folder that the pattern reaches.
TEST(Wildcard, MatchesOrTellsTheFolderThatThePatternReaches) {
  for (const std::string& text :
       Words("readme~*.*>yes readme~*.>yes readme~read*.*>yes readme~readme.*>no readme~readme.>no "
             "readme~*readme.>no readme~*me.*>no readme~readme*.>yes "
             "readme~*x.*>no a.txt~*.TXT>yes a.txt~*.tx>no a.txt~?.t?t>yes a.txt~??.txt>no ~*>yes "
             "~>yes a~>no b~a;b>yes c~a;b>no a;b~a;b>no x.ini~*.txt;*.ini>yes aXbXc~a*x*c>yes "
             "aabab~*ab>yes ab~a**b>yes ./a~a>yes a~.\\a>yes a/b~A\\B>yes a/b/c~a/*/c>yes "
             "a/b/c~*/c>no dir/x~d*/y;x>yes x/b~a;x/b>no a/b~a?b>no a~a/>no \xC4~\xE4>no "
             "a/b~a/*>yes a/b~*>1 a/b/c.txt~a/*>3 ./a/b/c~a/b>5 a\\b/c~a/x;b*.>3")) {
    const auto parts = Words(text, '>');
    const auto texts = Words(parts.at(0) + "~", '~');
    std::int32_t position = 77;
    const bool reaches = MatchWildcard(texts.at(0).c_str(), texts.at(1).c_str(), &position);
    const bool matches = MatchWildcard(texts.at(0).c_str(), texts.at(1).c_str());
    EXPECT_EQ(matches, parts.at(1) == "yes") << text;
    EXPECT_EQ(reaches, parts.at(1) != "no") << text;
    EXPECT_EQ(position, std::isdigit(parts.at(1)[0]) ? std::stoi(parts.at(1)) : -1) << text;
  }
}

TEST(Wildcard, HostilePatternDoesNotExplode) {
  std::string pattern;
  for (int i = 0; i < 120; ++i) pattern += "*a";
  EXPECT_TRUE(MatchWildcard(nullptr, nullptr));
  EXPECT_FALSE(MatchWildcard(std::string(250, 'a').c_str(), (pattern + "*b").c_str()));
}

}  // namespace Zef
