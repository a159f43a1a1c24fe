#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <csignal>
#include <filesystem>

#include "database/IndexScan.h"
#include "tests/database/IndexFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

namespace {

using Test::Asset;
using Test::ChildProcess;
using Test::Hex;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::Text;
using Test::Word;
using Test::WriteWholeFile;

const std::string kNullId = Hex("FFFFFFFF FFFFFFFF");

/// An index file by its parts; the texts are what an index of nothing has.
struct Parts {
  std::string records = Word(0);
  std::string obsolete = Word(0) + kNullId;
  std::string dependencies = Word(0) + Word(0);
  std::string users = Word(0) + Word(0);
  std::string configs = "HCS$" + Word(1) + Word(0) + Word(0);
  std::string archives = Word(0) + Word(0);
  std::string station = Word(1) + Word(0) + Hex("0000000000000000") + Word(0);
  std::string closing = Word(0) + Word(1) + Word(0);

  std::string Judged() const {
    return records + obsolete + dependencies + users + configs + archives;
  }
  std::string File() const {
    const std::string body = Judged() + station + closing;
    return Hex("DBA2EBCE 13000000") + Word(12 + body.size()) + body;
  }
};

/// Two records under one identifier and something in every table.
Parts FullParts() {
  const std::string id = Hex("07000000 05000006");  // user 5, content 7, version 3
  const std::string noFlags = std::string(17, '\0');
  Parts parts;
  parts.records = Word(2);
  parts.records += id + Text("TR;LOCO") + Text("Engine") + Text("") + Word(0) + Text("steam;big");
  parts.records += Text("editing/e") + Text("i") + Text("local") + Text("trains/old");
  parts.records += Hex("08000000 05000000");  // the map
  parts.records += Hex("01 00 01 00 01 00 01 00  00 01 00 01 00 01 00 01  00");
  parts.records += Word(4096) + Hex("00003040") + Hex("FA") + Hex("0102030405060708");
  parts.records += Hex("1112131415161718") + Text("long") + Text("Mine");
  parts.records += id + Word(0) + Text("second") + Word(0) + Word(0) + Word(0) + Word(0) + Word(0);
  parts.records += Word(0) + Word(0) + kNullId + noFlags + Word(0xFFFFFFFF) + Word(0) + Hex("FF");
  parts.records += std::string(16, '\0') + Word(0) + Text("");
  // Replacement and old, by the hash of old: 197, 228, 231 modulo 97.
  parts.obsolete = Word(0) + id + Hex("06000000 05000000") + id + Hex("07000000 05000002") + id +
                   Hex("07000000 05000004") + kNullId;
  parts.dependencies = Word(0) + Word(1) + id + Hex("06000000 05000000");
  parts.users = Word(0) + Word(1) + Text("Ann") + Word(9) + Word(5);
  parts.configs = "HCS$" + Word(1) + Word(0) + Word(10) + Word(6) + Hex("02 6B00 03") + "v" + '\0';
  parts.archives = Word(0) + Word(1) + Word(1) + Hex("07") + Word(2) + Text("a/b.ja") + Text("b") +
                   Word(3) + Word(1) + id + "eNIA";
  parts.station = Word(1) + Text("stamp") + Hex("0500000000000000") + Word(1) + Text("http://x/");
  parts.closing = Word(0) + Word(0x12345678) + Hex("0100C07F");
  return parts;
}

class IndexFile : public testing::Test {
 protected:
  bool Load(const std::string& bytes) {
    WriteWholeFile(path_, bytes);
    return index_.Load(path_, &report_);
  }
  std::string Saved() {
    EXPECT_TRUE(index_.Save(path_));
    return ReadWholeFile(path_);
  }

