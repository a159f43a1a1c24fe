// The read-ahead must never show: whatever is read, sought and written, the stream behaves like
// a cursor over plain bytes, and what a short or hostile stream cannot give is left alone.

#include "kernel/standard/TStream.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kernel/standard/File.h"
#include "kernel/standard/PString.h"
#include "kernel/standard/SharedText.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/TBuffer.h"
#include "kernel/standard/TFile.h"
#include "tests/support/TestFiles.h"

using namespace std::string_literals;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

namespace {

std::string BytesOf(const Zef::TBuffer& stream) {
  const auto view = stream.View();
  return {reinterpret_cast<const char*>(view.data()), view.size()};
}

/// A memory stream at the start of these bytes.
struct Stream : Zef::TBuffer {
  explicit Stream(const std::string& bytes) {
    WriteRaw(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    Seek(0, 0);
  }
};

std::string Word(std::uint32_t value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace

TEST(TStream, FieldsLieAsTheFormatSays) {
  Zef::TBuffer stream;
  Zef::SharedText noCharacters;
  noCharacters = "";
  const std::uint64_t length = stream.ReserveLength();
  stream.Write8(0xAB);
  stream.Write16(0x1234);
  stream.Write64(0x0102030405060708);
  stream.WriteFloat(1.0f);
  stream.WriteBool(true);
  stream.WriteText(Zef::SharedText());
  stream.WriteText(noCharacters);
  stream.WriteText(Zef::SharedText("hi"));
  stream.WriteText(Zef::SharedText("hi"), /*withLength=*/false);
  stream.WritePString(Zef::PString());
  stream.WritePString("");
  stream.WritePString("key");
  stream.Printf("%d-%s", 7, std::string(1500, 'x').c_str());
  EXPECT_EQ(BytesOf(stream).substr(0, 4), "\xEB\xCE\xED\xFE"s);
  stream.PatchLength(length, 0x01020304);
  EXPECT_EQ(BytesOf(stream),
            "\x04\x03\x02\x01\xAB\x34\x12\x08\x07\x06\x05\x04\x03\x02\x01\0\0\x80\x3F\x01"
            "\0\0\0\0\x01\0\0\0\0\x03\0\0\0hi\0hi\0\0\0\0\x01\0\0\0\0\x04\0\0\0key\0"s +
                "7-" + std::string(1500, 'x'));
  EXPECT_EQ(stream.Tell(), stream.Size()) << "patching must come back to the end";
  bool truth = false;
  stream.Seek(19, 0);
  EXPECT_TRUE(stream.ReadBool(truth) && truth);
  stream.Clear();
  EXPECT_TRUE(!stream.ReadBool(truth) && truth && stream.Size() == 0);
}

TEST(TStream, TextsOfEveryLengthSurvive) {
  for (const std::size_t length : {1, 509, 510, 511, 4095, 4096, 65533, 65534}) {
    Zef::TBuffer stream;
    const std::string text(length, 'a');
    stream.WriteText(Zef::SharedText(text.c_str()));
    stream.Seek(0, 0);
    Zef::PString read;
    stream.ReadPString(read);
    EXPECT_EQ(read.View(), text) << length;
    EXPECT_TRUE(stream.AtEnd() && !stream.ShortRead()) << length;
  }
  Zef::TBuffer stream;
  stream.WriteText(Zef::SharedText(std::string(65535, 'a').c_str()));
  EXPECT_EQ(BytesOf(stream), Word(0)) << "a text that no reader takes is stored as none";
}

TEST(TStream, StoredTextsAreTakenAtTheirWordOnlySoFar) {
  const struct {
    const char* what;
    std::string bytes;
    const char* text;  // null: no storage
    bool fieldBehind;
  } cases[] = {{"no storage", Word(0) + Word(77), nullptr, true},
               {"storage without characters", Word(1) + "\0"s + Word(77), "", true},
               {"cut at its first zero", Word(6) + "ab\0cd\0"s + Word(77), "ab", true},
               {"no closing zero", Word(2) + "ab" + Word(77), "ab", true},
               {"too long", Word(70000) + std::string(70000, 'x') + Word(77), nullptr, true},
               {"backward as a signed number", Word(0xFFFFFFFF) + "abc" + Word(77), nullptr, false},
               {"half a length", "\x05\0"s, nullptr, false},
               {"short and truncated", Word(9) + "abc", "abc", false},
               {"long and truncated", Word(600) + "abc", "abc", false}};
  for (const auto& c : cases) {
    Stream stream(c.bytes);
    Zef::SharedText text("old");
    std::uint32_t behind = 0;
    stream.ReadText(text);
    EXPECT_EQ(text.Text() == nullptr, c.text == nullptr) << c.what;
    EXPECT_STREQ(text.TextOrEmpty(), c.text != nullptr ? c.text : "") << c.what;
    EXPECT_EQ(stream.Read32(behind), c.fieldBehind) << c.what;
    EXPECT_EQ(behind, c.fieldBehind ? 77u : 0u) << c.what;
    EXPECT_EQ(stream.ShortRead(), !c.fieldBehind) << c.what;
    EXPECT_EQ(stream.AtEnd(), true) << c.what;
  }
}

// Half a field must not become a value: callers keep the defaults they came with.
TEST(TStream, TruncatedFieldsLeaveTheirDestination) {
  const std::string bytes(23, '\x11');
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    Stream stream(bytes.substr(0, size));
    std::uint8_t byte = 9;
    std::uint16_t two16[2] = {9, 9};
    std::uint32_t four32[4] = {9, 9, 9, 9};
    EXPECT_EQ(stream.Read8(byte), size >= 1);
    EXPECT_EQ(stream.Read2x16(two16), size >= 5);
    EXPECT_EQ(stream.Read4x32(four32), size >= 21);
    EXPECT_EQ(byte, size >= 1 ? 0x11 : 9) << size;
    EXPECT_EQ(two16[1], size >= 5 ? 0x1111 : 9) << size;
    EXPECT_EQ(four32[3], size >= 21 ? 0x11111111u : 9u) << size;
    EXPECT_EQ(stream.ShortRead(), size < 21) << size;
  }
}

TEST(TStream, LinesEndAtEitherMarkOrAPair) {
  Stream stream("one\r\ntwo\n\rthree\r\0four\n\nsix\r"s);
  const std::string expected[] = {"one", "two", "three", "\0four"s, "", "six"};
  Zef::SharedText line;
  for (const std::string& text : expected) {
    ASSERT_TRUE(stream.ReadLine(line));
    EXPECT_EQ(line.View(), text);
  }
  EXPECT_FALSE(stream.ReadLine(line));
  EXPECT_EQ(line.Text(), nullptr);
  Stream endless(std::string(Zef::TStream::kMaxLineLength + 9, 'x') + "\nnext");
  EXPECT_TRUE(endless.ReadLine(line) && line.Length() == Zef::TStream::kMaxLineLength);
  EXPECT_TRUE(endless.ReadLine(line) && line.View() == "next");
}

// In memory, and over a file, whose own buffer must not show either.
TEST(TStream, BehavesLikeACursorOverPlainBytes) {
  const TempFolder folder;
  Zef::File file;
  ASSERT_EQ(file.Open((folder / "f").c_str(), 0x111), Zef::RES_OK);
  Zef::TBuffer memory;
  Zef::TFile onDisk(&file, /*owned=*/false);
  for (Zef::TStream* const stream :
       {static_cast<Zef::TStream*>(&memory), static_cast<Zef::TStream*>(&onDisk)}) {
    std::mt19937 random(12345);
    std::string model, received(40000, 0);
    std::size_t at = 0;
    for (int step = 0; step < 20000; ++step) {
      const std::size_t size = random() % 8 == 0 ? random() % 40000 : random() % 40;
      switch (random() % 8) {
        case 0:
          at = random() % (model.size() + 1);
          stream->Seek(static_cast<std::int64_t>(at), 0);
          break;
        case 1:
          at = model.size() - std::min(size, model.size());
          stream->Seek(static_cast<std::int64_t>(model.size() - at), 2);
          break;
        case 2:
          stream->Seek(-static_cast<std::int64_t>(std::min(at, size)), 1);
          at -= std::min(at, size);
          break;
        case 3:
          stream->SkipForward(size);
          at = std::min(at + size, model.size());
          break;
        case 4: {
          const std::string piece(std::min(size, 200'000 - at), static_cast<char>(step));
          stream->WriteRaw(piece.data(), static_cast<std::uint32_t>(piece.size()));
          model.replace(at, piece.size(), piece);
          at += piece.size();
          break;
        }
        default: {
          const std::size_t count = std::min(size, model.size() - at);
          ASSERT_EQ(stream->ReadRaw(received.data(), static_cast<std::uint32_t>(size)), count);
          ASSERT_EQ(received.compare(0, count, model, at, count), 0) << step;
          at += count;
        }
      }
      ASSERT_EQ(stream->Tell(), at) << step;
      ASSERT_EQ(stream->Size(), model.size()) << step;
      ASSERT_EQ(stream->AtEnd(), at == model.size()) << step;
    }
    EXPECT_EQ(stream == &memory ? BytesOf(memory) : (file.Close(), ReadWholeFile(folder / "f")),
              model);
  }
}

TEST(TBuffer, GapsAreZeroAndBoundsHold) {
  Zef::TBuffer::Storage storage;
  {
    Zef::TBuffer stream(&storage);
    stream.Write8('a');
    stream.Seek(4, 0);
    EXPECT_EQ(stream.Size(), 1u) << "a seek alone adds nothing";
    stream.Write8('b');
    EXPECT_EQ(BytesOf(stream), "a\0\0\0b"s);
    stream.Seek(-100, 1);
    EXPECT_EQ(stream.Tell(), 0u);
    stream.Seek(std::int64_t{1} << 60, 0);
    EXPECT_EQ(stream.Tell(), Zef::TBuffer::kGrowStep);
    stream.Seek(INT64_MIN, 2);
    EXPECT_EQ(stream.Tell(), Zef::TBuffer::kGrowStep);
    std::uint8_t byte = 7;
    EXPECT_FALSE(stream.Read8(byte));
  }
  storage.fixed = true;
  Zef::TBuffer fixed(&storage);
  fixed.Seek(100, 0);
  EXPECT_EQ(fixed.Tell(), 5u);
  EXPECT_EQ(fixed.WriteRaw("c", 1), 0u);
  EXPECT_EQ(BytesOf(fixed), "a\0\0\0b"s);
}

TEST(TFile, BorrowedFileStandsWhereTheReaderStopped) {
  const TempFolder folder;
  WriteWholeFile(folder / "f", "0123456789");
  Zef::File file;
  ASSERT_EQ(file.Open((folder / "f").c_str(), Zef::FileMode::kRead), Zef::RES_OK);
  {
    Zef::TFile stream(&file, /*owned=*/false);
    std::uint16_t word = 0;
    stream.Read16(word);
    EXPECT_FALSE(stream.Eof()) << "bytes read ahead are still to come";
  }
  ASSERT_TRUE(file.IsOpen());
  char next = 0;
  EXPECT_EQ(file.Read(&next, 1, 1), 1u);
  EXPECT_EQ(next, '2');
}

TEST(TFile, ClearReopensThroughTheSubstitution) {
  const TempFolder folder;
  WriteWholeFile(folder / "low/f", "old");
  ASSERT_TRUE(Zef::Subst("clear", (folder / "low/").c_str(), true));
  Zef::File file;
  ASSERT_EQ(file.Open("clear:f", Zef::FileMode::kRead), Zef::RES_OK);
  ASSERT_TRUE(Zef::Subst("clear", (folder / "high/").c_str(), true));
  Zef::TFile stream(&file, /*owned=*/false);
  stream.Clear();
  EXPECT_TRUE(file.IsOpen() && file.Mode() == Zef::FileMode::kCreateWrite);
  EXPECT_EQ(file.Name(), folder / "high/f") << "the source that writing goes to now";
  EXPECT_EQ(stream.WriteRaw("new", 3) + stream.Size(), 6u);
  EXPECT_EQ(ReadWholeFile(folder / "low/f"), "old");
  Zef::Subst("clear", nullptr, false);
}
