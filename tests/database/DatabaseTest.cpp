#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "database/AssetEdit.h"
#include "database/ContentServices.h"
#include "database/StagingSlot.h"
#include "environment/ResultsLog.h"
#include "kernel/standard/File.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"
#include "tests/database/RunningFixture.h"

namespace {

namespace fs = std::filesystem;

using Test::AddRecord;
using Test::Asset;
using Test::Eventually;
using Test::RunningNames;
using Test::WriteWholeFile;

std::string traced;

class DatabaseTest : public Test::RunningTest {
 protected:
  DatabaseTest() {
    traced.clear();
    Zef::SetTraceSink([](const char* line) { traced += line; });
  }
};

TEST_F(DatabaseTest, WritesWhatWasLeftAloneForTenSeconds) {
  EXPECT_EQ(Start(), "");
  AddRecord({1, 1, 0}, "one");
  EXPECT_EQ(Files(), "");
  clock_.Advance(10);
  EXPECT_FALSE(IdleWrites());
  clock_.Advance(5);
  EXPECT_TRUE(MUKFind({1, 1, 0}));  // in use: the ten seconds begin again
  clock_.Advance(10);
  EXPECT_FALSE(IdleWrites());
  ASSERT_TRUE(WriteByIdle());
  MUKShutdown();
  EXPECT_EQ(Files(), "m");
  MUKInternalWriteDatabase();
  EXPECT_EQ(Stored(kMain), "one ");
  EXPECT_EQ(RunningNames(), "not running");
}

TEST_F(DatabaseTest, MovesTheFileAwayOnceAtTheFirstChange) {
  Lay(kMain, "a");
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
    const char *main, *temporary, *backup;
    bool repair, archivesOnly;
    const char *expected, *expectedFiles;
  } cases[] = {
      {"m", "t", "b", true, false, "m ", "b"},  {"-", "t", "b", true, false, "t ", "mb"},
      {"-", "-", "b", true, false, "b ", "mb"}, {"x", "t", "b", true, false, "t ", "mb"},
      {"x", "x", "b", true, false, "b ", "mb"}, {"-", "t", "x", true, false, "t ", "mb"},
      {"x", "x", "x", true, false, "", "mtb"},  {"-", "t", "b", false, false, "", "tb"},
      {"-", "t", "b", true, true, "", "tb"},
  };
  for (const auto& c : cases) {
    Lay(c.main, c.temporary, c.backup);
    settings_.allowRepair = c.repair;
    settings_.archivesOnly = c.archivesOnly;
    EXPECT_EQ(Start(), c.expected) << &c - cases;
    EXPECT_EQ(Files(), c.expectedFiles) << &c - cases;
    if (*c.expected == 't') {
      EXPECT_EQ(Stored(kBackup), "t ") << "the file that was found becomes the backup";
    }
    MUKShutdown();
    EXPECT_EQ(Stored(kMain), c.repair ? c.expected : "damaged") << &c - cases;
  }
}

TEST_F(DatabaseTest, WaitsForAFileThatCannotBeOpened) {
  for (const char* held : {kMain, kTemporary, kBackup}) {
    Lay("-", "-", "-");
    Lay(held, "a");
    {
      Zef::File other;
      ASSERT_EQ(other.Open((folder_ / held).c_str(), Zef::FileMode::kWrite), Zef::RES_OK);
      EXPECT_EQ(Start(), "not running");
      AddRecord({2, 1, 0}, "b");
      EXPECT_TRUE(WriteByIdle());
      MUKInternalWriteDatabase();
      EXPECT_EQ(Stored(held), "damaged") << "while it is held";
    }
    EXPECT_EQ(RunningNames(), "a ") << held;
    MUKShutdown();
  }
}

