#include "kernel/standard/FileFind.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "kernel/standard/Exception.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace Zef {

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Search : public testing::Test {
 protected:
  ~Search() override { Subst(name_, nullptr, false); }

  void Put(const char* name) { ::Test::WriteWholeFile(root_ / name, name); }
  Names All(const std::string& pattern) {
    File::Find find;
    if (!find.Open(pattern.c_str())) return {"(none)"};
    Names names;
    while (find.Next()) names.emplace_back(find.Entry().name);
    EXPECT_FALSE(find.Next());
    return names;
  }

  ::Test::TempFolder root_;
  PString name_{"search"};
};

}  // namespace

TEST_F(Search, FolderOnDiskComesSortedWithoutDoubles) {
  for (const char* name : {"b.txt", "A.txt", "c.ini", "D.TXT", "d.txt", "sub/x.txt"}) Put(name);
  EXPECT_EQ(All(root_ / "*"), (Names{".", "..", "A.txt", "b.txt", "c.ini", "D.TXT", "sub"}));
  EXPECT_EQ(All(root_ / "*.*"), All(root_ / "*"));
  EXPECT_EQ(All(root_ / "?.txt;s*"), (Names{"A.txt", "b.txt", "D.TXT", "sub"}));
  EXPECT_EQ(All(root_ / "sub\\X.txt"), (Names{"x.txt"}));
  EXPECT_EQ(All(root_ / "SUB/*"), (Names{"(none)"}));  // plain paths are exact
  EXPECT_EQ(All(root_ / "s?b/*"), (Names{"(none)"}));
  EXPECT_EQ(All(root_ / "none/*"), (Names{"(none)"}));
  EXPECT_EQ(All("unknown:*.txt"), Names());  // a pattern for the current folder
}

TEST_F(Search, EntriesCarrySizeTimesAndAttributes) {
  Put("file.txt");
  Put("locked.txt");
  fs::permissions(root_ / "locked.txt", fs::perms::owner_read);
  fs::create_directory(root_ / "folder");
  fs::create_directory_symlink(root_ / "folder", root_ / "link");
  fs::create_symlink(root_ / "nowhere", root_ / "dangling");
  ASSERT_EQ(mkfifo((root_ / "fifo").c_str(), 0600), 0);
  const auto modified = fs::last_write_time(root_ / "file.txt");
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::file_clock::to_sys(modified).time_since_epoch());
  const struct {
    const char* name;
    std::uint32_t size;
    std::uint16_t attributes;
  } expected[] = {
      {"file.txt", 8, 0x20}, {"folder", 0, 0x10}, {"link", 0, 0x10}, {"locked.txt", 10, 0x21}};
  File::Find find;
  ASSERT_TRUE(find.Open((root_ / "*").c_str()));
  ASSERT_TRUE(find.Next());
  EXPECT_EQ(find.Entry().attributes, FileEntry::kFolder);
  ASSERT_TRUE(find.Next());
  for (const auto& e : expected) {
    ASSERT_TRUE(find.Next());
    const FileEntry& entry = find.Entry();
    EXPECT_STREQ(entry.name, e.name);
    EXPECT_EQ(entry.size, e.size) << e.name;
    EXPECT_EQ(entry.storedSize, e.size) << e.name;
    EXPECT_EQ(entry.attributes, e.attributes) << e.name;
    EXPECT_EQ(entry.checksum, 0u);
    if (e.size != 8) continue;
    EXPECT_EQ(entry.written, static_cast<std::uint32_t>(seconds.count()));
  }
  EXPECT_FALSE(find.Next());
  EXPECT_EQ(ClampToWord(-1), 0u);
  EXPECT_EQ(ClampToWord(std::int64_t{1} << 33), 0xFFFFFFFFu);
}

TEST_F(Search, SourcesOfANameMerge) {
  for (const char* name : {"hi/Both.txt", "hi/z.txt", "lo/BOTH.TXT", "lo/a.txt", "lo/Sub/s.txt"}) {
    Put(name);
  }
  for (const char* folder : {"lo/", "hi/", "missing/"}) {
    ASSERT_TRUE(Subst(name_, (root_ / folder).c_str(), true));
  }
  EXPECT_EQ(All("search:*"), (Names{".", "..", "Both.txt", "z.txt", "a.txt", "Sub"}));
  EXPECT_EQ(All("search:\\b*"), (Names{"Both.txt"}));
  EXPECT_EQ(All("search:sub/*.txt"), (Names{"s.txt"}));
  EXPECT_EQ(All("search:none/*"), (Names{"(none)"}));
  EXPECT_EQ(All("search:../*"), (Names{"(none)"}));
  EXPECT_EQ(All("search:" + std::string(300, 'd') + "/*"), (Names{"(none)"}));
}

TEST_F(Search, NamedSubstitutionMustExist) {
  Put("a.txt");
  File::Find find;
  try {
    (void)find.Open(name_, "*");
    FAIL() << "an unknown name was searched";
  } catch (const FileEx& e) {
    EXPECT_STREQ(e.Reason(), "Open() Subst not found");
  }
  EXPECT_FALSE(find.Next());
  ASSERT_TRUE(find.Open(PString(), (root_ / "a*").c_str()));
  EXPECT_TRUE(find.Next());
}

TEST_F(Search, OutlivesTheRemovalOfItsName) {
  Put("hi/a.txt");
  Put("hi/b.txt");
  Put("lo/c.txt");
  ASSERT_TRUE(Subst(name_, (root_ / "lo/").c_str(), true));
  ASSERT_TRUE(Subst(name_, (root_ / "hi/").c_str(), true));
  File::Find find;
  ASSERT_TRUE(find.Open(name_, "*.txt"));
  ASSERT_TRUE(find.Next());
  Subst(name_, nullptr, false);
  ASSERT_TRUE(find.Next());
  EXPECT_STREQ(find.Entry().name, "b.txt");
  EXPECT_FALSE(find.Next());  // the other source is unavailable by now
}

}  // namespace Zef