  TempFolder folder_;
  std::string path_ = folder_ / "assets.mkx";
  MUKAssetIndex index_;
  IndexLoadReport report_;
};

TEST_F(IndexFile, HoldsTheseBytes) {
  EXPECT_EQ(Saved(), Parts().File());
  EXPECT_EQ(Parts().File().size(), 100u);

  Parts parts;
  parts.records = Word(1) + kNullId + std::string(36, '\0') + kNullId +
                  Hex("0001000000010000 0000000000000101 01") + Word(0xFFFFFFFF) + Word(0) +
                  Hex("FF") + std::string(24, '\0');
  index_.Add(MUKAsset());
  EXPECT_EQ(Saved(), parts.File());
  EXPECT_EQ(parts.File().size(), 202u);
}

TEST_F(IndexFile, LoadsEveryFieldAndSavesTheSameBytes) {
  const std::string bytes = FullParts().File();
  ASSERT_TRUE(Load(bytes));
  EXPECT_EQ(report_.recordCount, 2u);
  const PLID id(5, 7, 3);
  const MUKAsset& first = *index_.Find(id);
  std::string texts;
  for (const AssetText* text :
       {&first.category, &first.name, &first.keywords, &first.editPath, &first.installPath,
        &first.archiveName, &first.legacyPath, &first.description, &first.userName}) {
    texts += text->String() + ' ';
  }
  EXPECT_EQ(texts, "TR;LOCO Engine steam;big editing/e i local trains/old long Mine ");
  EXPECT_TRUE(first.region.HasStorage());
  EXPECT_FALSE(first.era.HasStorage());
  EXPECT_EQ(first.mapId, PLID(5, 8, 0));
  EXPECT_TRUE(first.Has(AssetFlag::Marked) && first.Has(AssetFlag::Faulty));
  EXPECT_FALSE(first.Has(AssetFlag::Enabled) || first.Has(AssetFlag::PermitListing));
  EXPECT_EQ(first.sizeBytes, 4096u);
  EXPECT_EQ(first.build, 2.75f);
  EXPECT_EQ(first.rating, 0xFA);
  EXPECT_EQ(first.uploadTime, 0x0807060504030201u);
  EXPECT_EQ(first.modifyTime, 0x1817161514131211u);
  EXPECT_EQ(index_.Resolve({5, 7, 1}), id);
  const IndexCompanions& sides = index_.Companions();
  EXPECT_EQ(sides.dependencies.Pairs().at(0).dependency, PLID(5, 6, 0));
  EXPECT_EQ(sides.users.entries.at(0).name, "Ann");
  EXPECT_STREQ(sides.configCache.Tags().GetText("k").Text(), "v");
  EXPECT_TRUE(sides.archives.Contains(id));
  EXPECT_EQ(sides.station.urlQueue.at(0), "http://x/");
  EXPECT_EQ(sides.storedValue, 0x12345678u);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(sides.storedFloat), 0x7FC00001u);

  EXPECT_EQ(Saved(), bytes);
  ASSERT_TRUE(index_.Load(path_, nullptr, {.keepConfigCache = false}));
  EXPECT_EQ(index_.Count(), 2u) << "the tables behind a config cache that was moved past";
}

TEST_F(IndexFile, RefusesDamageAndSaysWhere) {
  using enum IndexDamage;
  const struct {
    std::string Parts::*part;
    IndexDamage damage;
    const char* bytes;
  } cases[] = {
      {&Parts::records, Records, "05000000"},
      {&Parts::obsolete, Obsolete,  // a circle
       "00000000 0100000000000000 0200000000000000 0200000000000000 0100000000000000"},
      {&Parts::dependencies, Dependencies, "01000000 00000000"},
      {&Parts::dependencies, Dependencies, "00000000 00000010"},
      {&Parts::dependencies, Dependencies, "00000000 01000000 0100000000000000 FFFFFFFFFFFFFFFF"},
      {&Parts::users, UserNames, "00000000 01000000 020000005800 FFFFFFFF 01000000"},
      {&Parts::users, UserNames, "00000000 01000000 0100000000 01000000 FFFFFFFF"},
      {&Parts::configs, ConfigCache, "48435324 01000000 00000000 FFFFFF7F"},
      {&Parts::archives, Archives,  // its version, its tail, an asset that is null
       "00000000 01000000 02000000 00 0100000000000000000000000000000000000000 654E4941"},
      {&Parts::archives, Archives,
       "00000000 01000000 01000000 00 0100000000000000000000000000000000000000 654E4942"},
      {&Parts::archives, Archives,
       "00000000 01000000 01000000 00 01000000000000000000000000000000 01000000 FFFFFFFFFFFFFFFF"},
  };
  for (const auto& c : cases) {
    Parts parts;
    parts.*c.part = Hex(c.bytes);
    EXPECT_FALSE(Load(parts.File())) << c.bytes;
    EXPECT_EQ(report_.damage, c.damage) << c.bytes << ": " << IndexDamageText(report_.damage);
    EXPECT_EQ(index_.Count(), 0u);
  }

  for (const auto& [damage, bytes] : {std::pair(BadMagic, "DCA2EBCE 13000000 64000000"),
                                      {BadVersion, "DBA2EBCE 12000000 64000000"},
                                      {BadLength, "DBA2EBCE 13000000 65000000"},
                                      {BadLength, "DBA2EBCE 13000000 EBCEEDFE"}}) {
    EXPECT_FALSE(Load(Parts().File().replace(0, 12, Hex(bytes))));
    EXPECT_EQ(report_.damage, damage) << IndexDamageText(report_.damage);
  }
  EXPECT_FALSE(index_.Load(folder_ / "none", &report_));
  EXPECT_EQ(report_.damage, CannotOpen);
}

