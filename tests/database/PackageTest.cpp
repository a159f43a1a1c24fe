#include <sys/stat.h>

#include <chrono>

#include "database/FileRules.h"
#include "database/PackageCheck.h"
#include "database/PackageFiles.h"
#include "database/PackageFolder.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "tests/database/PackageFixture.h"
#include "tests/database/RunningFixture.h"

namespace {

namespace fs = std::filesystem;

using Test::AddBinary;
using Test::Container;
using Test::PackageTest;
using Test::PackedAsset;
using Test::Table;
using Test::Told;

TEST(FileRules, NamesAndExtensions) {
  const std::string longest(250, 'n');
  for (const std::string& name : {std::string("a~b.txt"), std::string("Read (2) - $1,+&'_.TEXTURE"),
                                  std::string("a.b.Jpeg"), longest + ".txt"}) {
    EXPECT_TRUE(ValidName(name) && ValidExtension(name)) << name;
  }
  EXPECT_FALSE(ValidName({"a\0.txt", 6}) || ValidName(longest + "n.txt"));
  for (const char* name :
       {"", "~a.txt", ".txt", " a.txt", "a.txt ", "..", "a/b", "a\\b", "c:b", "a\xE9.txt"}) {
    EXPECT_FALSE(ValidName(name)) << name;
  }
  for (const char* name : {"jpg", "a.jpg.", "a.txt ", "readme.doc", ""}) {
    EXPECT_FALSE(ValidExtension(name)) << name;
  }
  EXPECT_TRUE(Ignored("Thumbs.DB") && Ignored("PSPBRWSE.jbf") && !Ignored("thumbs.db2"));
}

// The first entry in sorted order is told, whatever a thread finds first.
TEST_F(PackageTest, FoldersThatBreakTheRules) {
  for (const char* name :
       {"ext/b.txt", "ext/a/c.DOC", "ext/z!.txt", "name/a/b!.txt", "name/c.doc", "twins/a.txt",
        "twins/A.txt", "link/real.txt", "deep/x.txt", "both/b.dat", "file"}) {
    Put(name, "");
  }
  fs::create_symlink("real.txt", folder_ / "link/a.txt");
  fs::create_directories(folder_ / "pipe");
  ASSERT_EQ(mkfifo((folder_ / "pipe/p.txt").c_str(), 0600), 0);
  std::string deep = "deep";
  for (std::size_t i = 0; i <= kDeepestAssetFolder; ++i) deep += "/d";
  fs::create_directories(folder_ / deep);
  fs::resize_file(folder_ / "both/b.dat", std::uint64_t{0x80000000});
  Put("both/c!", "");
  const std::string longPath =
      "long/" + std::string(130, 'a') + "/" + std::string(125, 'b') + ".txt";
  Put(longPath, "");
  Put("bad/a.dat", "CFIL\x01\x01");
  Put("bad/b.dat", std::string_view("CFIL\x01\x01\0\0\x10\0\0\0????", 16));
  Put("bad/c!", "");
  const std::string name = "$muk_package_file_bad_name ";
  const std::string extension = "$muk_package_file_bad_ext ";
  const struct {
    const char* folder;
    std::string checked, imported;
  } cases[] = {
      {"ext", extension + "ext/a/c.DOC;", {}},
      {"name", name + "name/a/b!.txt;", {}},
      {"twins", name + "twins/a.txt;", {}},
      {"long", name + longPath + ";", {}},
      {"link", name + "link/a.txt;", {}},
      {"pipe", name + "pipe/p.txt;", {}},
      {"deep", "$muk_package_folder_err " + deep + ";",
       "$muk_package_folder_read_err " + deep + ";"},
      {"none", "$muk_package_folder_err none;", "$muk_package_folder_read_err none;"},
      {"file", "$muk_package_folder_err file;", "$muk_package_folder_read_err file;"},
      {"both", name + "both/c!;", "$muk_package_file_too_large both/b.dat;"},
      {"bad", name + "bad/c!;", "$muk_package_file_read_err bad/b.dat;"},
  };
  for (const auto& c : cases) {
    ResultsLog log;
    EXPECT_FALSE(CheckFolder(Place(c.folder), &log));
    EXPECT_EQ(Told(log, folder_.Path()), c.checked);
    EXPECT_EQ(log.Count(ResultLevel::kError), 1u);
    EXPECT_EQ(Import(c.folder), c.imported.empty() ? c.checked : c.imported);
  }
  EXPECT_FALSE(CheckFolder({Zef::PString("no such name"), "x"}, nullptr));
  package_.Tags().SetString("compression", "ZIP");
  Put("plain/a.txt", "");
  EXPECT_EQ(Import("plain"), "$muk_package_unknown_compression plain/a.txt;");
}

std::string Noise(std::size_t size) {
  std::string bytes(size, 0);
  std::uint32_t state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
  return bytes;
}

// Also: equal folders give equal bytes, whichever thread was first, and from a mounted archive.
TEST_F(PackageTest, WhatGoesInComesOut) {
  Put("in/Config.TXT", "plid <plid2:1:2:3>\nusername \"One\"\nfiles 1");
  Put("in/Thumbs.db", "left out");
  Put("in/thumbs.db", "left out, and no twin");
  Put("in/sub/config.txt", "kept");
  Put("in/empty.txt", "");
  Put("in/noise.tga", Noise(600'000));
  Put("in/sub/Deep folder/text.txt", Noise(600'000) + std::string(200'000, 'x'));
  for (int i = 0; i < 200; ++i) {
    Put("in/many/" + std::to_string(i) + ".dat", std::string(1000, static_cast<char>(i)));
  }
  fs::create_directories(folder_ / "in/nothing");
  {
    Zef::File packed;
    ASSERT_EQ(packed.Open((folder_ / "in/packed.txt").c_str(),
                          Zef::FileMode::kWriteCompressed | Zef::FileMode::kCreate),
              Zef::RES_OK);
    packed.Write("content", 1, 7);
  }
  const std::string path = folder_ / "one.KPX";
  std::string bytes[2];
  for (std::string& each : bytes) {
    MUKPackage package;
    std::uint64_t done = 0;
    package.SetProgress([&](std::uint64_t now) { done = now; });
    TagContainer asset;
    ASSERT_TRUE(ReadAssetFolder(package, Place("in"), asset, nullptr));
    EXPECT_EQ(done, 4u + 600'000 + 800'000 + 200 * 1000 + 7);
    ASSERT_EQ(package.Add(asset), "");
    ASSERT_EQ(package.Save(path), "");
    each = Read("one.KPX");
  }
  EXPECT_TRUE(bytes[0] == bytes[1]);
  Put("in/config.grole", "one too many");
  TagContainer none;
  EXPECT_FALSE(ReadAssetFolder(package_, Place("in"), none, nullptr));
  EXPECT_LT(bytes[0].size(), 1'230'000u) << "compressed";

  ASSERT_EQ(package_.Open(path, "kpx"), "");
  EXPECT_EQ(package_.Get(0).GetText("username").View(), "One");
  EXPECT_TRUE(CheckPackage(package_, {}).empty());
  Put("out/many/7.dat", "replaced");
  ASSERT_EQ(package_.ExtractFiles(0, folder_ / "out"), "");
  Put("in/packed.txt", "content");
  for (const char* left : {"in/Config.TXT", "in/config.grole", "in/Thumbs.db", "in/thumbs.db"}) {
    fs::remove(folder_ / left);
  }
  EXPECT_EQ(std::system(("diff -r " + (folder_ / "in") + " " + (folder_ / "out")).c_str()), 0);

  // As it is, and out of a substitution.
  ASSERT_TRUE(Zef::Subst("packagetest", (folder_ / "").c_str(), true));
  MUKPackage stored;
  stored.Tags().SetString("compression", "");
  TagContainer direct;
  TagContainer mounted;
  EXPECT_TRUE(stored.ImportFolder(Place("in"), direct, nullptr));
  EXPECT_TRUE(stored.ImportFolder({"packagetest", "in"}, mounted, nullptr));
  EXPECT_EQ(stored.Save("packagetest:prefixed.kpx"), "");
  EXPECT_EQ(package_.Open("packagetest:prefixed.kpx"), "");
  Zef::Subst("packagetest", nullptr, false);
  for (TagContainer& files : {std::ref(direct), std::ref(mounted)}) {
    TagContainer asset = PackedAsset({1, 1, 1});
    asset.SetSubContainer("files", files);
    EXPECT_EQ(stored.ExtractFiles(asset, folder_ / "again"), "");
    EXPECT_EQ(std::system(("diff -r " + (folder_ / "in") + " " + (folder_ / "again")).c_str()), 0);
    fs::remove_all(folder_ / "again");
  }
}

TEST_F(PackageTest, OpensWhatIsAPackageOnly) {
  ASSERT_EQ(package_.Add(PackedAsset({1, 1, 1})), "");
  ASSERT_EQ(package_.Save(folder_ / "good.kpx"), "");
  EXPECT_FALSE(package_.IsChanged());
  const char* const none = "Content could not be read, as the file is not a valid KPX";
  const char* const damaged = "Content could not be read, as the KPX file is damaged";
  const char* const newer = "This content requires a newer Quarle version";
  const char* const why[] = {none, damaged, damaged, newer, damaged, damaged};
  for (int i = 0; i < 6; ++i) {
    MUKPackage spoilt;
    ASSERT_EQ(spoilt.Open(folder_ / "good.kpx"), "");
    TagContainer& tags = spoilt.Tags();
    if (i == 0) tags.SetString("kind", "Archive");
    if (i == 1) tags.SetSubContainer("contents-table", Container());
    if (i == 2) tags.SetInt("assets", 1);
    if (i == 3) tags.SetInt("package-version", 2);
    // Of two tags with one key a change would hit one, and a reader see the other.
    if (i == 4) tags.Chunk()->AddTag("assets", Container().Chunk());
    if (i == 5) {
      const TagContainer assets = tags.GetSubContainer("assets");
      assets.Chunk()->AddTag(assets.GetTagName(0), PackedAsset({1, 1, 1}).Chunk());
      tags.GetSubContainer("contents-table").SetNull("1");
    }
    EXPECT_EQ(package_.OpenTags(tags), why[i]);
    EXPECT_TRUE(spoilt.IsChanged() && package_.Tags().GetCount() == 0);
  }
  EXPECT_EQ(package_.Open(folder_ / "none.kpx"), none);
  Put("short.kpx", Read("good.kpx").substr(0, 60));
  EXPECT_EQ(package_.Open(folder_ / "short.kpx"), none);
  EXPECT_EQ(package_.Save(folder_ / "a.kpx2"),
            "Unable to write archive file. Needs to be .kpx file extension");
  EXPECT_NE(package_.Save(folder_ / "no/folder.kpx"), "");
  EXPECT_EQ(package_.Save(folder_ / "empty.kpx"), "");
  EXPECT_EQ(package_.Open(folder_ / "empty.kpx"), "");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 3) << "nothing left beside";
}

// A quadratic walk takes minutes.
TEST_F(PackageTest, ManyEntriesAreListedInOnePass) {
  TagContainer assets = Container();
  for (int i = 0; i < 100'000; ++i) {
    assets.SetSubContainer(Zef::PString(std::to_string(i)), Container());
  }
  package_.Tags().SetSubContainer("assets", assets);
  ASSERT_EQ(package_.Save(folder_ / "many.kpx"), "");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  ASSERT_EQ(package_.Open(folder_ / "many.kpx"), "");
  std::uint32_t at = 0;
  while (!package_.Get(at).IsEmptyHandle() && std::chrono::steady_clock::now() < end) ++at;
  EXPECT_EQ(at, 100'000u);
  EXPECT_EQ(CheckPackage(package_, {}).size(), kMostPackageProblems);
}

TEST_F(PackageTest, TablesTellWhatIsMissing) {
  EXPECT_EQ(package_.Add(Container()),
            "Unable to add content as it doesnt not contain a valid PLID");
  TagContainer a =
      PackedAsset({1, 1, 0}, {{1, 2, 0}, {9, 9, 0}, {9, 8, 0}}, {{1, 3, 0}, {7, 7, 0}});
  a.SetPLID("obsoletes-plid", {7, 6, 0});
  EXPECT_EQ(package_.Add(a), "");
  EXPECT_EQ(Table(package_.Tags(), "plid-table"), "1:2 9:9 9:8 ");
  EXPECT_EQ(package_.Add(PackedAsset({1, 2, 0}, {{9, 8, 0}, {9, 7, 0}})), "");
  EXPECT_EQ(package_.Add(PackedAsset({1, 3, 0})), "");
  EXPECT_EQ(Table(package_.Tags(), "contents-table"), "1:1 1:2 1:3 ");
  EXPECT_EQ(Table(package_.Tags(), "plid-table"), "9:9 9:8 9:7 ");
  EXPECT_EQ(Table(package_.Tags(), "obsolete-table"), "7:7 7:6 ");
  EXPECT_EQ(package_.Add(PackedAsset({1, 2, 0})),
            "Unable to add content as an item with PLID <plid:1:2> is already present");
  ASSERT_EQ(package_.Save(folder_ / "p.kpx"), "");
  MUKPackage package;
  ASSERT_EQ(package.Open(folder_ / "p.kpx"), "");
  EXPECT_EQ(package.Find({1, 3, 0}), 2);
  EXPECT_EQ(package.Find({1, 4, 0}), -1);
  EXPECT_TRUE(package.Get(3).IsEmptyHandle());
  EXPECT_EQ(package.Remove(3), "Unable to remove specified asset");
  EXPECT_EQ(package.Remove(1), "");
  EXPECT_EQ(package.Find({1, 3, 0}), 1);
  EXPECT_EQ(Table(package.Tags(), "plid-table"), "1:2 9:9 9:8 ");
  EXPECT_EQ(package.Count(), 2u);
  // What an entry is named says nothing, but no entry may displace another.
  TagContainer assets = Container();
  assets.SetSubContainer("<plid:5:5>", PackedAsset({6, 6, 0}));
  package_.Tags().SetSubContainer("assets", assets);
  EXPECT_EQ(package_.Find({6, 6, 0}), 0);
  EXPECT_NE(package_.Add(PackedAsset({5, 5, 0})), "");
  EXPECT_EQ(package_.Count(), 1u);
}

class RunningPackage : public Test::RunningTest {};

TEST_F(RunningPackage, DependenciesAreThoseThatReplaceThem) {
  Start();
  {
    const MUKLock guard(true);
    Database::Get().Index().AddObsoleteRow({9, 9, 0}, {8, 8, 0});
    Database::Get().Index().AddObsoleteRow({9, 8, 0}, {1, 1, 0});
    Database::Get().Index().AddObsoleteRow({1, 2, 0}, {1, 2, 1});
  }
  MUKPackage package;
  ASSERT_EQ(
      package.Add(PackedAsset({1, 1, 0}, {{9, 9, 0}, {8, 8, 0}, {9, 8, 0}, {9, 7, 0}, {1, 2, 0}})),
      "");
  ASSERT_EQ(package.Add(PackedAsset({1, 2, 0}, {{1, 1, 0}})), "");
  EXPECT_EQ(Table(package.Tags(), "plid-table"), "8:8 9:7 ");
  EXPECT_TRUE(CheckPackage(package, {}).empty());
}

std::string Lzss(std::uint32_t length, std::string_view content, std::size_t cut = 0) {
  const CoreRef packed = PackFile(std::as_bytes(std::span(content)), PackageCompression::Lzss);
  std::string bytes(reinterpret_cast<const char*>(packed->Data()), packed->Size() - cut);
  return bytes.replace(0, 4, reinterpret_cast<const char*>(&length), 4);
}

// What a tag claims and what it holds; nothing may be taken on its word.
TEST(PackageFiles, HostilePayloads) {
  const std::string text = "hello hello hello hello";
  const auto unpack = [](const std::string& payload) -> std::string {
    UnpackedFile file;
    const char* const error =
        UnpackFile(std::as_bytes(std::span(payload)), PackageCompression::Lzss, file);
    if (error != nullptr) return error;
    return {reinterpret_cast<const char*>(file.bytes.data()), file.bytes.size()};
  };
  EXPECT_EQ(unpack(Lzss(23, text)), text);
  EXPECT_EQ(unpack("") + unpack(std::string(4, '\0')), "");
  // The last two are matches that begin before the first byte.
  for (const std::string& payload :
       {Lzss(22, text), Lzss(24, text), Lzss(0xFFFFFFFF, text), Lzss(0x80000000, text),
        Lzss(0, text), Lzss(23, text, 10), std::string(3, '\0'), std::string("\1\0\0\0", 4),
        std::string("\3\0\0\0\x11\1\0\0\0\5\0", 11), std::string("\3\0\0\0\x77\1\0\0\0\5\0", 11)}) {
    EXPECT_EQ(unpack(payload), PackageText::kNotUnpacked);
  }
}

class HostilePackage : public PackageTest {
 protected:
  HostilePackage() { Put("outside/mine.txt", "mine"); }
  std::string Extract() {
    TagContainer asset = PackedAsset({1, 1, 1});
    asset.SetSubContainer("files", files_);
    return package_.ExtractFiles(asset, folder_ / "out");
  }
  TagContainer Folder(TagContainer& parent, std::string_view name) const {
    TagContainer below = Container();
    parent.Chunk()->AddTag(Zef::PString(name), below.Chunk());
    return below;
  }

  TagContainer files_ = Container();
};

TEST_F(HostilePackage, NamesThatLeadElsewhereAreSkipped) {
  const std::string theirs = Lzss(6, "theirs");
  for (const char* name : {"../outside/mine.txt", "..", "/outside.txt", "..\\mine.txt", "c:x.txt",
                           ".txt", "a.exe", "config.txt", "CONFIG.Grole", "thumbs.db", "Sub"}) {
    AddBinary(files_, name, theirs);
  }
  TagContainer up = Folder(files_, "..");
  TagContainer outside = Folder(up, "outside");
  AddBinary(outside, "mine.txt", theirs);
  AddBinary(files_, "ok.txt", theirs);
  Folder(files_, "sub");
  EXPECT_EQ(Extract(), "");
  EXPECT_EQ(Read("outside/mine.txt") + Read("out/ok.txt"), "minetheirs");
  EXPECT_EQ(std::distance(fs::recursive_directory_iterator(folder_.Path()), {}), 5);
}

TEST_F(HostilePackage, LinksAndPipesInTheWayAreNotFollowed) {
  const std::string theirs = Lzss(6, "theirs");
  AddBinary(files_, "a.txt", theirs);
  TagContainer sub = Folder(files_, "sub");
  AddBinary(sub, "mine.txt", theirs);
  const fs::path out = folder_ / "out";
  for (int i = 0; i < 4; ++i) {
    fs::create_directories(out);
    if (i == 0) fs::create_symlink("../outside/mine.txt", out / "a.txt");
    if (i == 1) fs::create_directory_symlink("../outside", out / "sub");
    if (i == 2) mkfifo((out / "a.txt").c_str(), 0600);
    if (i == 3) Put("out/sub", "a file");
    EXPECT_EQ(Extract(), PackageText::kNotWritten);
    EXPECT_EQ(Read("outside/mine.txt"), "mine");
    fs::remove_all(out);
  }
  // Another name of a file outside stays what it was.
  fs::create_directories(out);
  fs::create_hard_link(folder_ / "outside/mine.txt", out / "a.txt");
  EXPECT_EQ(Extract(), "");
  EXPECT_EQ(Read("outside/mine.txt") + Read("out/a.txt"), "minetheirs");
}

TEST_F(HostilePackage, TheFirstFaultInOrderIsTold) {
  const std::string good = Lzss(1, "x");
  const char* const expected[] = {PackageText::kUnknownData, PackageText::kNotUnpacked,
                                  PackageText::kNotWritten,  PackageText::kNotWritten,
                                  PackageText::kNotWritten,  PackageText::kUnknownData};
  const auto spoil = [&](std::size_t how, TagContainer files) {
    if (how == 0) files.SetNull("a.txt");
    if (how == 1) AddBinary(files, "a.txt", Lzss(9, "x"));
    if (how == 2) AddBinary(files, "GOOD0.TXT", good);
    if (how == 3) Folder(files, "good0.txt");
    if (how == 4) AddBinary(files, std::string(250, 'n') + ".txt", good);
    for (std::size_t i = 0; how == 5 && i <= kDeepestAssetFolder; ++i) files = Folder(files, "d");
  };
  for (std::size_t first = 0; first < std::size(expected); ++first) {
    files_ = Container();
    for (int i = 0; i < 100; ++i) AddBinary(files_, "good" + std::to_string(i) + ".txt", good);
    spoil(first, files_);
    TagContainer last = Folder(files_, "last");
    AddBinary(last, "good0.txt", good);
    spoil((first + 1) % std::size(expected), last);
    EXPECT_EQ(Extract(), expected[first]);
    fs::remove_all(folder_ / "out");
  }
}

TEST_F(HostilePackage, CheckTellsOfEachFault) {
  ASSERT_EQ(package_.Add(PackedAsset({1, 1, 1}, {{2, 2, 2}})), "");
  ASSERT_EQ(package_.Add(PackedAsset({1, 2, 1})), "");
  TagContainer files = package_.Get(1).GetSubContainer("files");
  AddBinary(files, "ok.txt", Lzss(2, "ok"));
  AddBinary(files, "bad.txt", Lzss(3, "ok"));
  AddBinary(files, "bad.exe", "");
  AddBinary(files, "..", "");
  AddBinary(files, "OK.txt", "");
  files.SetNull("null.txt");
  TagContainer below = Folder(files, std::string(250, 'n'));
  AddBinary(below, "12345.txt", "");
  EXPECT_EQ(MeasurePackageFiles(package_.Get(1), package_.Compression()).bytes, 5u);
  TagContainer& tags = package_.Tags();
  tags.GetSubContainer("plid-table").SetPLID("0", {1, 2, 1});
  tags.GetSubContainer("assets").SetSubContainer("<plid:3:3>", PackedAsset({1, 1, 1}));
  tags.GetSubContainer("assets").SetSubContainer("<plid:4:4>", PackedAsset({5, 5, 0}));
  std::string told;
  for (const PackageProblem& problem : CheckPackage(std::as_const(package_), {})) {
    if (!problem.asset.IsNull()) told += problem.asset.ToDelimited(':') + " ";
    told += problem.path + ": " + problem.what + "\n";
  }
  EXPECT_EQ(told,
            "1:1:1 : it is in the package twice\n"
            "5:5 : its entry is named '<plid:4:4>'\n"
            ": the table 'contents-table' does not agree with the assets\n"
            ": the table 'plid-table' does not agree with the assets\n"
            "1:2:1 bad.exe: a type that an asset may not have\n"
            "1:2:1 ..: a name that an asset may not have\n"
            "1:2:1 OK.txt: a name that an earlier entry has, but for letter case\n"
            "1:2:1 null.txt: neither a file nor a folder\n"
            "1:2:1 " +
                std::string(250, 'n') +
                "/12345.txt: a path that is too long\n"
                "1:2:1 bad.txt: Failed to decompress data. Content package may be damaged\n");
}

}  // namespace
