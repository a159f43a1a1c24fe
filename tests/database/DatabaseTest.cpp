#include <vector>

#include "database/ContentServices.h"
#include "kernel/standard/Trace.h"
#include "tests/database/RunningFixture.h"

namespace {

namespace fs = std::filesystem;

using Test::AddRecord;
using Test::Asset;
using Test::Eventually;
using Test::ReadWholeFile;
using Test::RunningNames;
using Test::WriteIndex;
using Test::WriteWholeFile;

std::string traced;

class DatabaseTest : public Test::RunningTest {
 protected:
  DatabaseTest() {
    traced.clear();
    Zef::SetTraceSink([](const char* line) { traced += line; });
  }
  ~DatabaseTest() override {
    MUKShutdown();
    Zef::SetTraceSink(nullptr);
  }
};

TEST_F(DatabaseTest, WritesWhatWasLeftAloneForTenSeconds) {
  EXPECT_EQ(Start(), "");
  AddRecord({1, 1, 0}, "one");
  EXPECT_EQ(Files(), "");
  clock_.Advance(10);
  MUKIdle();
  EXPECT_TRUE(Database::Get().IsDirty());
  clock_.Advance(5);
  EXPECT_TRUE(MUKFind({1, 1, 0}));  // in use: the ten seconds begin again
  clock_.Advance(10);
  MUKIdle();
  EXPECT_TRUE(Database::Get().IsDirty());
  ASSERT_TRUE(WriteByIdle());
  EXPECT_TRUE(MUKFind({1, 1, 0}));
  EXPECT_FALSE(Database::Get().IsDirty());
  MUKShutdown();
  EXPECT_EQ(Files(), "m");
  EXPECT_EQ(Stored(kMain), "one ");
  EXPECT_EQ(RunningNames(), "not running");
}

TEST_F(DatabaseTest, MovesTheFileAwayOnceAtTheFirstChange) {
  WriteIndex(folder_ / kMain, "a");
  EXPECT_EQ(Start(), "a ");
  EXPECT_EQ(Files(), "b") << "a load leaves the database changed";
  WriteWholeFile(folder_ / kTemporary, "left alone");
  AddRecord({2, 1, 0}, "b");
  EXPECT_EQ(Files(), "tb");
  ASSERT_TRUE(WriteByIdle());
  ASSERT_TRUE(Eventually([&] { return Files() == "mb"; }));
  AddRecord({2, 2, 0}, "c");
  EXPECT_EQ(Files(), "b");
  EXPECT_EQ(Stored(kBackup), "a b ") << "the previous database, not the one before";
}

TEST_F(DatabaseTest, StartsFromWhateverIsWhole) {
  const struct {
    const char* files[3];  // database, temporary, backup: letters of records, null for damaged
    bool repair, archivesOnly;
    const char* expected;
    const char* expectedFiles;
  } cases[] = {
      {{"m", "t", "b"}, true, false, "m ", "b"},
      {{"-", "t", "b"}, true, false, "t ", "mb"},
      {{"-", "-", "b"}, true, false, "b ", "mb"},
      {{nullptr, "t", "b"}, true, false, "t ", "mb"},
      {{nullptr, nullptr, "b"}, true, false, "b ", "mb"},
      {{"-", "t", nullptr}, true, false, "t ", "mb"},
      {{nullptr, nullptr, nullptr}, true, false, "", "mtb"},
      {{"-", "t", "b"}, false, false, "", "tb"},
      {{"-", "t", "b"}, true, true, "", "tb"},
  };
  const char* const names[] = {kMain, kTemporary, kBackup};
  for (const auto& c : cases) {
    fs::remove_all(folder_ / "cache");
    fs::remove(folder_ / kMain);
    for (int i = 0; i < 3; ++i) {
      if (c.files[i] == nullptr) {
        WriteWholeFile(folder_ / names[i], "damaged");
      } else if (*c.files[i] != '-') {
        WriteIndex(folder_ / names[i], c.files[i]);
      }
    }
    settings_.allowRepair = c.repair;
    settings_.archivesOnly = c.archivesOnly;
    EXPECT_EQ(Start(), c.expected) << &c - cases;
    EXPECT_EQ(Files(), c.expectedFiles) << &c - cases;
    if (*c.expected == 't') {
      EXPECT_EQ(Stored(kBackup), "t ") << "the file that was found becomes the backup";
    }
    MUKShutdown();
    if (c.repair) {
      EXPECT_EQ(Stored(kMain), c.expected) << &c - cases;
    }
  }
}

TEST_F(DatabaseTest, TriesAgainWhenAWriteFails) {
  WriteIndex(folder_ / kMain, "a");
  Start();
  AddRecord({2, 1, 0}, "b");
  fs::create_directories(folder_ / "cache/assets.mkx/in the way");
  clock_.Advance(11);
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_TRUE(Database::Get().IsDirty());
  EXPECT_EQ(Stored(kBackup), "a ") << "nothing was given up for a save that failed";
  EXPECT_EQ(traced, "");
  fs::remove_all(folder_ / kTemporary);

  fs::create_directories(folder_ / "assets.mkx/in the way");
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_EQ(traced, "MUKThread_WriteDatabaseLocal> Unlink(\"" + (folder_ / kMain) +
                        "\") failed\nMUKThread_WriteDatabaseLocal> Rename(\"" +
                        (folder_ / kTemporary) + "\", \"" + (folder_ / kMain) + "\") failed\n");
  EXPECT_TRUE(Database::Get().IsDirty());
  EXPECT_EQ(Stored(kTemporary), "a b ");
  AddRecord({2, 2, 0}, "c");
  EXPECT_EQ(Stored(kTemporary), "a b ") << "a change deletes nothing that is needed";
  fs::remove_all(folder_ / kMain);
  ASSERT_TRUE(WriteByIdle());
  MUKShutdown();
  EXPECT_EQ(Stored(kMain), "a b c ");
}

TEST_F(DatabaseTest, KeepsAChangeThatComesDuringAWrite) {
  settings_.stepObserver = [](const char* step) {
    if (std::string_view(step) == "write: saved") Database::Get().MarkChanged(kChangeGeneral);
  };
  Start();
  AddRecord({1, 1, 0}, "one");
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_TRUE(Database::Get().IsDirty());
  EXPECT_EQ(Files(), "b") << "the backup step of that change comes behind the write";
  EXPECT_EQ(Stored(kBackup), "one ");
  EXPECT_EQ(traced,
            "MUKInternalWriteDatabase> asset cache marked changed during write operation\n");
}

TEST_F(DatabaseTest, TouchesNoFileWithoutARootAndKeepsARelativeOne) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  WriteIndex(folder_ / kMain, "a");
  WriteIndex(folder_ / "product/Assets.MKX", "p");
  fs::create_directories(folder_ / "editing/empty");
  const std::string bytes = ReadWholeFile(folder_ / kMain);

