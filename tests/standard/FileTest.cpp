#include "kernel/standard/File.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kernel/standard/Exception.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace {

using namespace Test;
using namespace Zef;
namespace fs = std::filesystem;

template <class Action>
std::string ReasonOf(Action action) {
  try {
    action();
  } catch (const FileEx& failure) {
    return failure.Reason();
  }
  return "(nothing raised)";
}

TEST(FileOpen, AnswersByModeAndContent) {
  const struct {
    const char* name;
    std::uint32_t mode, status, modeAfter;
  } cases[] = {{"missing", 0x10, RES_FILENOTFOUND, 0},
               {"folder", 0x10, RES_FILENOTFOUND, 0},
               {"plain", 0x11, RES_OK, 0x21},
               {"plain", 0x30, RES_NOTCOMPRESSED, 0},
               {"plain", 0x301, RES_FILEALREADYEXISTS, 0},
               {"short", 0x30, RES_OK, 0x20},
               {"cfil", 0x10, RES_OK, 0x30},
               {"cfil", 0x20, RES_OK, 0x20},
               {"cfil", 0x11, RES_CANTWRITECOMPRESSED, 0},
               {"new1", 0x111, RES_OK, 0x121},
               {"plain", 0x1010, RES_MODENOTSUPPORTED, 0},
               {"plain", 0x13, RES_MODENOTSUPPORTED, 0},
               {"plain", 0x40, RES_MODENOTSUPPORTED, 0},
               {"device", 0x102, RES_FILENOTFOUND, 0}};
  const TempFolder folder;
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_symlink("/dev/full", folder / "device");
  WriteWholeFile(folder / "plain", "CFIX is not the magic");
  WriteWholeFile(folder / "short", "CFIL short");
  WriteWholeFile(folder / "cfil", std::string("CFIL\x01\x01\0\0\0\0\0\0", 12));
  for (const auto& c : cases) {
    File file;
    EXPECT_EQ(file.Open((folder / c.name).c_str(), c.mode), c.status) << c.name << " " << c.mode;
    EXPECT_EQ(file.Mode(), c.modeAfter) << c.name << " " << c.mode;
    EXPECT_EQ(File::OpenCount(), c.status == RES_OK ? 1U : 0U);
    EXPECT_EQ(file.Open("other", 0x10), file.IsOpen() ? RES_ALREADYOPEN : RES_FILENOTFOUND);
    if (!file.IsOpen()) continue;
    EXPECT_EQ(File().Open((folder / c.name).c_str(), 0x20),
              c.mode % 16 == 0 ? RES_OK : RES_FILENOTFOUND)
        << "a writer keeps all others out, a reader only writers";
    EXPECT_NE(File().Open((folder / c.name).c_str(), 0x101), RES_OK);
  }
  EXPECT_EQ(ReadWholeFile(folder / "plain"), "CFIX is not the magic") << "changed by opening";
  File file;
  EXPECT_EQ(file.Open(PString("no-such-name"), "plain", 0x10), RES_SUBSTNOTFOUND);
}

TEST(FileStream, EdgesOfAppendReadAndSeek) {
  const TempFolder folder;
  WriteWholeFile(folder / "f", "01234");
  File file;
  char bytes[16];
  EXPECT_EQ(file.Seek(0, 0), -1);
  EXPECT_EQ(ReasonOf([&] { file.Read(bytes, 1, 1); }), "Read() File is not open");
  EXPECT_EQ(ReasonOf([&] { file.Write(bytes, 1, 1); }), "Write() File not open");
  ASSERT_EQ(file.Open((folder / "f").c_str(), 0x201), RES_OK);
  EXPECT_EQ(ReasonOf([&] { file.Read(bytes, 1, 1); }), "Read() File not open for reading");
  file.Write("56789", 1, 5);
  EXPECT_EQ(file.Size(), 10) << "bytes in the buffer count";
  file.Close();
  ASSERT_EQ(file.Open((folder / "f").c_str(), 0x10), RES_OK);
  EXPECT_EQ(ReasonOf([&] { file.Write(bytes, 1, 1); }), "Write() File not open for writing");
  EXPECT_EQ(file.Read(bytes, 4, 4), 2U) << "only whole items count";
  EXPECT_EQ(file.Read(bytes, 1, 1), 0U);
  EXPECT_EQ(file.Seek(3, 2), 0);
  EXPECT_EQ(file.Read(bytes, 1, 1), 1U);
  EXPECT_EQ(bytes[0], '7');
  EXPECT_EQ(file.Seek(0, 3), -1);
  EXPECT_EQ(file.Seek(-1, 0), 0);
  const std::string reason = ReasonOf([&] { file.Read(bytes, 1, 1); });
  EXPECT_TRUE(reason.starts_with("Seek failure handle=") && reason.ends_with(" to -1")) << reason;
}

TEST(FileStream, FullDeviceRaisesAndStillCloses) {
  const std::string much(20000, 'x');
  File file;
  ASSERT_EQ(file.Open("/dev/full", 0x01), RES_OK);
  EXPECT_EQ(ReasonOf([&] { file.Write(much.data(), 1, much.size()); }),
            "WriteBuffer() Write failed");
  EXPECT_NO_THROW(file.Close()) << "what failed before is not written again";
  ASSERT_EQ(file.Open("/dev/full", 0x01), RES_OK);
  file.Write("small", 1, 5);
  EXPECT_EQ(ReasonOf([&] { file.Close(); }), "WriteBuffer(void) Writing failed");
}