TEST_F(DatabaseTest, TriesAgainWhenAWriteFails) {
  Lay(kMain, "a");
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
  fs::create_directories(folder_ / "cache/assets.mkx.saving/in the way");
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_EQ(Stored(kTemporary), "a b ") << "nor does a save that fails";
  fs::remove_all(folder_ / "cache/assets.mkx.saving");
  fs::remove_all(folder_ / kMain);
  MUKShutdown();
  EXPECT_EQ(Stored(kMain), "a b c ");
}

// The file calls the database clean, so nothing that a start must find may happen.
TEST_F(DatabaseTest, ChangesNothingOnDiskWhileItsFileCannotBeMovedAway) {
  static std::string main;
  static int attempts;
  main = folder_ / kMain;
  attempts = 0;
  settings_.stepObserver = [](const char* step) {
    if (std::string_view(step) == "backup: renamed") ++attempts;
    if (std::string_view(step) == "write: old file deleted") WriteWholeFile(main, "in the way");
  };
  Lay(kMain, "a");
  WriteWholeFile(folder_ / "cache", "in the way");
  Start();
  AddRecord({2, 1, 0}, "b");
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_EQ(attempts, 1);
  clock_.Advance(1);
  ResultsLog log;
  EXPECT_TRUE(MUKOpenAsset({2, 1, 0}, true, &log).IsNull());
  EXPECT_EQ(log.Entries().back().text, "$muk_database_error");
  EXPECT_EQ(attempts, 2) << "also behind a write that failed";
  EXPECT_FALSE(fs::exists(folder_ / "editing"));
  fs::remove(folder_ / "cache");
  { MUKLock(true), MUKInternalWriteDatabase(); }
  EXPECT_EQ(Files(), "mt");
  clock_.Advance(1);
  EXPECT_FALSE(MUKOpenAsset({2, 1, 0}, true, &log).IsNull());
  EXPECT_EQ(Files(), "tb");
  EXPECT_EQ(Stored(kTemporary), "a b ") << "which is newer than what was moved away";
}

TEST_F(DatabaseTest, KeepsTheOwnersAndThePermissions) {
  Lay(kMain, "a");
  fs::permissions(folder_.Path(), fs::perms{0770});
  fs::permissions(folder_ / kMain, fs::perms{0640});
  for (const std::string& path : {folder_.Path().string(), folder_ / kMain}) {
    ASSERT_TRUE(geteuid() != 0 || chown(path.c_str(), 65534, 65534) == 0);
  }
  Start();
  EXPECT_NE(RubbishPath(folder_.Path()), "");
  EXPECT_FALSE(MUKOpenAsset({1, 0, 0}, true, nullptr).IsNull());
  EXPECT_FALSE(MUKCreateNew(PLID()).IsNull());
  MUKShutdown();
  for (const char* name : {kMain, "cache", "temp", "editing", "Settings"}) {
    struct stat facts {};
    ASSERT_EQ(stat((folder_ / name).c_str(), &facts), 0) << name;
    EXPECT_EQ(facts.st_mode & 07777, name == kMain ? 0640U : 0770U) << name;
    EXPECT_EQ(facts.st_uid, geteuid() == 0 ? 65534 : geteuid()) << name;
  }
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
  Lay(kMain, "a");
  Lay("product/Assets.MKX", "p");
  settings_.productRoot = "";
  EXPECT_EQ(Start(), "");
  AddRecord({1, 1, 0}, "one");
  EXPECT_TRUE(WriteByIdle());
  MUKShutdown();
  EXPECT_EQ(Files(), "m");
  EXPECT_EQ(Stored(kMain), "a ");

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

  ASSERT_TRUE(Zef::Subst("running", (folder_.Path().string() + "/").c_str(), true));
  settings_.productRoot = "running:product";
  fs::create_directories(folder_ / "product/editing/empty");
  EXPECT_EQ(Start(), "p ");
  EXPECT_EQ(Database::Get().Settings().productRoot, (folder_ / "product"));
  EXPECT_FALSE(fs::exists(folder_ / "product/editing/empty"));
  MUKShutdown();
  Zef::Subst("running", nullptr, true);
}