  settings_.productRoot = "";
  EXPECT_EQ(Start(), "");
  AddRecord({1, 1, 0}, "one");
  EXPECT_TRUE(WriteByIdle());
  EXPECT_EQ(RunningNames(), "one ");
  MUKShutdown();
  EXPECT_EQ(Files(), "m");
  EXPECT_EQ(ReadWholeFile(folder_ / kMain), bytes);
  EXPECT_TRUE(fs::exists(folder_ / "editing/empty"));

  settings_.productRoot = "product";
  fs::create_directories(folder_ / "product/editing/empty");
  fs::create_directories(folder_ / "product/editing/full/empty");
  MUKInitialise(settings_);
  fs::current_path(before);
  EXPECT_EQ(RunningNames(), "p ") << "whatever the letter case";
  MUKShutdown();
  EXPECT_TRUE(fs::exists(folder_ / "product/assets.mkx"));
  EXPECT_FALSE(fs::exists(folder_ / "product/editing/empty"));
  EXPECT_TRUE(fs::exists(folder_ / "product/editing/full/empty"));
}

TEST_F(DatabaseTest, TellsTheHostOfChangesWhenNobodyHoldsTheDatabase) {
  std::string told;
  settings_.change = [&](std::uint32_t mask) { told += std::to_string(mask); };
  Start();
  told.clear();  // of the rebuild
  AddRecord({1, 1, 0}, "one");
  EXPECT_EQ(told, "1");
  {
    const MUKLock outer(true);
    MUKSetSizeBytes({1, 1, 0}, 5);
    MUKIdle();
    EXPECT_EQ(told, "1");
  }
  EXPECT_EQ(told, "13");
  MUKSetSizeBytes({1, 1, 0}, 5);
  MUKSetMarked({1, 1, 0}, true);
  EXPECT_TRUE(MUKFind({1, 1, 0}));
  EXPECT_EQ(told, "13");
}

TEST_F(DatabaseTest, IdleDoesNothingUnderAGuard) {
  Start();
  AddRecord({1, 1, 0}, "one");
  clock_.Advance(60);
  const MUKLock guard(false);
  ASSERT_TRUE(guard.IsHeld());
  EXPECT_FALSE(guard.IsExclusive());
  MUKIdle();
  EXPECT_EQ(Files(), "");
  EXPECT_TRUE(MUKLock(true, true).IsHeld()) << "the same thread may take more";
  bool other = true;
  std::thread([&] { other = MUKLock(true, true).IsHeld(); }).join();
  EXPECT_FALSE(other);
}