// Nothing is allocated for records that a file only counts.
TEST_F(IndexFile, ACompressedFileMayPromiseMoreThanItHolds) {
  Zef::File file;
  ASSERT_EQ(file.Open(path_.c_str(), Zef::FileMode::kWriteCompressed | Zef::FileMode::kCreate),
            Zef::RES_OK);
  std::string bytes = Hex("DBA2EBCE 13000000 FFFFFF7F 00004001");
  bytes.resize(3u << 20);
  file.Write(bytes.data(), 1, bytes.size());
  file.Close();
  WriteWholeFile(path_, ReadWholeFile(path_).replace(8, 4, Hex("FFFFFF7F")));
  IndexScan scan;
  ASSERT_TRUE(scan.Open(path_));
  EXPECT_LE(scan.CountToReserve(), bytes.size() / kSmallestRecord);
}

// Cut with a length that agrees, or with a word at its extreme or a byte turned round.
TEST_F(IndexFile, DamageAnywhereStaysInItsBounds) {
  const std::string whole = FullParts().File();
  const std::size_t judged = 12 + FullParts().Judged().size();
  std::size_t refused = 0;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string cut = whole.substr(0, at);
    if (at >= 12) cut.replace(8, 4, Word(at));
    EXPECT_EQ(Load(cut), at >= judged) << at;
    EXPECT_EQ(index_.Count(), at >= judged ? 2u : 0u) << at;

    std::string changed = whole;
    changed.replace(at, 4, Word(at % 2 == 0 ? 0xFFFFFFFF : 0x10000), 0, whole.size() - at);
    std::string turned = whole;
    turned[at] = static_cast<char>(~turned[at]);
    for (const std::string& bytes : {changed, turned}) refused += Load(bytes) ? 0 : 1;
  }
  EXPECT_GT(refused, whole.size() / 2);
}

TEST_F(IndexFile, FailedSaveKeepsTheOldFile) {
  const std::string old = FullParts().File();
  WriteWholeFile(path_, old);
  for (int i = 0; i < 1000; ++i) index_.Add(Asset({1, i, 0}, "some asset of some length"));

  std::filesystem::create_directory(path_ + ".saving");
  EXPECT_FALSE(index_.Save(path_)) << "a folder is in the way";
  std::filesystem::remove(path_ + ".saving");
  std::filesystem::permissions(path_, std::filesystem::perms::owner_read);
  EXPECT_FALSE(index_.Save(path_)) << "the old file is read-only";
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  const ChildProcess full([this] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit room{20000, 20000};
    setrlimit(RLIMIT_FSIZE, &room);
    return index_.Save(path_) ? 1 : 0;
  });
  EXPECT_EQ(full.AwaitEnd(), 0) << "the device is full";
  EXPECT_EQ(ReadWholeFile(path_), old);
  EXPECT_FALSE(std::filesystem::exists(path_ + ".saving"));
  EXPECT_TRUE(index_.Save(path_));
  EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms::owner_all)
      << "as the old file's";

  if (geteuid() != 0) return;
  WriteWholeFile(path_ + ".saving", "of another user's save that was killed");
  const ChildProcess owner([this] {
    for (const std::string& mine : {folder_.Path().string(), path_}) chown(mine.c_str(), 65534, 0);
    return setuid(65534) == 0 && index_.Save(path_) ? 1 : 0;
  });
  EXPECT_EQ(owner.AwaitEnd(), 1);
}

}  // namespace
