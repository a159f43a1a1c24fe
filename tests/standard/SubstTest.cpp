#include "kernel/standard/Subst.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <tuple>

#include "kernel/standard/Exception.h"
#include "kernel/standard/FileFind.h"
#include "tests/support/TestFiles.h"

namespace Zef {

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

/// "vfs" sees the folder "lo" and, in front of it, the folder "hi".
class Substitution : public testing::Test {
 protected:
  Substitution() {
    for (const char* folder : {"lo/", "hi/"}) {
      fs::create_directories(root_ / folder);
      EXPECT_TRUE(Subst(name_, (root_ / folder).c_str(), true));
    }
  }
  ~Substitution() override { Subst(name_, nullptr, false); }

  void Put(const std::string& name, const char* bytes) {
    ::Test::WriteWholeFile(root_ / name, bytes);
  }
  void Put(std::initializer_list<const char*> names) {
    for (const char* name : names) Put(name, name);
  }
  bool OnDisk(const char* name) { return fs::exists(fs::symlink_status(root_ / name)); }
  std::string Read(const std::string& path) {
    File file;
    if (file.Open(name_, path.c_str(), FileMode::kReadRaw) != RES_OK) return "(none)";
    std::string bytes(static_cast<std::size_t>(file.Size()), 0);
    file.Read(bytes.data(), 1, bytes.size());
    return bytes;
  }
  Names All(const std::string& pattern) {
    File::Find find;
    if (!find.Open(pattern.c_str())) return {"(none)"};
    Names names;
    while (find.Next()) names.emplace_back(find.Entry().name);
    return names;
  }
  FileStatus Write(const std::string& path) {
    return File().Open(name_, path.c_str(), FileMode::kCreateWrite);
  }

  ::Test::TempFolder root_;
  PString name_{"vfs"};
  SubstList& list_ = SubstList::Get();
};

struct Probe : FileSub {
  explicit Probe(bool* isGone) : gone(isGone) {}
  ~Probe() override { *gone = true; }
  bool IsAvailable() const override { return true; }
  bool* gone;
};
}  // namespace

TEST_F(Substitution, PrefixIsARegisteredNameBeforeAnySeparator) {
  for (const std::string_view text : {"vfs:a/b", "vfs:", "vfs:a:b"}) {
    PString name;
    std::string_view rest;
    ASSERT_TRUE(FindSubst(text, &name, &rest)) << text;
    EXPECT_TRUE(rest == text.substr(4) && name == name_) << text;
    EXPECT_TRUE(IsRootedPath(text));
  }
  for (const char* text : {"VFS:a", "c:/a", "/vfs:a", ":a", "vfs", "", "x/vfs:a", "vf:a"}) {
    EXPECT_FALSE(FindSubst(text, nullptr, nullptr)) << text;
    EXPECT_EQ(IsRootedPath(text), *text == '/') << text;
  }
  ASSERT_TRUE(Subst("c", (root_ / "lo/").c_str(), false));
  EXPECT_TRUE(FindSubst("c:/a", nullptr, nullptr));
  Subst("c", nullptr, false);
}

TEST_F(Substitution, LatestSourceWinsAndOthersFillIn) {
  Put("hi/both.txt", "hi");
  Put("lo/both.txt", "lo");
  Put("lo/Sub/Only.txt", "only");
  EXPECT_EQ(Read("both.txt"), "hi");
  EXPECT_EQ(Read("\\sub/ONLY.TXT"), "only");
  Put("hi/BOTH.txt", "upper");
  EXPECT_EQ(Read("both.txt"), "hi");     // the exact spelling goes first
  EXPECT_EQ(Read("Both.txt"), "upper");  // then the first in byte order
  EXPECT_TRUE(list_.Exists(name_, "Sub"));
  EXPECT_FALSE(list_.Exists("unknown", "both.txt"));
  FilePath full("SUB/only.txt");
  ASSERT_TRUE(list_.Qualify(name_, full));
  EXPECT_EQ(full.View(), root_ / "lo/Sub/Only.txt");
}

