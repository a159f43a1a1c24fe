#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <vector>

#include "kernel/standard/Crc32.h"
#include "tests/standard/ArchiveFixture.h"
#include "tests/support/Threads.h"

namespace Zef {

namespace {

using ::Test::ArchiveHead;
using ::Test::Chunk;
using ::Test::Entry;
using ::Test::PlainEntry;
using ::Test::Words;
using Archive = ::Test::Archive;

constexpr std::uint32_t kPack = FileMode::kWriteCompressed | FileMode::kCreate;

// "ab" sixteen times as the pair coder leaves it, with the word of its block.
const std::string kPairs("ababababababababababababababababab", 32);
const std::string kCoded(
    "\x10\0\xFF\xFA\x03\xFC\xFC\xFD\xFD\xFE\xFE"
    "ab\x80\0\x02\xFB\xFB",
    18);

struct Case {
  const char* what;
  std::string bytes;
  bool damaged = false;
};

TEST(Crc32Test, KnownValuesInAnyPieces) {
  EXPECT_EQ(Crc32(0, "", 0), 0u);
  EXPECT_EQ(Crc32(0, kPairs.data(), 32), 0x0300C856u);
  const char* digits = "123456789";
  for (std::size_t cut = 0; cut <= 9; ++cut) {
    EXPECT_EQ(Crc32(Crc32(0, digits, cut), digits + cut, 9 - cut), 0xFC891918u) << cut;
  }
}

TEST_F(Archive, BytesAreThoseOfTheFormat) {
  const struct {
    std::uint32_t version;
    std::string header;
  } cases[] = {{257, "CFIL"}, {258, "CFIL" + Words({257, 32})}};
  for (const auto& c : cases) {
    Lay(ArchiveHead(c.version, 0, 0));
    Mount();
    ASSERT_TRUE(Write("Plain.txt", "hi") && Write("sub\\Pairs.txt", kPairs, kPack));
    Unmount();
    const std::string bytes = Bytes();
    const auto timeAt = [&](std::size_t entry) {
      std::uint32_t time = 0;
      std::memcpy(&time, bytes.data() + entry + 272, 4);
      EXPECT_NEAR(time, static_cast<double>(std::time(nullptr)), 60);
      return time;
    };
    const auto stored = static_cast<std::uint32_t>(c.header.size()) + 18;
    const Entry plain{"Plain.txt", 2, 2, 0x9A89B422, timeAt(52), 0};
    const Entry pairs{"sub/Pairs.txt", 32, stored, 0x0300C856, timeAt(350), 0x80};
    EXPECT_EQ(bytes, ArchiveHead(c.version, 2, 638 + stored) + plain.ChunkHead() + "hi" +
                         pairs.ChunkHead() + c.header + kCoded + "IDX " + Words({2 * 296}) +
                         plain.Row(340) + pairs.Row(638));
    for (const bool indexed : {true, false}) {
      if (!indexed) ForgetIndex();
      Remount(false);
      EXPECT_EQ(Read("plain.TXT") + Read("SUB/pairs.txt"), "hi" + kPairs);
      EXPECT_EQ(Read("sub/pairs.txt", FileMode::kReadRaw), c.header + kCoded);
      EXPECT_FALSE(Write("Plain.txt", "x"));
      Unmount();
    }
  }
}

TEST_F(Archive, WhatIsNoArchiveIsLeftAlone) {
  const std::string good = ArchiveHead(258, 1, 0) + Chunk("a", "1");
  const Case cases[] = {{"version 256", ArchiveHead(256, 1, 0) + good.substr(44)},
                        {"version 259", ArchiveHead(259, 1, 0) + good.substr(44)},
                        {"magic", "ARCX" + good.substr(4)},
                        {"info magic", std::string(good).replace(12, 1, "1")},
                        {"info size", std::string(good).replace(8, 1, "\x21")},
                        {"info past the end", good.substr(0, 43)}};
  for (const auto& c : cases) {
    Lay(c.bytes);
    Mount();
    EXPECT_EQ(Read("a"), "(none)") << c.what;
    EXPECT_FALSE(Write("b", "2")) << c.what;
    EXPECT_EQ(FileSubArchive(path_.c_str(), true).Version(), 0u) << c.what;
    Unmount();
    EXPECT_EQ(Bytes(), c.bytes) << c.what;
  }
  EXPECT_FALSE(FileSubArchive((folder_ / "none").c_str(), true).IsAvailable());
  EXPECT_THROW(Subst(name_, (folder_ / "no/folder.arc").c_str(), true), FileEx);
  // Chunks in front of the info record are passed over, and never written to.
  for (const std::uint32_t index : {0, 30}) {
    const std::string front = "ARCHFIL " + Words({3}) + "xyz";
    Lay(front + ArchiveHead(258, 1, index).substr(4) + Chunk("a", "1"));
    Mount();
    ASSERT_TRUE(Write("b", "2"));
    Remount();
    EXPECT_EQ(Read("a") + Read("b"), "12");
    Unmount();
    EXPECT_EQ(Bytes().substr(0, 15), front);
  }
}

TEST_F(Archive, ChangesLastAndKeepTheSpelling) {
  Lay("");  // left by a writer that was killed as it began
  Mount();
  ASSERT_TRUE(Write("Maps/One.txt", "1") && Write("Maps/Two.txt", "2") && Write("three", "3"));
  Remount();
  ASSERT_TRUE(Write("maps\\./ONE.txt", "uno"));
  EXPECT_FALSE(File::Rename("arc:three", "arc:MAPS/two.TXT"));
  EXPECT_FALSE(File::Rename("arc:none", "arc:four") || File::Delete("arc:none"));
  EXPECT_TRUE(File::Rename("arc:three", "arc:Deep/Three") && File::Delete("arc:maps/TWO.txt"));
  EXPECT_TRUE(File::Rename("arc:deep/THREE", "arc:deep/Three"));
  std::uint32_t time = 0;
  EXPECT_TRUE(File::GetTime("arc:deep/three", &time) && time > 1'600'000'000);
  Unmount();
  for (const bool indexed : {true, false}) {
    if (!indexed) ForgetIndex();
    Mount(false);
    EXPECT_EQ(Read("Maps/One.txt") + Read("DEEP/three") + Read("maps/two.txt") + Read("three"),
              "uno3(none)(none)");
    EXPECT_EQ(File::IsReadOnly("arc:deep/three"), RES_FILEREADONLY);
    Unmount();
    EXPECT_EQ(Names(), "deep/Three maps/ONE.txt ");
  }
  const std::string bytes = Bytes();
  EXPECT_EQ(bytes.substr(44, 4) + bytes.substr(341, 4), "FIL!FIL!");
  Mount();
  EXPECT_TRUE(File::DeleteFolder("arc:Maps") && !File::DeleteFolder("arc:deep/three"));
  EXPECT_FALSE(File::DeleteFolder("arc:") || File::MakeFolder("arc:x"));
  Remount(false);
  EXPECT_FALSE(File::Delete("arc:deep/three") || File::DeleteFolder("arc:deep"));
  EXPECT_EQ(Names(), "deep/Three ");
}

TEST_F(Archive, NamesThatNoFileCanHaveAreRefused) {
  Mount();
  const std::string longest(258, 'n');
  EXPECT_TRUE(Write(longest, "long") && Write("Some/deep/file", "1"));
  for (const std::string& name :
       {longest + "n", std::string("a/"), std::string("a/.."), std::string("../a"),
        std::string("."), std::string("//a"), std::string("some"), std::string("some/DEEP"),
        std::string("some/deep/FILE/x")}) {
    EXPECT_FALSE(Write(name, "x")) << name;
    EXPECT_FALSE(File::Rename(name_, longest.c_str(), name.c_str())) << name;
  }
  Remount();
  EXPECT_EQ(Read(longest), "long");
}

// As on disk, but that nothing is there before the file is closed.
TEST_F(Archive, EveryWayOfWriting) {
  Mount();
  ASSERT_TRUE(Write("packed", kPairs, kPack) && Write("plain", "0123"));
  EXPECT_TRUE(Write("packed", "+", 0x201) && Write("fresh", "new", 0x202));
  EXPECT_TRUE(Write("plain", "AB", 0x001) && !Write("none", "x", 0x001));
  EXPECT_FALSE(Write("PLAIN", "x", 0x301) || Write("PLAIN", "x", 0x311));
  EXPECT_EQ(Read("packed") + Read("plain") + Read("fresh"), kPairs + "+AB23new");
  File file;
  ASSERT_EQ(file.Open("arc:plain", 0x11), RES_OK);
  file.Seek(2, 0);
  file.Write("cd", 1, 2);
  file.Seek(0, 0);
  char text[5] = {};
  EXPECT_EQ(file.Read(text, 1, 4), 4u);
  EXPECT_STREQ(text, "ABcd");
  EXPECT_EQ(Read("plain"), "AB23");
  Unmount();  // the file holds the archive until it is closed
  file.Close();
  Mount();
  EXPECT_EQ(Read("plain"), "ABcd");
  ASSERT_EQ(file.Open("arc:plain", 0x101), RES_OK);
  file.Write("lost", 1, 4);
  file.Abandon();
  file.Close();
  EXPECT_EQ(Read("plain"), "ABcd") << "what failed halfway is not put in";
  ASSERT_EQ(file.Open("arc:late/x", 0x101), RES_OK);
  EXPECT_TRUE(Write("late", "a file by now"));
  EXPECT_THROW(file.Close(), FileEx);
  // Of two sources over one file the one that comes second would write over the other's files.
  ASSERT_EQ(file.Open("arc:plain", 0x11), RES_OK);
  Remount();
  EXPECT_TRUE(Write("long", std::string(5000, 'l')));
  EXPECT_THROW(file.Close(), FileEx);
  Remount();
  EXPECT_EQ(Read("plain") + Read("long"), "ABcd" + std::string(5000, 'l'));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

TEST_F(Archive, FullDiskLeavesWhatWasThere) {
  Mount();
  ASSERT_TRUE(Write("a", "before") && Write("b", "2"));
  Remount();
  const std::string bytes = Bytes();
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limit{44 + 302 + 297 + 500, before.rlim_max};
  const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_FALSE(Write("a", std::string(600, 'x')));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, ignored);
  EXPECT_EQ(Bytes().size(), 44u + 302 + 297) << "the index goes, no half chunk stays";
  EXPECT_EQ(Read("a") + Read("b"), "before2");
  Unmount();
  EXPECT_EQ(Bytes(), bytes);
}

TEST_F(Archive, SearchReportsFoldersOnceAndByName) {
  const auto search = [&](const char* pattern) {
    File::Find find;
    if (!find.Open(pattern)) return std::string("(none)");
    std::string found;
    while (find.Next()) {
      const FileEntry& entry = find.Entry();
      found += entry.name + std::string(entry.attributes == 17 ? "/ " : " ");
    }
    return found;
  };
  std::string bytes = ArchiveHead(258, 0, 0);
  for (const char* name : {"b.txt", "Sub/z.txt", "SUB\\Deep/x.txt", "sub-1", "sub/a.txt", "A.txt",
                           "sub.d/q", "sub/deep/w", "../out", "/rooted", "sub"}) {
    bytes += Chunk(name, "1");
  }
  Lay(bytes);
  Mount();
  EXPECT_EQ(search("arc:*"), "A.txt b.txt sub sub-1 sub.d/ ");
  EXPECT_EQ(search("arc:?.TXT;s*d"), "A.txt b.txt sub.d/ ");
  EXPECT_EQ(search("arc:/SUB\\*"), "a.txt deep/ z.txt ");
  EXPECT_EQ(search("arc:sub/./deep/*"), "w x.txt ");
  EXPECT_EQ(search("arc:su/*") + search("arc:sub/a.txt/*") + search("arc:none/*"),
            "(none)(none)(none)");
  File::Find find;
  ASSERT_TRUE(find.Open("arc:sub/*") && find.Next());
  EXPECT_TRUE(File::Delete("arc:sub/a.txt") && File::DeleteFolder("arc:sub/deep"));
  EXPECT_TRUE(File::Delete("arc:sub") && Write("sub/m.txt", "1") && find.Next());
  EXPECT_STREQ(find.Entry().name, "m.txt");
}

TEST_F(Archive, WalkYieldsAllUpToTheDamage) {
  const std::string whole = ArchiveHead(258, 9, 0) + "JUNK" + Words({3}) + "..." +
                            Chunk("a", "old") + "FIL!" + Words({4}) + "gone" + Chunk("b", "2") +
                            std::string(5600, 0) + Chunk("A", "new");
  const Case cases[] = {
      {"whole", "", false},
      {"zeros", std::string(8800, 0)},
      {"zeros and no head", std::string(8801, 0), true},
      {"no head", "FIL ", true},
      {"no size", "FIL " + Words({0}) + PlainEntry("c", "").Bytes() + "3", true},
      {"no size yet", "FIL " + Words({0}) + PlainEntry("c", "333").Bytes() + "3"},
      {"no entry yet", "FIL " + Words({0}) + "c"},
      {"index without size", "IDX " + Words({0}) + PlainEntry("b", "2").Row(340)},
      {"longer index below", "IDX " + Words({8}) + "........" + PlainEntry("b", "2").Row(340)},
      {"cut", Chunk("c", "333").substr(0, 298), true},
      {"too large", "JUNK" + Words({0xFFFFFFFF}) + "x", true},
      {"no name", "FIL " + Words({287}) + std::string(287, 'x'), true}};
  for (const auto& c : cases) {
    Lay(whole + c.bytes);
    EXPECT_EQ(FileSubArchive(path_.c_str(), true).DamagedAt().has_value(), c.damaged) << c.what;
    EXPECT_EQ(Names(), "b A ") << c.what;
    Mount();
    EXPECT_EQ(Bytes(), whole + c.bytes) << c.what << ": reading changes nothing";
    EXPECT_EQ(Read("a") + Read("b"), "new2") << c.what;
    EXPECT_TRUE(Write("later", "3") && File::Delete("arc:a")) << c.what;
    Unmount();
    ForgetIndex();  // what was added is reached, and no older "a" comes back
    EXPECT_EQ(Names(), "b later ") << c.what;
    EXPECT_FALSE(FileSubArchive(path_.c_str(), true).DamagedAt()) << c.what;
  }
}

TEST_F(Archive, LyingIndexIsRefused) {
  const Entry a = PlainEntry("a", "11");
  const Entry b = PlainEntry("b", "2");
  const std::string chunks = Chunk("a", "11") + Chunk("b", "2");
  const std::uint32_t index = 44 + 298 + 297;
  const auto archive = [&](std::uint32_t count, std::uint32_t offset, std::uint32_t size,
                           const std::string& first) {
    return ArchiveHead(258, count, offset) + chunks + "IDX " + Words({size}) + first + b.Row(638);
  };
  const std::uint32_t size = 2 * 296;
  const Entry past{"a", 2, 0xFFFFFFF0};
  const Case cases[] = {
      {"past the end", archive(2, 5000, size, a.Row(340))},
      {"at the very end", archive(2, index + 600 - 4, size, a.Row(340))},
      {"no tag there", archive(2, index + 1, size, a.Row(340))},
      {"count too large", archive(0xFFFFFFFF, index, size, a.Row(340))},
      {"count and size too large", archive(14'000'000, index, 4'144'000'000, a.Row(340))},
      {"size wrong", archive(2, index, size - 1, a.Row(340))},
      {"data in the head", archive(2, index, size, a.Row(339))},
      {"data past the end", archive(2, index, size, past.Row(340))}};
  for (const auto& c : cases) {
    Lay(c.bytes);
    Mount();
    EXPECT_EQ(Read("a") + Read("b"), "112") << c.what;
    EXPECT_TRUE(Write("c", "3") && File::Delete("arc:a")) << c.what;
    Remount(false);
    EXPECT_EQ(Read("a") + Read("b") + Read("c"), "(none)23") << c.what;
    Unmount();
  }
}

TEST_F(Archive, OfTwoRowsOfOneNameTheFilesPlaceDecides) {
  const std::string chunks = Chunk("a", "old") + Chunk("A", "new") + "IDX " + Words({592});
  const std::string rows[] = {PlainEntry("a", "old").Row(340), PlainEntry("A", "new").Row(639)};
  for (const int first : {0, 1}) {
    Lay(ArchiveHead(258, 2, 642) + chunks + rows[first] + rows[1 - first]);
    Mount();
    EXPECT_TRUE(Read("a") == "new" && File::Delete("arc:a"));
    Unmount();
    ForgetIndex();
    EXPECT_EQ(Names(), "");
  }
}

TEST_F(Archive, LargestArchiveHasRoomForItsIndex) {
  const std::uint32_t end = 0xFFFFFFFF - (296 + 5 + 8 + 296);
  Lay(ArchiveHead(258, 0, 0) + "FIL!" + Words({end - 52}));
  std::filesystem::resize_file(path_, end);
  Mount();
  EXPECT_TRUE(!Write("a", "123456") && Write("a", "12345"));
  Remount(false);
  EXPECT_EQ(Read("a"), "12345");
  // What lies behind is not walked, or this would take hours.
  Lay(ArchiveHead(258, 0, 0) + "JUNK" + Words({0xFFFFFFF0}));
  std::filesystem::resize_file(path_, std::uint64_t{1} << 43);
  EXPECT_EQ(FileSubArchive(path_.c_str(), true).DamagedAt(), 44u);
}

// What fits the file is believed, but it must not reach what it does not own.
TEST_F(Archive, LyingRowsHarmNothing) {
  const std::string chunks =
      Chunk("a", "aaaa") + Chunk("b", "bbbb") + Chunk("in", "CFIL" + Words({257, 100}) + "?");
  const auto index = static_cast<std::uint32_t>(44 + chunks.size());
  const Entry whole{"whole", 4, 301};               // over the chunk of "b"
  const Entry inside{"inside", 0xFFFFFFFF, 2};      // in the data of "b"
  const Entry coded{"coded", 100, 13, 0, 0, 0x80};  // no such blocks
  const Entry again = PlainEntry("INSIDE", "12");
  const Entry over = PlainEntry("over", "IDX ....");  // the index itself
  for (const bool overIndex : {false, true}) {
    const Entry& last = overIndex ? over : again;
    Lay(ArchiveHead(258, 4, index) + chunks + "IDX " + Words({4 * 296}) + whole.Row(340) +
        inside.Row(642) + coded.Row(940) + last.Row(overIndex ? index : 641));
    Mount();
    EXPECT_EQ(Read("whole").substr(0, 12), std::string("aaaaFIL \x24\x01\0\0", 12));
    EXPECT_EQ(Read("inside"), "bb");
    EXPECT_EQ(Read("coded"), "(damaged)");
    EXPECT_FALSE(File::Rename("arc:inside", "arc:else") || Write("coded", "+", 0x201));
    EXPECT_TRUE(File::Delete("arc:inside") && Write("new", "new"));
    if (overIndex) {
      EXPECT_EQ(Read("over").substr(0, 4), "IDX ");
    }
    Unmount();
    EXPECT_EQ(Bytes().substr(44, chunks.size()), chunks);
  }
}

TEST_F(Archive, IndexGoesWhereItWasOrBehindEverything) {
  Mount();
  Remount();  // an index without rows counts as none
  ASSERT_TRUE(Write("a", "1") && Write("b", std::string(1000, '2')));
  Remount();
  ASSERT_TRUE(File::Delete("arc:a"));
  Unmount();
  const std::size_t size = 52 + 297 + 1296 + 8 + 296;
  EXPECT_EQ(Bytes().size(), size);
  FileSubArchive archive(path_.c_str(), false);
  EXPECT_TRUE(archive.WriteIndex(false));
  EXPECT_EQ(Bytes().size(), size);
  EXPECT_TRUE(archive.WriteIndex(true));
  EXPECT_EQ(Bytes().size(), size + 8 + 296);
  Mount();
  EXPECT_EQ(Read("b"), std::string(1000, '2'));
}

TEST_F(Archive, ThreadsReadAtTheSameTime) {
  constexpr int kThreads = 4;
  std::vector<std::string> contents(kThreads);
  Mount();
  for (int id = 0; id < kThreads; ++id) {
    for (int i = 0; i < 40'000; ++i) contents[id] += std::to_string(i * (id + 1));
    ASSERT_TRUE(Write(std::to_string(id), contents[id], id % 2 == 0 ? kPack : 0x101));
  }
  Remount();
  ::Test::OnThreads(kThreads + 1, [&](int id) {
    for (int round = 0; round < 10; ++round) {
      if (id == kThreads) {
        EXPECT_TRUE(Write("written", "meanwhile") && File::Delete("arc:written"));
      } else {
        EXPECT_TRUE(Read(std::to_string(id)) == contents[id]) << id;
      }
    }
  });
}

}  // namespace

}  // namespace Zef
