// Writes a seed corpus for the fuzz targets with the system's own writers.
// Usage: make_seeds FOLDER; makes FOLDER/<target>/ for each.

#include <cstdio>
#include <filesystem>
#include <string>

#include "database/AssetArchiveFile.h"
#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "database/MUKPackage.h"
#include "database/PackageFiles.h"
#include "database/StoredText.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/ArchiveFormat.h"
#include "kernel/standard/File.h"
#include "kernel/standard/LZSSCompress.h"
#include "kernel/standard/PairCoder.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/TBuffer.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/TagContainer.h"
#include "tagdata/TagTextWriter.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

void Put(const fs::path& path, std::span<const std::byte> bytes) {
  WriteWholeFile(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

MUKAsset SampleRecord(int number) {
  MUKAsset record;
  record.id = PLID(1000 + number, number, number % 3);
  record.category = "TR;TV;LOCO";
  record.name = ("Sample " + std::to_string(number)).c_str();
  record.region = "UK";
  record.keywords = "steam;sample";
  record.installPath = "sample";
  record.archiveName = "local";
  record.Set(AssetFlag::BuiltIn, true);
  if (number % 2 == 0) record.userName = "";
  return record;
}

TagContainer SampleTags() {
  TagContainer inner;
  inner.SetInt("number", 7);
  inner.SetPLID("asset", PLID(1, 2, 3));
  TagContainer tags;
  tags.SetString("name", "text");
  tags.SetFloat("length", 1.5F);
  tags.SetNull("nothing");
  tags.SetSubContainer("inner", inner);
  return tags;
}

/// A tag file whose every container holds the next one and a null tag under one key, so that its
/// tree doubles at each level.
Zef::ByteWriter RepeatedKeys(std::uint32_t levels) {
  constexpr std::uint32_t kNullSize = 8;  // "a" with its zero
  const auto head = [](Zef::ByteWriter& out, std::uint32_t payload, std::uint8_t code) {
    out.U32(4 + payload);
    out.U8(2);
    out.Text({"a", 2});
    out.U8(code);
  };
  Zef::ByteWriter file;
  file.Text("HCS$");
  file.U32(1);
  file.U32(0);
  file.U32(levels * 2 * kNullSize);
  for (std::uint32_t below = levels; below-- > 0;) head(file, below * 2 * kNullSize, 0);
  for (std::uint32_t i = 0; i < levels; ++i) head(file, 0, 5);
  return file;
}

void SaveSampleIndex(const std::string& path) {
  MUKAssetIndex index;
  for (int i = 0; i < 3; ++i) index.Add(SampleRecord(i));
  index.AddObsoleteRow(PLID(1, 1, 0), PLID(1, 1, 1));
  IndexCompanions& sides = index.Companions();
  sides.dependencies.Replace(PLID(1000, 0, 0), {PLID(1001, 1, 1)});
  sides.users.entries.emplace_back().profileId = 5;
  sides.configCache.Set(SampleTags());
  sides.archives.Add({.assets = {PLID(1, 1, 1)}});
  sides.station.urlQueue.emplace_back() = "https://host/list";
  static_cast<void>(index.Save(path));
}

/// Both encodings, all classes of values, and blocks in every place.
void PutTexts(const fs::path& folder) {
  std::string written;
  static_cast<void>(AppendTagText(written, SampleTags()));
  const std::string byHand =
      "Name\t\"two\nlines\"\r\nplain a\\nb \xE9 \"c\"\nint -12 \nreal 1.5\nlist 1, 2 .5\n"
      "id <PLID2:5:6:1>\nnone\nempty \"\"\nlarge 1234567.0\nblock\r\n\r\n{ in { x 1\n} y "
      "z}}\nafter 1\n";
  WriteWholeFile(folder / "written", written);
  WriteWholeFile(folder / "by-hand", byHand);
}

/// The same bytes in the compressed form, for readers that detect it.
void Compress(const fs::path& from, const fs::path& to) {
  const std::string bytes = ReadWholeFile(from);
  Zef::File file;
  const auto mode = Zef::FileMode::kWriteCompressed | Zef::FileMode::kCreate;
  if (file.Open(to.c_str(), mode) != Zef::RES_OK) return;
  file.Write(bytes.data(), 1, bytes.size());
  file.Close();
}

class BytesSink : public Zef::ByteSink {
 public:
  bool Write(const void* from, std::uint32_t size) override {
    bytes.Bytes({static_cast<const std::byte*>(from), size});
    return true;
  }
  Zef::ByteWriter bytes;
};

/// One stream a level, of bytes with matches near and far and a run between them.
void PutStreams(const fs::path& folder) {
  std::string content(300, 'a');
  for (int i = 0; i < 3000; ++i) content += static_cast<char>(i * i / 7);
  content += content.substr(100, 900);
  for (std::uint32_t level = 1; level <= 9; ++level) {
    const Zef::Ref<BytesSink> sink(new BytesSink);
    Zef::LZSSCompress coder;
    coder.BeginCompress(sink, level);
    static_cast<void>(coder.Compress(content.data(), content.size()));
    static_cast<void>(coder.EndCompress());
    Put(folder / std::to_string(level), sink->bytes.View());
  }
}

/// With an index and without, with deleted chunks and compressed files, of both versions.
void PutArchives(const fs::path& folder) {
  fs::create_directories(folder);
  for (const std::uint32_t version : {257, 258}) {
    const std::string path = (folder / ("index" + std::to_string(version))).string();
    Zef::ByteWriter head;
    Zef::AppendArchiveHead(head, {version, 0, 0});
    Put(path, head.View());
    Zef::Subst("seed", path.c_str(), true);
    for (const char* name : {"seed:a", "seed:Folder/b.txt", "seed:Folder/Sub/c", "seed:a"}) {
      Zef::File file;
      const auto mode = Zef::FileMode::kCreate |
                        (name[5] == 'a' ? Zef::FileMode::kWrite : Zef::FileMode::kWriteCompressed);
      if (file.Open(name, mode) != Zef::RES_OK) return;
      file.Write(name, 1, 5);
    }
    Zef::Subst("seed", nullptr, false);
    std::string bytes = ReadWholeFile(path);
    bytes.replace(Zef::ArchiveFormat::kInfoOffset + Zef::ArchiveFormat::kIndexOffsetInInfo, 4, 4,
                  0);
    WriteWholeFile(folder / ("walk" + std::to_string(version)), bytes);
  }
}

/// Two assets with files of all kinds, packed and as they are, and a file of such packages.
void PutPackages(const fs::path& folder) {
  fs::create_directories(folder);
  AssetArchiveWriter archive((folder / "archive").string(), 1);
  for (const char* compression : {"LZSS", ""}) {
    MUKPackage package;
    package.Tags().SetString("compression", compression);
    for (int number = 0; number < 2; ++number) {
      const std::string content(static_cast<std::size_t>(number) * 300, 'x');
      const auto bytes = std::as_bytes(std::span(content));
      const CoreRef core = PackFile(bytes, package.Compression());
      TagContainer below;
      below.Ensure();
      below.Chunk()->AddTag(Zef::PString("b.tga"), NewHeapTag(TagBinary, core));
      TagContainer files;
      files.SetSubContainer("sub", below);
      files.Chunk()->AddTag(Zef::PString("a.txt"), NewHeapTag(TagBinary, core));
      TagContainer asset = TagContainer::DeepCopy(SampleTags());
      asset.SetPLID("plid", PLID(1, number, 1));
      asset.SetSubContainer("plid-table", SampleTags());
      asset.SetSubContainer("files", files);
      static_cast<void>(package.Add(asset));
    }
    const std::string path = (folder / (std::string("of") + compression + ".kpx")).string();
    static_cast<void>(package.Save(path));
    static_cast<void>(archive.Append(PLID(1, 1, 1), package.Tags()));
  }
  static_cast<void>(archive.Finish());
}

/// Words of a file: coded and as they are.
void PutCodedBlocks(const fs::path& folder) {
  std::string content;
  for (int i = 0; content.size() < 4000; ++i) content += "word" + std::to_string(i % 7) + " ";
  const auto length = static_cast<std::uint32_t>(content.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  std::string coded(content.size(), '\0');
  Zef::PairCoder coder;
  coded.resize(coder.Encode(reinterpret_cast<std::uint8_t*>(coded.data()), bytes, length));
  WriteWholeFile(folder / "coded", coded);
  WriteWholeFile(folder / "plain", content);
}

/// Records in each file of a set; of the deletions one meets the base index, one is cut short.
void PutSets(const fs::path& folder) {
  Zef::ByteWriter records;
  for (int i = 0; i < 2; ++i) AppendRecord(records, SampleRecord(i));
  Zef::ByteWriter deletions;
  for (int i = 1; i < 4; ++i) PutStoredId(deletions, PLID(1, i, 0));
  deletions.U32(1);
  const struct {
    const char* name;
    std::uint8_t first, second;  // shares of the deletions, and of the additions in the rest
    const Zef::ByteWriter& content;
  } sets[] = {
      {"deletions", 255, 0, deletions}, {"additions", 0, 255, records}, {"changes", 0, 0, records}};
  for (const auto& set : sets) {
    Zef::ByteWriter out;
    out.U8(set.first);
    out.U8(set.second);
    out.Bytes(set.content.View());
    Put(folder / set.name, out.View());
  }
}

/// Every form of an identifier, and names with patterns that match them.
void PutNames(const fs::path& root) {
  const char* const ids[] = {"<PLID:5:6>", "<PLID2:-3:7:127>", " <plid2:12:34:1> ", "12:34",
                             "33554431:2147483647:127"};
  const char* const matches[] = {"a/b.txt\na/*.*", "data:x\\y.TGA\n*.bmp;?.tga",
                                 "/one/../two/./three.x\n../*.", "aaaab\n*a*a*b"};
  int number = 0;
  for (const char* id : ids) WriteWholeFile(root / "FuzzPLID" / std::to_string(number++), id);
  for (const char* match : matches) {
    WriteWholeFile(root / "FuzzWildcard" / std::to_string(number++), match);
  }
}

/// Every token and form of a configuration text.
constexpr std::string_view kConfigText =
    "version 1.0 # header\n/* nodes */ 5; a = ; b = 0x1F;; c { d = 1.5, -2, x; e : raw \\; text;\n"
    "f = kind, { g = (1, 2e3, -1.#INF); } h = \"a\\n\\\"b\" c; i = ``00 fF /* */;";
constexpr std::string_view kSwitchText = "-a=1 +a='2 3' /b c- d = e f\n--g=\"h' +=i -flag";

/// Every row of a catalogue, with groups in groups and rows that are left out.
constexpr std::string_view kCatalogue =
    "+PluginGroup=A:00000001-0000-0000-0000-000000000000\n"
    "+PluginGroup=B:00000002-0000-0000-0000-000000000000:00000001-0000-0000-0000-000000000000\n"
    "+Plugin=lib.dll:x:00000003-0000-0000-0000-000000000000:"
    "00000002-0000-0000-0000-000000000000,*:y:00000004-0000-0000-0000-000000000000,z:z\n"
    "+PluginRemap=00000005-0000-0000-0000-000000000000:00000003-0000-0000-0000-000000000000";

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  const fs::path root = argv[1];
  fs::create_directories(root / "FuzzIndex");
  const fs::path index = root / "FuzzIndex" / "plain";
  SaveSampleIndex(index.string());
  Compress(index, root / "FuzzIndex" / "compressed");
  const std::string file = ReadWholeFile(root / "FuzzIndex" / "compressed");
  for (const char mode : {'\0', '\1', '\2'}) {
    // Four places to seek to, one behind the end.
    const std::string preface = std::string(1, mode) + std::string("\0\7\0\xC8\1\2\x7F\xFF", 8);
    WriteWholeFile(root / "FuzzFile" / std::to_string(mode), preface + file);
  }
  Zef::ByteWriter record;
  AppendRecord(record, SampleRecord(2));
  Put(root / "FuzzRecord" / "whole", record.View());
  PutSets(root / "FuzzPatch");
  PutNames(root);
  PutCodedBlocks(root / "FuzzPairCoder");
  PutStreams(root / "FuzzLzss");

  Zef::TBuffer tags;
  static_cast<void>(WriteBinaryTags(tags, SampleTags()));
  Put(root / "FuzzTagFile" / "tags", tags.View());
  Put(root / "FuzzTagFile" / "repeats", RepeatedKeys(25).View());
  PutTexts(root / "FuzzTagText");

  WriteWholeFile(root / "FuzzConfig" / "tree", kConfigText);
  WriteWholeFile(root / "FuzzConfig" / "switches", kSwitchText);
  WriteWholeFile(root / "FuzzCatalogue" / "rows", kCatalogue);
  PutArchives(root / "FuzzArchive");
  PutPackages(root / "FuzzPackage");
  return 0;
}
