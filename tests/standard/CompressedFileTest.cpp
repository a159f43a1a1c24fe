#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace {

using namespace Test;
using namespace Zef;

std::string operator""_b(const char* text, std::size_t size) { return {text, size}; }

std::string Word(std::size_t value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

std::string Header(std::uint32_t size, std::uint32_t version = 257) {
  return "CFIL" + Word(version) + Word(0) + Word(size & 0xFFFF) + Word(size >> 16);
}

// A page that yields one byte.
const std::string kPage = "\xFF\xFF\0\1x"_b;

// Blocks of all kinds: coded, stored, coded, stored and a short coded one at the end.
std::string Mixed() {
  std::mt19937 random(5);
  std::string content;
  for (int block = 0; block < 5; block++) {
    for (int i = 0; i < (block == 4 ? 5000 : 16384); i++) {
      content.push_back(static_cast<char>(block % 2 == 0 ? 'a' + i / 7 % 3 : random()));
    }
  }
  return content;
}

void Pack(const std::string& path, const std::string& content) {
  File file;
  ASSERT_EQ(file.Open(path.c_str(), 0x102), RES_OK);
  file.Write(content.data(), 1, content.size());
  file.Close();
}

// All that can be read in pieces of `piece` bytes, and the reason of what stopped it.
std::string ReadOut(File& file, std::size_t piece, std::string* reason) {
  std::string all, bytes(piece, '?');
  try {
    for (std::size_t got = piece; got > 0;) {
      got = file.Read(bytes.data(), 1, piece);
      all.append(bytes, 0, got);
    }
  } catch (const FileEx& failure) {
    *reason = failure.Reason();
  }
  return all;
}

TEST(CompressedFile, ClosingWritesTheDocumentedBytes) {
  const TempFolder folder;
  const std::string path = folder / "packed";
  const std::pair<std::string, std::string> cases[] = {
      {"", Header(0)},
      {"abc", Header(3) + "\3\x80"_b + "abc"},
      {"abababababababababababababababab",
       Header(32) + "\x10\0\xFF\xFA\3\xFC\xFC\xFD\xFD\xFE\xFE"_b + "ab" + "\x80\0\2\xFB\xFB"_b}};
  for (const auto& [content, bytes] : cases) {
    Pack(path, content);
    EXPECT_EQ(ReadWholeFile(path), bytes);
  }
  const std::string mixed = Mixed();
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  Pack(path, mixed);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
  EXPECT_NE(ReadWholeFile(path).find("\0\xC0"_b + mixed.substr(16384, 16384)), std::string::npos)
      << "noise is stored, with the word 0xC000";
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1)
      << "a temporary was left";
}

TEST(CompressedFile, MalformedBlocksRaise) {
  const std::string stored = "ReadNext() Failed to read uncompressed block";
  const std::string coded = "ReadNext() Failed to read compressed block";
  const std::string word = "ReadNext() Failed to read block size";
  const struct {
    std::string bytes, content, reason;  // content is what comes before the failure
  } cases[] = {{Header(5) + "\2\x80xy", "xy", word},
               {Header(0, 256) + "\2\x80xy\1", "xy", word},
               {Header(5) + "\5\x80xy", "", stored},
               {Header(20000) + Word(0x8000 | 16385) + std::string(16385, 's'), "", stored},
               {Header(5) + "\7\0\xFF\xFF"_b, "", coded},
               {Header(5) + "\5\0"_b + kPage + "\1\x80y", "", coded},  // short, and not the last
               {Header(2) + "\5\0"_b + kPage, "x", word},
               {Header(2) + "\4\x80long", "lo", ""},  // the header's size bounds the content
               {Header(0, 256) + "\0\x80\1\x80z\5\0"_b + kPage, "zx", ""}};
  const TempFolder folder;
  for (const auto& c : cases) {
    WriteWholeFile(folder / "bad", c.bytes);
    File file;
    ASSERT_EQ(file.Open((folder / "bad").c_str(), 0x10), RES_OK);
    std::string reason;
    EXPECT_EQ(ReadOut(file, 1, &reason), c.content);
    EXPECT_EQ(reason, c.reason);
  }
  WriteWholeFile(folder / "huge", Header(0x80000000));
  EXPECT_EQ(File().Open((folder / "huge").c_str(), 0x10), RES_UNKNOWN);
  WriteWholeFile(folder / "short", Header(9) + "\5\0"_b + kPage);
  File file;
  ASSERT_EQ(file.Open((folder / "short").c_str(), 0x10), RES_OK);
  EXPECT_THROW(file.Seek(5, 0), FileEx) << "the block ends before the position";
}

TEST(CompressedFile, FailedCloseKeepsTheContent) {
  const TempFolder folder;
  const PString name("cfiltest");
  ASSERT_TRUE(Subst(name, (folder / "data/").c_str(), true));
  File file;
  ASSERT_EQ(file.Open("cfiltest:f", 0x102), RES_OK);
  file.Write("abcabc", 1, 6);
  std::filesystem::rename(folder / "data", folder / "moved");
  EXPECT_THROW(file.Close(), FileEx);
  EXPECT_EQ(ReadWholeFile(folder / "moved/f"), "abcabc");
  // What no header can say is refused before it is written.
  std::ofstream(folder / "moved/f").close();
  std::filesystem::resize_file(folder / "moved/f", 0x7FFFFFFF);
  ASSERT_EQ(file.Open((folder / "moved/f").c_str(), 0x202), RES_OK);
  EXPECT_THROW(file.Write("x", 1, 1), FileEx);
  file.Close();
  EXPECT_EQ(std::filesystem::file_size(folder / "moved/f"), 0x7FFFFFFFU);
  Subst(name, nullptr, false);
}

}  // namespace