TEST(NewFiles, HaveThePermissionsOfWhatTheyReplaceBeforeTheFirstByte) {
  constexpr auto kPrivate = fs::perms::owner_read | fs::perms::owner_write;
  const TempFolder folder;
  const std::string place = folder.Put("place", "old");
  fs::permissions(place, kPrivate);
  NewFile file(place);
  ASSERT_TRUE(file.IsPending());
  EXPECT_EQ(fs::status(file.Name()).permissions(), kPrivate);
  EXPECT_TRUE(file.Append("new", 3) && file.Keep());
  EXPECT_EQ(fs::status(place).permissions(), kPrivate);
  const Platform::OwnedFile model = Platform::OpenFile(place, {});
  EXPECT_EQ(fs::status(NewFile(folder / "other", model.Get()).Name()).permissions(), kPrivate);
}

TEST(FileText, LinesEndInEveryWay) {
  const TempFolder folder;
  const struct {
    std::string content;
    std::uint32_t limit, encoding;
    std::vector<std::string> lines;
  } cases[] = {{"one\r\ntwo\rthree\n\nlast", 100, 1, {"one", "two", "three", "", "last"}},
               {"abcdef\r\nx\r", 4, 1, {"abc", "def", "x"}},
               {std::string(16383, 'm') + "\r\nnext", 20000, 1, {std::string(16383, 'm'), "next"}},
               {std::string("a\0\xAC\x20\x00\x04\r\0\n\0z\0!", 13), 100, 2, {"a\x80?", "z"}},
               {std::string("\x3D\xD8\0\xDE\x3D\xD8z\0", 8), 100, 2, {"??z"}},
               {"never", 1, 1, {}}};
  for (const auto& c : cases) {
    WriteWholeFile(folder / "lines", c.content);
    File file;
    ASSERT_EQ(file.Open((folder / "lines").c_str(), 0x10), RES_OK);
    std::vector<std::string> lines;
    std::vector<char> line(c.limit);
    while (file.ReadLine(line.data(), c.limit, c.encoding)) lines.emplace_back(line.data());
    EXPECT_EQ(lines, c.lines) << c.content.substr(0, 30);
  }
}

TEST(FileText, EncodingIsFoundAndWritten) {
  const TempFolder folder;
  WriteWholeFile(folder / "narrow", "\xFF");
  File file;
  ASSERT_EQ(file.Open((folder / "narrow").c_str(), 0x11, 2), RES_OK);
  file.DetectEncoding();
  EXPECT_EQ(file.Encoding(), 1U);
  EXPECT_EQ(file.Tell(), 0);
  file.WriteText("\xFF\xFE", 1);
  file.WriteText("\x80z", 2);
  file.Seek(0, 0);
  file.DetectEncoding();
  EXPECT_EQ(file.Encoding(), 2U);
  EXPECT_EQ(file.Tell(), 2);
  file.Close();
  EXPECT_EQ(ReadWholeFile(folder / "narrow"), std::string("\xFF\xFE\xAC\x20z\0", 6));
}

TEST(FileOps, ActOnBothKindsOfName) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "below");
  ASSERT_TRUE(Subst("fileops", (folder / "below/").c_str(), true));
  const std::string roots[] = {folder / "direct/", "fileops:"};
  for (const std::string& root : roots) {
    const std::string file = root + "sub/file", moved = root + "sub/moved", tree = root + "sub";
    EXPECT_EQ(File::IsReadOnly(file.c_str()), RES_FILENOTFOUND);
    ASSERT_TRUE(File::MakeFolder((root + "sub/deep").c_str()));
    ASSERT_EQ(File().Open(file.c_str(), FileMode::kCreateWrite), RES_OK);
    std::uint32_t time = 0;
    EXPECT_TRUE(File::GetTime(file.c_str(), &time) && time > 1000000000);
    EXPECT_TRUE(File::SetReadOnly(file.c_str(), true));
    EXPECT_EQ(File::IsReadOnly(file.c_str()), RES_FILEREADONLY);
    EXPECT_FALSE(File::Rename(file.c_str(), (roots[root == roots[0]] + "moved").c_str()));
    EXPECT_TRUE(File::Rename(file.c_str(), moved.c_str()));
    EXPECT_EQ(File::Exists(moved.c_str()), RES_OK);
    EXPECT_TRUE(File::Delete(moved.c_str()));
    EXPECT_TRUE(File::DeleteFolder(tree.c_str()));
    EXPECT_TRUE(File::DeleteFolder(tree.c_str())) << "nothing is left of what never was";
    PString name("stale");
    EXPECT_EQ(File::Exists(tree.c_str(), &name), RES_FILENOTFOUND);
    EXPECT_EQ(name.View(), root == "fileops:" ? "fileops" : "");
  }
  for (const PString& name : {PString("fileops"), PString("no-such-name")}) {
    const bool known = name == PString("fileops");
    std::uint32_t time = 0;
    EXPECT_EQ(File::MakeFolder(name, "sub"), known);
    EXPECT_EQ(File().Open(name, "sub/file", 257), known ? RES_OK : RES_SUBSTNOTFOUND);
    EXPECT_EQ(File::GetTime(name, "sub/file", &time), known);
    EXPECT_EQ(File::SetReadOnly(name, "sub/file", true), known);
    EXPECT_EQ(File::IsReadOnly(name, "sub/file"), known ? RES_FILEREADONLY : RES_FILENOTFOUND);
    EXPECT_EQ(File::Delete(name, "sub/file"), known);
  }
  Subst("fileops", nullptr, false);
}

}  // namespace
