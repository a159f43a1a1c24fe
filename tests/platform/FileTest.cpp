#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "kernel/platform/FileSystem.h"
#include "tests/support/TestFiles.h"

namespace Zef::Platform {
namespace {

namespace fs = std::filesystem;

std::string Make(const ::Test::TempFolder& folder, const char* name, const char* content) {
  ::Test::WriteWholeFile(folder / name, content);
  return folder / name;
}

OpenError TryOpen(const std::string& path, const OpenOptions& options) {
  OpenError error = OpenError::Failed;
  const FileHandle file = OpenFile(path, options, &error);
  EXPECT_EQ(file == kNoFile, error != OpenError::None);
  EXPECT_EQ(CloseFile(file), file != kNoFile);
  return error;
}

void MakeSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int opened = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(opened, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(opened);
}

// A pipe must neither hang the caller nor pass for a file.
TEST(PlatformFile, OpenAnswersByWhatStandsThere) {
  const ::Test::TempFolder folder;
  Make(folder, "file", "x");
  fs::create_directory(folder / "sub");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  MakeSocket(folder / "socket");
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
      {folder / "pipe", {}, OpenError::NotFound},
      {folder / "pipe", {.write = true}, OpenError::NotFound},
      {folder / "socket", {}, OpenError::NotFound},
      {folder / "loop", {}, OpenError::NotFound},
      {folder / "none", {}, OpenError::NotFound},
      {folder / "file/below", {}, OpenError::NotFound},
      {folder / "no/where", {.write = true, .creation = Creation::CreateNew}, OpenError::NotFound},
      {folder / "file", {.write = true, .creation = Creation::CreateNew}, OpenError::AlreadyExists},
      {std::string(), {}, OpenError::NotFound},
      {folder.Path().string() + std::string("/file\0tail", 10), {}, OpenError::NotFound},
      {folder.Path().string() + std::string(4096, '/') + "file", {}, OpenError::NotFound},
  };
  for (const auto& c : cases) EXPECT_EQ(TryOpen(c.path, c.options), c.expected) << c.path;
}

TEST(PlatformFile, SharingRefusesWhatTheFirstOpenerDenies) {
  const ::Test::TempFolder folder;
  const std::string path = Make(folder, "file", "x");
  const auto any = Sharing::Anything;
  const auto denyWrite = Sharing::DenyWrite;
  const auto denyAll = Sharing::DenyAll;
  const struct {
    OpenOptions first, second;
    bool passes;
  } cases[] = {
      {{.sharing = denyWrite}, {.sharing = denyWrite}, true},
      {{.sharing = denyWrite}, {.write = true, .sharing = denyWrite}, false},
      {{.write = true, .sharing = denyWrite}, {.sharing = denyWrite}, false},
      {{.write = true, .sharing = denyWrite}, {.write = true, .sharing = denyWrite}, false},
      {{.sharing = denyWrite}, {.sharing = denyAll}, false},
      {{.sharing = denyAll}, {.sharing = denyWrite}, false},
      {{.write = true, .sharing = denyAll}, {.sharing = any}, true},
      {{.sharing = any}, {.write = true, .sharing = denyAll}, true},
  };
  for (const auto& c : cases) {
    const FileHandle first = OpenFile(path, c.first);
    ASSERT_NE(first, kNoFile);
    EXPECT_EQ(TryOpen(path, c.second), c.passes ? OpenError::None : OpenError::Refused)
        << &c - cases;
    CloseFile(first);
  }
}

TEST(PlatformFile, RefusedTruncationLosesNothing) {
  const ::Test::TempFolder folder;
  const std::string path = Make(folder, "file", "precious");
  OpenOptions empty{.write = true, .creation = Creation::Truncate, .sharing = Sharing::DenyAll};
  const FileHandle reader = OpenFile(path, {.sharing = Sharing::DenyWrite});
  EXPECT_EQ(TryOpen(path, empty), OpenError::Refused);
  EXPECT_EQ(FileSize(reader), 8);
  EXPECT_NE(fcntl(reader, F_GETFD) & FD_CLOEXEC, 0) << "children would inherit the lock";
  CloseFile(reader);
  EXPECT_EQ(TryOpen(path, empty), OpenError::None);
  EXPECT_EQ(fs::file_size(path), 0U);
}

TEST(PlatformFile, TransfersStopAtTheEndAndRefuseImpossibleOffsets) {
  const ::Test::TempFolder folder;
  const FileHandle file = OpenFile(folder / "f", {.write = true, .creation = Creation::CreateNew});
  EXPECT_EQ(WriteAt(file, "abcdef", 6, 10), 6);
  EXPECT_EQ(FileSize(file), 16);
  char text[8] = {};
  EXPECT_EQ(ReadAt(file, text, sizeof text, 8), 8);
  EXPECT_EQ(std::string(text, 8), std::string("\0\0abcdef", 8));
  EXPECT_EQ(ReadAt(file, text, sizeof text, 12), 4);
  EXPECT_EQ(ReadAt(file, text, sizeof text, 16), 0);
  EXPECT_EQ(ReadAt(file, text, sizeof text, UINT64_MAX - 3), -1);
  EXPECT_FALSE(SetFileSize(file, UINT64_MAX));
  EXPECT_TRUE(SetFileSize(file, 11) && FlushFile(file) && FlushFolder(folder.Path().string()));
  EXPECT_EQ(FileSize(file), 11);
  EXPECT_TRUE(CloseFile(file));
  EXPECT_EQ(ReadAt(file, text, 1, 0), -1);

  const FileHandle full = OpenFile("/dev/full", {.write = true});
  EXPECT_EQ(WriteAt(full, "x", 1, 0), 0) << "a full disk moves less and is no error";
  CloseFile(full);
}

TEST(PlatformFile, RenamesNeverLoseAFile) {
  const ::Test::TempFolder folder;
  const std::string a = Make(folder, "a", "1");
  const std::string b = Make(folder, "b", "2");
  EXPECT_FALSE(Rename(a, b));
  fs::create_hard_link(a, folder / "A");
  EXPECT_FALSE(Rename(a, folder / "A")) << "two names of one file are two entries here";
  EXPECT_TRUE(Rename(b, folder / "B"));
  EXPECT_FALSE(Exists(b));
  fs::create_directory(folder / "sub");
  EXPECT_FALSE(Replace(folder / "sub", a));
  EXPECT_FALSE(Replace(a, folder / "sub"));
  EXPECT_TRUE(Replace(folder / "B", a));
  EXPECT_EQ(fs::file_size(a), 1U);
  EXPECT_FALSE(Exists(folder / "B"));
  EXPECT_FALSE(DeleteFile(folder / "sub"));
  EXPECT_TRUE(Rename(folder / "sub", folder / "moved") && IsFolder(folder / "moved"));
}

TEST(PlatformFile, InfoTellsLinksFromTheirTargets) {
  const ::Test::TempFolder folder;
  const std::string path = Make(folder, "file", "four");
  fs::create_symlink("file", folder / "link");
  EXPECT_TRUE(SetReadOnly(path, true));
  FileInfo file;
  FileInfo link;
  EXPECT_TRUE(GetInfo(folder / "link", &file) && GetInfoNoFollow(folder / "link", &link));
  EXPECT_TRUE(file.regular && file.readOnly && !file.link && !file.folder);
  EXPECT_TRUE(link.link && !link.regular);
  EXPECT_EQ(file.size, 4U);
  EXPECT_NE(file.serial, link.serial);
  EXPECT_GT(file.created, 1'500'000'000);
  EXPECT_TRUE(SetReadOnly(path, false) && GetInfo(path, &file) && !file.readOnly);
  EXPECT_TRUE(DeleteFile(folder / "link") && Exists(path));
  EXPECT_FALSE(GetInfo(folder / "link", &file));
}

}  // namespace
}  // namespace Zef::Platform