TEST_F(Substitution, WritingFallsThroughReadOnlySourcesAndMakesFolders) {
  fs::create_directories(root_ / "ro");
  ASSERT_TRUE(Subst(name_, (root_ / "ro/").c_str(), false));
  fs::create_directories(root_ / "hi/Deep");
  ASSERT_EQ(Write("deep/er/new.txt"), RES_OK);
  EXPECT_FALSE(OnDisk("ro/deep") || OnDisk("hi/deep"));
  EXPECT_TRUE(OnDisk("hi/Deep/er/new.txt"));  // the folder of another case is reused
  Put("ro/fixed.txt", "fixed");
  EXPECT_EQ(File::IsReadOnly("vfs:fixed.txt"), RES_FILEREADONLY);
  EXPECT_EQ(File::IsReadOnly("vfs:deep/er/new.txt"), RES_OK);
  EXPECT_FALSE(list_.Delete(name_, "fixed.txt"));
  EXPECT_NE(File().Open(name_, "fixed.txt", FileMode::kRead | FileMode::kWrite), RES_OK);
  Put("lo/deep/er/new.txt", "lo");
  EXPECT_EQ(File().Open(name_, "deep/er/new.txt", 0x311), RES_FILENOTFOUND);
  EXPECT_EQ(File().Open(name_, "deep/er/new.txt", 0x301), RES_FILEALREADYEXISTS);
  EXPECT_EQ(::Test::ReadWholeFile(root_ / "ro/fixed.txt"), "fixed");
}

TEST_F(Substitution, FolderComesIntoBeingByWriting) {
  ASSERT_TRUE(Subst("fresh", (root_ / "fresh/").c_str(), true));
  EXPECT_FALSE(list_.MakeFolder("fresh", "sub"));  // only asks what is available
  ASSERT_EQ(File().Open("fresh:a.txt", FileMode::kCreateWrite), RES_OK);
  EXPECT_TRUE(list_.MakeFolder("fresh", "sub/sub/") && list_.MakeFolder("fresh", "SUB"));
  EXPECT_TRUE(OnDisk("fresh/sub/sub") && !OnDisk("fresh/SUB"));
  list_.Remove("fresh");
}

TEST_F(Substitution, DeleteTakesEveryCopyAndNoLinkTarget) {
  Put("hi/both.txt", "hi");
  Put("lo/BOTH.txt", "lo");
  EXPECT_TRUE(list_.Delete(name_, "both.txt"));
  EXPECT_FALSE(OnDisk("hi/both.txt") || OnDisk("lo/BOTH.txt"));
  Put("outside/kept.txt", "kept");
  Put("hi/tree/own.txt", "own");
  fs::create_directory_symlink(root_ / "outside", root_ / "hi/tree/link");
  Put("lo/Tree/other.txt", "other");
  fs::create_directory_symlink(root_ / "outside", root_ / "hi/way");
  EXPECT_FALSE(list_.Delete(name_, "tree"));
  Put("outside/sub/kept.txt", "kept");
  EXPECT_FALSE(list_.DeleteFolder(name_, "way/sub"));
  EXPECT_TRUE(list_.DeleteFolder(name_, "TREE"));
  EXPECT_FALSE(OnDisk("hi/tree") || OnDisk("lo/Tree"));
  EXPECT_TRUE(OnDisk("outside/kept.txt") && OnDisk("outside/sub/kept.txt"));
  for (const char* whole : {"", "/", ".", "..", "x/.."}) {
    EXPECT_FALSE(list_.DeleteFolder(name_, whole)) << whole;
  }
  EXPECT_TRUE(OnDisk("hi") && OnDisk("lo"));
}

TEST_F(Substitution, PathsThatLeaveTheFolderOrDoNotFitExistNowhere) {
  Put("secret.txt", "secret");
  Put("hi/in/x.txt", "x");
  EXPECT_EQ(Read("in/../../secret.txt"), "(none)");
  EXPECT_NE(Write("..\\new.txt"), RES_OK);
  EXPECT_EQ(Read("in/../in/./x.txt"), "x");
  fs::create_directory_symlink(root_ / "hi/in", root_ / "lo/link");
  EXPECT_EQ(Read("link/../in/x.txt"), "x");
  EXPECT_EQ(Read("link/../../secret.txt"), "(none)");
  fs::create_directory_symlink(root_ / "hi", root_ / "lo/link2");
  EXPECT_EQ(Read("link2/../secret.txt"), "(none)");  // on disk ".." leads out behind a link
  // Cut at 259 bytes the first one would name the file that exists.
  const std::string folder(100, 'd');
  const std::string fits = folder + "/" + folder + "/" + std::string(56, 'f');
  Put("hi/" + fits, "fits");
  EXPECT_EQ(Read(fits), "fits");
  const std::string full = fits + "f";
  Put("hi/" + full, "full");
  EXPECT_EQ(Read(full + "tail"), "(none)");
  EXPECT_NE(Write(full + "tail"), RES_OK);
  EXPECT_FALSE(list_.Exists(name_, std::string_view("in\0x", 4)));
}

