#include "kernel/standard/Subst.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSubPath.h"
#include "tests/support/TestFiles.h"

namespace Zef {

namespace {

namespace fs = std::filesystem;

/// "vfs" sees the folder "lo" and, in front of it, the folder "hi".
class Substitution : public testing::Test {
 protected:
  Substitution() {
    fs::create_directories(root_ / "hi");
    fs::create_directories(root_ / "lo");
    EXPECT_TRUE(Subst(name_, (root_ / "lo/").c_str(), true));
    EXPECT_TRUE(Subst(name_, (root_ / "hi/").c_str(), true));
  }
  ~Substitution() override { Subst(name_, nullptr, false); }

  void Put(const char* name, std::string_view bytes) {
    ::Test::WriteWholeFile(root_ / name, bytes);
  }
  bool OnDisk(const char* name) { return fs::exists(fs::symlink_status(root_ / name)); }
  std::string Read(const char* path) {
    File file;
    if (file.Open(name_, path, FileMode::kReadRaw) != RES_OK) return "(none)";
    std::string bytes(static_cast<std::size_t>(file.Size()), 0);
    file.Read(bytes.data(), 1, bytes.size());
    return bytes;
  }
  FileStatus Write(const char* path, std::string_view bytes) {
    File file;
    const FileStatus status = file.Open(name_, path, FileMode::kCreateWrite);
    if (status == RES_OK) file.Write(bytes.data(), 1, bytes.size());
    return status;
  }

  ::Test::TempFolder root_;
  PString name_{"vfs"};
  SubstList& list_ = SubstList::Get();
};

struct Probe : FileSub {
  explicit Probe(bool* isGone) : gone(isGone) {}
  ~Probe() override { *gone = true; }
  bool IsAvailable() const override { return !IsRemoved(); }
  bool* gone;
};

}  // namespace

TEST_F(Substitution, PrefixIsARegisteredNameBeforeAnySeparator) {
  const struct {
    const char* text;
    const char* path;  // null: no prefix
  } cases[] = {{"vfs:a/b", "a/b"}, {"vfs:", ""},         {"vfs:a:b", "a:b"}, {"VFS:a", nullptr},
               {"c:/a", nullptr},  {"/vfs:a", nullptr},  {":a", nullptr},    {"vfs", nullptr},
               {"", nullptr},      {"x/vfs:a", nullptr}, {"vf:a", nullptr}};
  for (const auto& c : cases) {
    PString name;
    std::string_view path;
    ASSERT_EQ(FindSubst(c.text, &name, &path), c.path != nullptr) << c.text;
    EXPECT_EQ(path, c.path ? c.path : "") << c.text;
    EXPECT_EQ(name == name_, c.path != nullptr) << c.text;
    EXPECT_EQ(IsRootedPath(c.text), c.path || *c.text == '/') << c.text;
  }
  EXPECT_TRUE(IsRootedPath("\\a"));
  ASSERT_TRUE(Subst("c", (root_ / "lo/").c_str(), false));
  EXPECT_TRUE(FindSubst("c:/a", nullptr, nullptr));
  Subst("c", nullptr, false);
  EXPECT_FALSE(IsRootedPath("c:/a"));
}

TEST_F(Substitution, RegistrationRefusesWhatIsNoFolderAndRemovalWhatIsNotThere) {
  EXPECT_FALSE(Subst(PString(), "x/", true));
  EXPECT_FALSE(Subst("other", "archive.bin", true));
  EXPECT_FALSE(Subst("other", "", true));
  EXPECT_FALSE(list_.Contains("other"));
  EXPECT_TRUE(Subst("other", nullptr, true));
  try {
    list_.Remove("other");
    FAIL() << "an unknown name was removed";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.Reason(), "Subst(other) Closing non-existant subst?");
  }
}

TEST_F(Substitution, ManyNamesKeepApart) {
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(Subst(PString(("many" + std::to_string(i)).c_str()), "/nowhere/", i % 2 == 0));
  }
  for (int i = 0; i < 40; i += 2) Subst(PString(("many" + std::to_string(i)).c_str()), nullptr, 0);
  for (int i = 0; i < 40; ++i) {
    const PString name(("many" + std::to_string(i)).c_str());
    EXPECT_EQ(list_.Contains(name), i % 2 == 1) << i;
    Subst(name, nullptr, false);
  }
}