TEST_F(DatabaseTest, TellsTheHostOfChangesWhenNobodyHoldsTheDatabase) {
  std::atomic<std::uint32_t> told{0};  // the masks as digits
  settings_.change = [&](std::uint32_t mask) { told = told * 10 + mask; };
  Start();
  EXPECT_TRUE(Eventually([&] { return told == 1; })) << "of the rebuild";
  AddRecord({1, 1, 0}, "one");
  EXPECT_TRUE(Eventually([&] { return told == 11; })) << "by whoever lets go last";
  {
    const MUKLock outer(true);
    MUKSetSizeBytes({1, 1, 0}, 5);
    MUKIdle();
    EXPECT_EQ(told, 11u);
  }
  EXPECT_EQ(told, 113u);
  MUKSetSizeBytes({1, 1, 0}, 5);
  MUKSetMarked({1, 1, 0}, true);
  EXPECT_EQ(told, 113u);
  MUKShutdown();
}

TEST_F(DatabaseTest, IdleDoesNothingUnderAGuard) {
  Start();
  AddRecord({1, 1, 0}, "one");
  clock_.Advance(60);
  const MUKLock guard(false);
  EXPECT_FALSE(IdleWrites());
  EXPECT_TRUE(MUKLock(true, true).IsHeld()) << "the same thread may take more";
  std::thread([] { EXPECT_FALSE(MUKLock(true, true).IsHeld()); }).join();
}

TEST_F(DatabaseTest, AccessorsReadAndChangeOneField) {
  const PLID id(1, 1, 3);
  EXPECT_EQ(MUKGetRating(id), -1) << "not running";
  Start();
  EXPECT_EQ(MUKGetRating(id), -1) << "not known";
  EXPECT_FALSE(MUKGetEnabled(id) || MUKGetInArchive(id) || MUKSetEnabled(id, true));
  AddRecord(id, "Old Name");
  const auto dirtied = [] {
    const MUKLock guard(true);
    const bool dirty = Database::Get().IsDirty();
    if (dirty) MUKInternalWriteDatabase();
    return dirty;
  };
  EXPECT_TRUE(dirtied());
  EXPECT_EQ(MUKGetSearchText(id), "old;name");
  EXPECT_TRUE(MUKSetUserName(id, "Mine") && dirtied());
  EXPECT_EQ(MUKGetSearchText(id), "mine");
  EXPECT_TRUE(MUKSetUserName(id, "Mine") && MUKSetMarked(id, true) && !dirtied());
  EXPECT_TRUE(MUKSetRating(id, 5) && !MUKSetRating(id, 6) && dirtied());
  EXPECT_EQ(MUKGetRating(id), 5);

  ArchiveList::Archive archive;
  archive.assets = {id};
  {
    const MUKLock guard(true);
    Database::Get().Index().AddArchive(archive);
    archive.id = 1;
    Database::Get().Index().AddArchive(archive);
    Database::Get().Index().DropArchive(0);
  }
  EXPECT_TRUE(dirtied() && MUKGetInArchive(id) && dirtied()) << "the first asks the archives";
  EXPECT_TRUE(MUKGetInArchive(id) && !dirtied());

  MUKAsset offered = Asset(id);
  offered.installPath = "i";
  EXPECT_TRUE(MUKMerge(offered) && dirtied());
  EXPECT_TRUE(MUKCreateNew(id).IsNull() && !MUKCreateNew(PLID()).IsNull());
  MUKAsset copy;
  ASSERT_TRUE(MUKFind(id, &copy));
  MUKShutdown();
  EXPECT_EQ(copy.installPath, "i") << "a copy outlives the database";
}