TEST_F(DatabaseTest, AccessorsReadAndChangeOneField) {
  const PLID none(9, 9, 9);
  const PLID id(1, 1, 3);
  EXPECT_EQ(MUKGetRating(id), -1);
  WriteIndex(folder_ / kMain, "a");
  Start();
  AddRecord(id, "Old Name");
  EXPECT_EQ(MUKGetName(none) + MUKGetSearchText(none), "");
  EXPECT_FALSE(MUKGetEnabled(none) || MUKGetInArchive(none) || MUKSetEnabled(none, true));
  EXPECT_EQ(MUKGetRating(none), -1);
  EXPECT_EQ(MUKGetRating(id), 255);

  ASSERT_TRUE(WriteByIdle());
  const auto dirtied = [](bool done) {
    const bool dirty = Database::Get().IsDirty();
    const MUKLock guard(true);
    if (dirty) MUKInternalWriteDatabase();
    return done && dirty;
  };
  EXPECT_EQ(MUKGetSearchText(id), "old;name");
  EXPECT_TRUE(dirtied(MUKSetUserName(id, "Mine")));
  EXPECT_EQ(MUKGetSearchText(id), "mine");
  EXPECT_FALSE(dirtied(MUKSetUserName(id, "Mine")));
  EXPECT_TRUE(dirtied(MUKSetRating(id, 5)));
  EXPECT_FALSE(MUKSetRating(id, 6));
  EXPECT_EQ(MUKGetRating(id), 5);
  EXPECT_TRUE(dirtied(MUKSetEnabled(id, false)));
  EXPECT_FALSE(dirtied(MUKSetMarked(id, true)));
  EXPECT_TRUE(MUKGetMarked(id));

  ArchiveList::Archive archive;
  archive.assets = {id};
  {
    const MUKLock guard(true);
    Database::Get().Index().Companions().archives.Add(std::move(archive));
    Database::Get().Index().Find(id)->Set(AssetFlag::InArchiveKnown, false);
  }
  EXPECT_TRUE(dirtied(MUKGetInArchive(id))) << "the first reader asks the archives";
  EXPECT_FALSE(dirtied(MUKGetInArchive(id)));

  MUKAsset offered = Asset(id);
  offered.installPath = "i";
  EXPECT_TRUE(dirtied(MUKMerge(offered)));
  EXPECT_EQ(MUKGetInstallPath(id), "i");
  EXPECT_EQ(MUKCreateNew({5, 5, 0}), PLID(5, 5, 0));
  EXPECT_TRUE(MUKCreateNew({5, 5, 0}).IsNull() && MUKCreateNew(PLID()).IsNull());
  MUKAsset copy;
  ASSERT_TRUE(MUKFind(id, &copy));
  MUKShutdown();
  EXPECT_EQ(copy.userName, "Mine") << "a copy outlives the database";
}

/// Writes down what the database asks for.
class Recorder final : public ContentServices {
 public:
  void LoadBaseId(const MUKSettings& settings) override { Note("base " + settings.productRoot); }
  void RefreshBaseId() override { Note("refresh"); }
  PLID NextLocalId(const MUKAssetIndex&) override { return {3, 3, 0}; }
  void Verify(MUKAssetIndex&, MUKAsset& record) override { Note("verify " + record.name.String()); }
  void Scan(ContentArea area, MUKAssetIndex& index, const MUKSettings&) override {
    const char* const names[] = {"world", "trains", "local", "editing"};
    Note(names[static_cast<int>(area)]);
    if (area != ContentArea::Local) return;
    index.Add(Asset({4, 4, 0}, "found"));
    EXPECT_TRUE(MUKFind({4, 4, 0})) << "guards inside are free";
  }
  std::vector<PLID> ReadObsoleteList(const MUKAsset&) override { return {}; }
  void IdleTurn(bool enableStation) override { Note(enableStation ? "station" : "idle"); }

  std::string Taken() { return std::exchange(notes_, ""); }

 private:
  void Note(const std::string& what) { notes_ += what + ';'; }
  std::string notes_;
};

TEST_F(DatabaseTest, AsksTheContentServicesInOrder) {
  Recorder recorder;
  settings_.services = &recorder;
  EXPECT_EQ(Start(), "found ");
  EXPECT_EQ(recorder.Taken(), "base " + settings_.productRoot + ";world;trains;local;editing;");
  MUKIdle();
  EXPECT_EQ(recorder.Taken(), "station;");
  EXPECT_EQ(MUKCreateNew(PLID()), PLID(3, 3, 0));
  {
    const MUKLock guard(true);
    Database::Get().Index().Find({4, 4, 0})->editPath = "editing/found";
  }
  MUKShutdown();
  EXPECT_EQ(recorder.Taken(), "refresh;");

  fs::create_directories(folder_ / "cache");
  fs::rename(folder_ / kMain, folder_ / kBackup);
  EXPECT_EQ(Start(), "found New Asset found ");
  MUKShutdown();
  EXPECT_EQ(recorder.Taken(),
            "base " + settings_.productRoot + ";verify found;local;editing;refresh;");

  fs::remove(folder_ / kMain);
  settings_.archivesOnly = true;
  EXPECT_EQ(Start(), "");
  EXPECT_EQ(recorder.Taken(), "base " + settings_.productRoot + ";world;trains;");
}

}  // namespace
