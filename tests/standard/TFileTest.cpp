// A TFile gives its File back where the reader stopped, or closes it with what was written.

#include "kernel/standard/TFile.h"

#include <gtest/gtest.h>

#include "kernel/standard/File.h"
#include "kernel/standard/SharedText.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;
using Zef::FileMode::kRead;

TEST(TFile, BorrowedFileStandsWhereTheReaderStopped) {
  const TempFolder folder;
  WriteWholeFile(folder / "f", "0123456789");
  Zef::File file;
  ASSERT_EQ(file.Open((folder / "f").c_str(), kRead), Zef::RES_OK);
  {
    Zef::TFile stream(&file, /*owned=*/false);
    std::uint16_t word = 0;
    stream.Read16(word);
    EXPECT_EQ(stream.Tell(), 2u);
    EXPECT_EQ(stream.Size(), 10u);
    EXPECT_FALSE(stream.Eof()) << "bytes read ahead are still to come";
  }
  ASSERT_TRUE(file.IsOpen());
  char next = 0;
  EXPECT_EQ(file.Read(&next, 1, 1), 1u);
  EXPECT_EQ(next, '2');
}

TEST(TFile, OwnedFileIsWrittenInPlaceAndClosed) {
  const TempFolder folder;
  WriteWholeFile(folder / "f", "0123456789");
  auto* file = new Zef::File;
  ASSERT_EQ(file->Open((folder / "f").c_str(), kRead | Zef::FileMode::kWrite), Zef::RES_OK);
  Zef::TFile stream(file, /*owned=*/true);
  std::uint8_t byte = 0;
  stream.Read8(byte);
  stream.WriteRaw("ab", 2);  // behind the byte that was taken, not behind those read ahead
  stream.Read8(byte);
  EXPECT_EQ(byte, '3');
  stream.Seek(1, 2);
  stream.Read8(byte);
  EXPECT_EQ(byte, '9');
  EXPECT_TRUE(stream.Eof());
  stream.Seek(0, 0);
  char all[11] = {};
  stream.ReadRaw(all, 10);
  EXPECT_STREQ(all, "0ab3456789");
  stream.Clear();
  EXPECT_EQ(stream.Size(), 0u);
  stream.WriteRaw("new", 3);
  stream.Close();
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_EQ(ReadWholeFile(folder / "f"), "new") << "cleared, then written on";
}

TEST(TFile, ClearReopensThroughTheSubstitution) {
  const TempFolder folder;
  WriteWholeFile(folder / "low/f", "old");
  ASSERT_TRUE(Zef::Subst("clear", (folder / "low/").c_str(), true));
  Zef::File file;
  ASSERT_EQ(file.Open("clear:f", kRead), Zef::RES_OK);
  ASSERT_TRUE(Zef::Subst("clear", (folder / "high/").c_str(), true));
  Zef::TFile stream(&file, /*owned=*/false);
  stream.Clear();
  EXPECT_TRUE(file.IsOpen() && file.Mode() == Zef::FileMode::kCreateWrite);
  EXPECT_EQ(file.Name(), folder / "high/f") << "the source that writing goes to now";
  EXPECT_EQ(ReadWholeFile(folder / "low/f"), "old");
  Zef::Subst("clear", nullptr, false);
}