TEST_F(Substitution, LatestSourceWinsAndOthersFillIn) {
  Put("hi/both.txt", "hi");
  Put("lo/both.txt", "lo");
  Put("lo/Sub/Only.txt", "only");
  EXPECT_EQ(Read("both.txt"), "hi");
  EXPECT_EQ(Read("/both.txt"), "hi");
  EXPECT_EQ(Read("sub\\ONLY.TXT"), "only");
  EXPECT_EQ(Read("none.txt"), "(none)");
  EXPECT_TRUE(list_.Exists(name_, "Sub"));
  EXPECT_FALSE(list_.Exists(name_, "Sub/None"));
  EXPECT_FALSE(list_.Exists("unknown", "both.txt"));

  FilePath full("SUB/only.txt");
  ASSERT_TRUE(list_.Qualify(name_, full));
  EXPECT_EQ(full.View(), root_ / "lo/Sub/Only.txt");
  std::uint32_t time = 0;
  ASSERT_TRUE(list_.GetTime(name_, "both.txt", &time));
  EXPECT_GT(time, 1'500'000'000u);
}

TEST_F(Substitution, ExactSpellingGoesFirst) {
  Put("hi/name.txt", "lower");
  Put("hi/NAME.txt", "upper");
  EXPECT_EQ(Read("name.txt"), "lower");
  EXPECT_EQ(Read("NAME.txt"), "upper");
  EXPECT_EQ(Read("Name.txt"), "upper");  // first in byte order
}

TEST_F(Substitution, WritingFallsThroughReadOnlySourcesAndMakesFolders) {
  fs::create_directories(root_ / "ro");
  ASSERT_TRUE(Subst(name_, (root_ / "ro/").c_str(), false));
  fs::create_directories(root_ / "hi/Deep");
  ASSERT_EQ(Write("deep/er/new.txt", "new"), RES_OK);
  EXPECT_FALSE(OnDisk("ro/deep"));
  EXPECT_FALSE(OnDisk("hi/deep"));  // the folder of another case is reused
  EXPECT_EQ(::Test::ReadWholeFile(root_ / "hi/Deep/er/new.txt"), "new");

  Put("ro/fixed.txt", "fixed");
  bool readOnly = false;
  ASSERT_TRUE(list_.GetReadOnly(name_, "fixed.txt", &readOnly));
  EXPECT_TRUE(readOnly);
  ASSERT_TRUE(list_.GetReadOnly(name_, "deep/er/new.txt", &readOnly));
  EXPECT_FALSE(readOnly);
  EXPECT_FALSE(list_.Delete(name_, "fixed.txt"));
  EXPECT_FALSE(list_.SetReadOnly(name_, "fixed.txt", true));
  File file;
  EXPECT_NE(file.Open(name_, "fixed.txt", FileMode::kRead | FileMode::kWrite), RES_OK);
  EXPECT_EQ(::Test::ReadWholeFile(root_ / "ro/fixed.txt"), "fixed");
}

TEST_F(Substitution, FolderComesIntoBeingByWriting) {
  ASSERT_TRUE(Subst("fresh", (root_ / "fresh/").c_str(), true));
  EXPECT_FALSE(list_.MakeFolder("fresh", "sub"));  // only asks what is available
  File file;
  ASSERT_EQ(file.Open("fresh:a.txt", FileMode::kCreateWrite), RES_OK);
  file.Close();
  EXPECT_TRUE(list_.MakeFolder("fresh", "sub/sub/"));
  EXPECT_TRUE(list_.MakeFolder("fresh", "SUB"));
  EXPECT_TRUE(fs::is_directory(root_ / "fresh/sub/sub"));
  EXPECT_FALSE(OnDisk("fresh/SUB"));
  Subst("fresh", nullptr, false);
}

TEST_F(Substitution, DeleteTakesEveryCopyAndNoLinkTarget) {
  Put("hi/both.txt", "hi");
  Put("lo/BOTH.txt", "lo");
  EXPECT_TRUE(list_.Delete(name_, "both.txt"));
  EXPECT_FALSE(OnDisk("hi/both.txt") || OnDisk("lo/BOTH.txt"));
  EXPECT_FALSE(list_.Delete(name_, "both.txt"));

  Put("outside/kept.txt", "kept");
  Put("hi/tree/own.txt", "own");
  fs::create_directory_symlink(root_ / "outside", root_ / "hi/tree/link");
  Put("lo/Tree/other.txt", "other");
  fs::create_directory_symlink(root_ / "outside", root_ / "hi/way");
  EXPECT_FALSE(list_.Delete(name_, "tree"));
  EXPECT_FALSE(list_.DeleteFolder(name_, "way/none"));
  fs::create_directories(root_ / "outside/sub");
  EXPECT_FALSE(list_.DeleteFolder(name_, "way/sub"));
  EXPECT_TRUE(list_.DeleteFolder(name_, "TREE"));
  EXPECT_FALSE(OnDisk("hi/tree") || OnDisk("lo/Tree"));
  EXPECT_TRUE(OnDisk("outside/kept.txt") && OnDisk("outside/sub"));
  for (const char* whole : {"", "/", ".", "..", "x/.."}) {
    EXPECT_FALSE(list_.DeleteFolder(name_, whole)) << whole;
  }
  EXPECT_TRUE(OnDisk("hi") && OnDisk("lo"));
}

TEST_F(Substitution, Rename) {
  Put("hi/a.txt", "a");
  Put("hi/B.txt", "b");
  EXPECT_FALSE(list_.Rename(name_, "a.txt", "b.TXT"));  // taken in another case
  EXPECT_TRUE(list_.Rename(name_, "A.txt", "A.TXT"));   // a change of case alone
  EXPECT_TRUE(OnDisk("hi/A.TXT") && !OnDisk("hi/a.txt"));
  EXPECT_TRUE(list_.Rename(name_, "a.txt", "c.txt"));
  EXPECT_EQ(Read("c.txt"), "a");
  EXPECT_FALSE(list_.Rename(name_, "", "d"));
  EXPECT_FALSE(list_.Rename(name_, "c.txt", "../c.txt"));
}

TEST_F(Substitution, PathsThatLeaveTheFolderOrDoNotFitExistNowhere) {
  Put("secret.txt", "secret");
  Put("hi/in/x.txt", "x");
  EXPECT_EQ(Read("../secret.txt"), "(none)");
  EXPECT_EQ(Read("in/../../secret.txt"), "(none)");
  EXPECT_NE(Write("..\\new.txt", "new"), RES_OK);
  EXPECT_EQ(Read("in/../in/x.txt"), "x");

  // Cut at 259 bytes the first one would name the file that exists.
  const std::string folder(100, 'd');
  const std::string fits = folder + "/" + folder + "/" + std::string(56, 'f');
  Put(("hi/" + fits).c_str(), "fits");
  EXPECT_EQ(Read(fits.c_str()), "fits");
  const std::string full = fits + "f";
  Put(("hi/" + full).c_str(), "full");
  EXPECT_EQ(Read(full.c_str()), "(none)");
  EXPECT_EQ(Read((full + "tail").c_str()), "(none)");
  EXPECT_NE(Write((full + "tail").c_str(), "x"), RES_OK);
  EXPECT_FALSE(list_.Exists(name_, std::string_view("in\0x", 4)));
}

TEST_F(Substitution, RemovedSourceLivesUntilItsLastFileCloses) {
  Put("hi/a.txt", "content");
  File file;
  ASSERT_EQ(file.Open("vfs:a.txt", FileMode::kRead), RES_OK);
  Subst(name_, nullptr, false);
  EXPECT_FALSE(list_.Exists(name_, "a.txt"));
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1, 1), 1u);
  EXPECT_EQ(byte, 'c');
  file.Close();

  bool gone = false;
  list_.Add("probe", std::make_unique<Probe>(&gone));
  std::vector<FileSub*> held;
  ASSERT_TRUE(list_.Hold("probe", &held));
  list_.Remove("probe");
  ASSERT_FALSE(gone);
  EXPECT_FALSE(held[0]->IsAvailable());
  held[0]->ReleaseFile();
  EXPECT_TRUE(gone);
  EXPECT_FALSE(list_.Hold("probe", &held));
}

TEST_F(Substitution, BaseSourceHasNothingAndClosesNothing) {
  FileSub base;
  File file;
  FilePath result;
  EXPECT_FALSE(base.Resolve("a", result));
  EXPECT_STREQ(result.Text(), "a");
  try {
    base.CloseFile(file);
    FAIL() << "the base closed a file";
  } catch (const FileEx& e) {
    EXPECT_STREQ(e.Reason(), "CloseFile() Logic Error");
  }
  FileSubPath folder((root_ / "hi/").c_str(), false);
  EXPECT_TRUE(folder.NameEquals((root_ / "hi/").c_str()));
  EXPECT_FALSE(folder.NameEquals((root_ / "hi").c_str()));
}

}  // namespace Zef