TEST_F(Substitution, RemovedSourceLivesUntilItsLastFileCloses) {
  Put("hi/a.txt", "content");
  File file;
  ASSERT_EQ(file.Open("vfs:a.txt", FileMode::kRead), RES_OK);
  Subst(name_, nullptr, false);
  EXPECT_FALSE(list_.Exists(name_, "a.txt"));
  char text[8] = {};
  EXPECT_EQ(file.Read(text, 1, 7), 7u);
  EXPECT_STREQ(text, "content");
  file.Close();
  bool gone = false;
  list_.Add("probe", std::make_unique<Probe>(&gone));
  std::vector<FileSub*> held;
  ASSERT_TRUE(list_.Hold("probe", &held));
  list_.Remove("probe");
  ASSERT_FALSE(gone);
  held[0]->ReleaseFile();
  EXPECT_TRUE(gone);
}

TEST_F(Substitution, SearchOnDiskComesSortedWithoutDoubles) {
  Put({"in/b.txt", "in/A.txt", "in/c.ini", "in/D.TXT", "in/d.txt", "in/sub/x.txt"});
  EXPECT_EQ(All(root_ / "in/*.*"), (Names{".", "..", "A.txt", "b.txt", "c.ini", "D.TXT", "sub"}));
  EXPECT_EQ(All(root_ / "in/?.txt;s*"), (Names{"A.txt", "b.txt", "D.TXT", "sub"}));
  EXPECT_EQ(All(root_ / "in/sub\\X.txt"), (Names{"x.txt"}));
  // Plain paths are exact, and wildcards stand in the last part alone.
  for (const char* none : {"IN/*", "i?/*", "none/*"}) {
    EXPECT_EQ(All(root_ / none), (Names{"(none)"})) << none;
  }
  EXPECT_EQ(All("unknown:*.txt"), Names());  // a pattern for the current folder
  File::Find find;
  EXPECT_TRUE(find.Open(nullptr) && !find.Next());
  EXPECT_FALSE(find.Open(PString(), "vfs:in/*"));  // without a name there is no prefix either
}

TEST_F(Substitution, SearchMergesSources) {
  Put({"hi/Both.txt", "hi/z.txt", "lo/BOTH.TXT", "lo/a.txt", "lo/Sub/s.txt"});
  ASSERT_TRUE(Subst(name_, (root_ / "missing/").c_str(), true));
  EXPECT_EQ(All("vfs:*"), (Names{".", "..", "Both.txt", "z.txt", "a.txt", "Sub"}));
  EXPECT_EQ(All("vfs:\\b*"), (Names{"Both.txt"}));
  EXPECT_EQ(All("vfs:sub/*.txt"), (Names{"s.txt"}));
  for (const std::string& folder :
       {std::string("none"), std::string(".."), std::string(300, 'd')}) {
    EXPECT_EQ(All("vfs:" + folder + "/*"), (Names{"(none)"})) << folder;
  }
}

TEST_F(Substitution, SearchOutlivesTheRemovalOfItsName) {
  Put({"hi/a.txt", "hi/b.txt", "lo/c.txt"});
  File::Find find;
  ASSERT_TRUE(find.Open(name_, "*.txt"));
  ASSERT_TRUE(find.Next());
  Subst(name_, nullptr, false);
  ASSERT_TRUE(find.Next());
  EXPECT_STREQ(find.Entry().name, "b.txt");
  EXPECT_FALSE(find.Next());  // the other source is unavailable by now
  try {
    (void)find.Open(name_, "*");
    FAIL() << "an unknown name was searched";
  } catch (const FileEx& e) {
    EXPECT_STREQ(e.Reason(), "Open() Subst not found");
  }
}

}  // namespace Zef
