#include "database/AssetArchiveFile.h"

#include "tests/database/IndexFixture.h"
#include "tests/database/PackageFixture.h"

namespace {

namespace fs = std::filesystem;

using Test::PackedAsset;
using Test::Word;
using Status = AssetArchiveStatus;

class AssetArchive : public Test::PackageTest {
 protected:
  static constexpr std::uint32_t kId = 77;
  static constexpr std::size_t kFirst = 16;  ///< where the entries begin

  AssetArchive() : path_(folder_ / "assets.crk") {
    AssetArchiveWriter writer(path_, kId);
    for (int i = 0; i < 3; ++i) {
      MUKPackage package;
      EXPECT_EQ(package.Add(PackedAsset({1, i, 2})), "");
      EXPECT_TRUE(writer.Append({1, i, 2}, package.Tags()));
    }
    EXPECT_FALSE(fs::exists(path_)) << "not before it is whole";
    EXPECT_TRUE(writer.Finish());
    bytes_ = Read("assets.crk");
  }
  /// "status entries" of the bytes with some replaced.
  std::string Opened(std::size_t place, const std::string& by, std::uint32_t id = kId) {
    Put("spoilt", std::string(bytes_).replace(place, by.size(), by));
    AssetArchiveReader reader;
    const Status status = reader.Open(folder_ / "spoilt", id);
    return std::to_string(static_cast<int>(status)) + " " + std::to_string(reader.Entries().size());
  }

  const std::string path_;
  std::string bytes_;
};

TEST_F(AssetArchive, AWriterThatFailsLeavesWhatWasThere) {
  {
    AssetArchiveWriter writer(path_, 1);
    EXPECT_FALSE(writer.Append(PLID(), package_.Tags()));
    EXPECT_FALSE(writer.Append({1, 1, 1}, package_.Tags()));
    EXPECT_FALSE(writer.Finish());
    AssetArchiveWriter dropped(path_, 1);
    EXPECT_TRUE(dropped.Append({1, 1, 1}, package_.Tags()));
  }
  EXPECT_EQ(Read("assets.crk"), bytes_);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 1);
  EXPECT_FALSE(AssetArchiveWriter(folder_ / "no/folder", 1).IsOpen());
}

// No place may lead back, to itself, or out of the file; what stands before it can be read.
TEST_F(AssetArchive, DamageStopsTheList) {
  const std::size_t end = bytes_.size() - 8;
  const std::size_t entry = (end - kFirst) / 3;
  const std::size_t second = kFirst + entry;
  const std::size_t third = second + entry;
  const std::string ok = std::to_string(static_cast<int>(Status::Ok)) + " ";
  const std::string damaged = std::to_string(static_cast<int>(Status::Damaged)) + " ";
  const std::string none = std::to_string(static_cast<int>(Status::NoArchive)) + " 0";
  const struct {
    std::size_t place;
    std::string by, opened;
  } cases[] = {
      {0, "CRAK", none},
      {4, Word(1), none},
      {8, Word(0), damaged + "0"},
      {8, Word(bytes_.size() + 1), damaged + "0"},
      {second + 8, Word(kFirst), damaged + "1"},
      {second + 8, Word(second + 13), damaged + "1"},
      {second + 8, Word(end + 1), damaged + "1"},
      {second + 8, Word(end), ok + "2"},
      {third + 12 + 12, Word(end - third - 12 - 16 + 1), damaged + "2"},
      {third + 12 + 12, Word(0xFFFFFFFF), damaged + "2"},
      {second, std::string(8, '\xFF'), damaged + "1"},
      {end, std::string(8, '\0'), damaged + "3"},
  };
  for (const auto& c : cases) EXPECT_EQ(Opened(c.place, c.by), c.opened) << c.place;
  EXPECT_EQ(Opened(0, "", kId + 1), std::to_string(static_cast<int>(Status::OtherId)) + " 0");
  for (std::size_t size = 0; size < bytes_.size(); size += 7) {
    Put("cut", bytes_.substr(0, size));
    AssetArchiveReader reader;
    EXPECT_NE(reader.Open(folder_ / "cut", kId), Status::Ok) << size;
  }
  // What stands behind a package is no part of it.
  Put("spoilt", std::string(bytes_).replace(second + 8, 4, Word(end)));
  AssetArchiveReader reader;
  ASSERT_EQ(reader.Open(folder_ / "spoilt", kId), Status::Ok);
  EXPECT_EQ(reader.Entries()[1].size, entry - 12);
  EXPECT_EQ(reader.Entries()[1].id, PLID(1, 1, 2));
  EXPECT_EQ(reader.OpenPackage(reader.Entries()[1], package_), "");
  EXPECT_EQ(package_.Find({1, 1, 2}), 0);
  EXPECT_EQ(reader.Open(folder_ / "none", kId), Status::NoFile);
  EXPECT_TRUE(reader.Entries().empty());
}

}  // namespace
