#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "kernel/platform/FileSystem.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

namespace Zef::Platform {
namespace {

namespace fs = std::filesystem;

OpenError TryOpen(const std::string& path, const OpenOptions& options) {
  OpenError error = OpenError::Failed;
  OwnedFile file = OpenFile(path, options, &error);
  EXPECT_EQ(static_cast<bool>(file), error == OpenError::None);
  EXPECT_TRUE(file.Close());
  return error;
}

// A pipe must neither hang the caller nor pass for a file.
TEST(PlatformFile, OpenAnswersByWhatStandsThere) {
  const ::Test::TempFolder folder;
  folder.Put("file", "x");
  fs::create_directory(folder / "sub");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("loop", folder / "loop");
  const struct {
    std::string path;
    OpenOptions options;
    OpenError expected;
  } cases[] = {
      {folder / "file", {}, OpenError::None},
      {folder.Path().string() + "\\sub\\..\\file", {.write = true}, OpenError::None},
      {"/dev/null", {.write = true}, OpenError::None},
      {folder / "sub", {}, OpenError::NotFound},
      {folder / "sub", {.write = true, .creation = Creation::Truncate}, OpenError::NotFound},
      {folder / "pipe", {.write = true}, OpenError::NotFound},
      {folder / "loop", {}, OpenError::NotFound},
      {folder / "file/below", {}, OpenError::NotFound},
      {folder / "no/where", {.write = true, .creation = Creation::CreateNew}, OpenError::NotFound},
      {folder / "file", {.write = true, .creation = Creation::CreateNew}, OpenError::AlreadyExists},
      {std::string(), {}, OpenError::NotFound},
      {folder.Path().string() + std::string("/file\0tail", 10), {}, OpenError::NotFound},
      {folder.Path().string() + std::string(4096, '/') + "file", {}, OpenError::NotFound}};
  for (const auto& c : cases) EXPECT_EQ(TryOpen(c.path, c.options), c.expected) << c.path;
}

TEST(PlatformFile, SharingRefusesWhatTheFirstOpenerDenies) {
  const ::Test::TempFolder folder;
  const std::string path = folder.Put("file", "precious");
  using enum Sharing;
  const struct {
    OpenOptions first, second;
    bool passes;
  } cases[] = {
      {{.sharing = DenyWrite}, {.sharing = DenyWrite}, true},
      {{.sharing = DenyWrite}, {.write = true, .sharing = DenyWrite}, false},
      {{.write = true, .sharing = DenyWrite}, {.sharing = DenyWrite}, false},
      {{.write = true, .sharing = DenyWrite}, {.write = true, .sharing = DenyWrite}, false},
      {{.sharing = DenyWrite}, {.sharing = DenyAll}, false},
      {{.sharing = DenyWrite}, {.creation = Creation::Truncate, .sharing = DenyWrite}, false},
      {{.sharing = DenyAll}, {.sharing = DenyWrite}, false},
      {{.write = true, .sharing = DenyAll}, {.sharing = Anything}, true},
      {{.sharing = Anything}, {.write = true, .sharing = DenyAll}, true}};
  for (const auto& c : cases) {
    const OwnedFile first = OpenFile(path, c.first);
    ASSERT_TRUE(first);
    EXPECT_EQ(TryOpen(path, c.second), c.passes ? OpenError::None : OpenError::Refused)
        << &c - cases;
  }
  const OpenOptions empty{.write = true, .creation = Creation::Truncate, .sharing = DenyAll};
  OwnedFile reader = OpenFile(path, {.sharing = DenyWrite});
  EXPECT_EQ(TryOpen(path, empty), OpenError::Refused);
  EXPECT_EQ(FileSize(reader.Get()), 8) << "a refused truncation must lose nothing";
  EXPECT_NE(fcntl(reader.Get(), F_GETFD) & FD_CLOEXEC, 0) << "children would inherit the lock";
  reader.Close();
  EXPECT_EQ(TryOpen(path, empty), OpenError::None);
  EXPECT_EQ(fs::file_size(path), 0U);
}

// What is written under a lock on a file that was replaced meanwhile would be lost.
TEST(PlatformFile, ExclusiveOpenerHoldsTheFileThatThePathNames) {
  const ::Test::TempFolder folder;
  const std::string path = folder.Put("file", "");
  std::atomic<int> lost{0};
  const auto replace = [&](const char* spare) {
    for (int i = 0; i < 3000; ++i) {
      const OwnedFile file = OpenFile(path, {.write = true, .sharing = Sharing::DenyAll});
      struct stat held {};
      FileInfo named;
      if (fstat(file.Get(), &held) != 0) continue;
      lost += !GetInfo(path, &named) || held.st_ino != named.serial;
      EXPECT_TRUE(Replace(folder.Put(spare, ""), path));
    }
  };
  std::thread other(replace, "one");
  replace("two");
  other.join();
  EXPECT_EQ(lost, 0);
}

TEST(PlatformFile, TransfersStopAtTheEndAndRefuseImpossibleOffsets) {
  const ::Test::TempFolder folder;
  OwnedFile opened = OpenFile(folder / "f", {.write = true, .creation = Creation::CreateNew});
  const FileHandle file = opened.Get();
  EXPECT_EQ(WriteAt(file, "abcdef", 6, 10), 6);
  EXPECT_EQ(FileSize(file), 16);
  char text[8] = {};
  EXPECT_EQ(ReadAt(file, text, sizeof text, 8), 8);
  EXPECT_EQ(std::string(text, 8), std::string("\0\0abcdef", 8));
  EXPECT_TRUE(ReadAt(file, text, 8, 12) == 4 && ReadAt(file, text, 8, 16) == 0);
  EXPECT_EQ(ReadAt(file, text, sizeof text, UINT64_MAX - 3), -1);
  EXPECT_FALSE(SetFileSize(file, UINT64_MAX));
  EXPECT_TRUE(SetFileSize(file, 11) && FlushFile(file) && FlushFolder(folder.Path().string()));
  EXPECT_EQ(FileSize(file), 11);
  EXPECT_TRUE(opened.Close());
  EXPECT_EQ(ReadAt(file, text, 1, 0), -1);

  const OwnedFile full = OpenFile("/dev/full", {.write = true});
  EXPECT_EQ(WriteAt(full.Get(), "x", 1, 0), 0) << "a full disk moves less and is no error";
}

TEST(PlatformFile, CopiedPermissionsKeepTheOwnerAndGiveNothingToAnotherGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "needs to be somebody else";
  constexpr uid_t kOwner = 1234;
  constexpr uid_t kOther = 4321;
  const struct {
    uid_t by;
    mode_t rights, given;
    uid_t owner;
  } cases[] = {{0, 0640, 0640, kOwner},
               {kOther, 0640, 0600, kOther},
               {kOther, 0664, 0644, kOther},
               {kOther, 0604, 0600, kOther}};
  for (const auto& c : cases) {
    const ::Test::TempFolder folder;
    const OwnedFile from = OpenFile(folder.Put("from", ""), {});
    const OwnedFile to = OpenFile(folder.Put("to", ""), {});
    ASSERT_EQ(fchown(from.Get(), kOwner, kOwner) | fchmod(from.Get(), c.rights), 0);
    ASSERT_EQ(fchown(to.Get(), c.by, c.by), 0);
    const ::Test::ChildProcess copier([&] {
      const bool is = setgroups(0, nullptr) == 0 && setgid(c.by) == 0 && setuid(c.by) == 0;
      return is && CopyPermissions(from.Get(), to.Get()) ? 0 : 1;
    });
    EXPECT_EQ(copier.AwaitEnd(), 0);
    struct stat facts {};
    ASSERT_EQ(fstat(to.Get(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, c.given) << std::oct << c.rights;
    EXPECT_TRUE(facts.st_uid == c.owner && facts.st_gid == c.owner) << facts.st_uid;
  }
}

TEST(PlatformFile, RenamesNeverLoseAFile) {
  const ::Test::TempFolder folder;
  const std::string a = folder.Put("a", "1");
  const std::string b = folder.Put("b", "2");
  EXPECT_FALSE(Rename(a, b));
  fs::create_hard_link(a, folder / "A");
  EXPECT_FALSE(Rename(a, folder / "A")) << "two names of one file are two entries here";
  EXPECT_TRUE(Rename(b, folder / "B"));
  EXPECT_FALSE(Exists(b));
  fs::create_directory(folder / "sub");
  EXPECT_FALSE(Replace(folder / "sub", a) || Replace(a, folder / "sub"));
  EXPECT_TRUE(Replace(folder / "B", a) && !Exists(folder / "B"));
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("pipe", folder / "way");
  EXPECT_FALSE(Replace(a, folder / "pipe") || Replace(a, folder / "way"));
  fs::create_symlink("a", folder / "link");
  EXPECT_TRUE(Replace(folder.Put("new", "3"), folder / "link") && Exists(a));
  EXPECT_FALSE(DeleteFile(folder / "sub"));
  EXPECT_TRUE(Rename(folder / "sub", folder / "moved") && IsFolder(folder / "moved"));
}

}  // namespace
}  // namespace Zef::Platform