/// Writes down what the database asks for.
class Recorder final : public ContentServices {
 public:
  void LoadBaseId(const MUKSettings& settings) override { Note("base " + settings.productRoot); }
  void ReloadBaseId() override { Note("again"); }
  void RefreshBaseId() override { Note("refresh"); }
  PLID NextLocalId(const MUKAssetIndex&) override { return {3, 3, 0}; }
  bool Verify(MUKAssetIndex&, MUKAsset&) override { return false; }
  void Recover(MUKAssetIndex&, MUKAsset& record) override {
    Note("recover " + record.name.String());
  }
  void Update(MUKAssetIndex&, MUKAsset&) override {}
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
  EXPECT_EQ(recorder.Taken(),
            "base " + settings_.productRoot + ";again;world;trains;local;editing;");
  MUKIdle();
  EXPECT_EQ(recorder.Taken(), "station;");
  EXPECT_EQ(MUKCreateNew(PLID()), PLID(3, 3, 0));
  {
    const MUKLock guard(true);
    Database::Get().Index().Find({4, 4, 0})->editPath = "editing/found";
  }
  MUKShutdown();
  EXPECT_EQ(recorder.Taken(), "refresh;");
  EXPECT_EQ(Start(), "found New Asset ");
  EXPECT_EQ(recorder.Taken(), "base " + settings_.productRoot + ";again;") << "no scan";
  MUKShutdown();
  EXPECT_EQ(recorder.Taken(), "refresh;");

  fs::create_directories(folder_ / "cache");
  fs::rename(folder_ / kMain, folder_ / kBackup);
  EXPECT_EQ(Start(), "found New Asset found ");
  MUKShutdown();
  EXPECT_EQ(recorder.Taken(),
            "base " + settings_.productRoot + ";again;recover found;local;editing;refresh;");

  fs::remove(folder_ / kMain);
  settings_.archivesOnly = true;
  EXPECT_EQ(Start(), "");
  EXPECT_EQ(recorder.Taken(), "base " + settings_.productRoot + ";again;world;trains;");
  MUKShutdown();
}

using ThreadsTest = Test::RunningTest;

// Readers, a writer, idle with its writes, and shutdown, all at once.
TEST_F(ThreadsTest, WorkTogetherThroughStartsAndEnds) {
  constexpr int kRecords = 40;
  std::atomic<bool> stop{false};
  std::atomic<std::uint32_t> told{0};
  settings_.change = [&](std::uint32_t mask) {
    told |= mask;
    MUKIdle();
  };
  MUKInitialise(settings_);
  for (int i = 0; i < kRecords; ++i) AddRecord({1, i, i % 3}, "Asset");
  {
    const MUKLock guard(true);
    for (const auto& [old, given] : {std::pair(0, 1), {12, 2}, {1, 2}, {13, 3}, {2, 3}}) {
      Database::Get().Index().AddObsoleteRow({1, old, old % 3}, {1, given, given % 3});
    }
  }

  std::vector<std::thread> threads;
  for (int reader = 0; reader < 3; ++reader) {
    threads.emplace_back([&] {
      for (int i = 0; !stop; ++i) {
        const PLID id(1, i % kRecords, i % kRecords % 3);
        MUKGetSearchText(id);
        MUKGetObsolete(id);
        MUKResolve(id);
        MUKGetInArchive(id);
        RunningNames();
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; !stop; ++i) {
      const PLID id(1, i % kRecords, i % kRecords % 3);
      MUKSetSizeBytes(id, static_cast<std::uint32_t>(i));
      MUKSetDescription(id, std::to_string(i));
      const MUKLock guard(true);
      if (guard.IsHeld()) Database::Get().Index().Find(id)->Set(AssetFlag::InArchiveKnown, false);
    }
  });
  for (int run = 0; run < 6; ++run) {
    for (int i = 0; i < 40; ++i) {
      clock_.Advance(11);
      MUKIdle();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    MUKShutdown();
    MUKInitialise(settings_);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  MUKShutdown();
  EXPECT_EQ(told, kChangeGeneral | kChangeSize);
  EXPECT_EQ(Stored(kMain).size(), kRecords * sizeof "Asset");
}

}  // namespace
