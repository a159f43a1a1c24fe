// RunningFixture: a running database in a folder of its own, with a clock that stands still.

#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "database/Accessors.h"
#include "database/Database.h"
#include "database/MUKLock.h"
#include "tests/database/IndexFixture.h"
#include "tests/support/TestClock.h"
#include "tests/support/TestFiles.h"

namespace Test {

/// Adds a record as code under the guard does.
inline void AddRecord(PLID id, const char* name) {
  const MUKLock guard(true);
  Database::Get().Index().Add(Asset(id, name));
  Database::Get().MarkChanged(kChangeGeneral);
}

/// Names in the running database. Waits until it is loaded.
inline std::string RunningNames() {
  const MUKLock guard(false);
  return guard.IsHeld() ? Names(Database::Get().Index()) : "not running";
}

/// Waits for what another thread or process is about to do.
template <typename Condition>
bool Eventually(Condition condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

class RunningTest : public testing::Test {
 protected:
  RunningTest() {
    settings_.productRoot = folder_.Path().string();
    settings_.clock = &clock_;
    settings_.pollMilliseconds = 2;
  }
  ~RunningTest() override {
    MUKShutdown();
    shm_unlink(IpcLock::BlockName(folder_.Path().string()).c_str());
  }

  /// Makes an index file with records of these one-letter names; "x" a damaged one, "-" none.
  void Lay(const char* name, std::string_view letters) const {
    std::filesystem::remove_all(folder_ / name);
    if (letters == "-") return;
    WriteWholeFile(folder_ / name, "damaged");
    if (letters == "x") return;
    MUKAssetIndex index;
    for (int i = 0; i < static_cast<int>(letters.size()); ++i) {
      index.Add(Asset({1, i, 0}, std::string(letters.substr(i, 1)).c_str()));
    }
    ASSERT_TRUE(index.Save(folder_ / name));
  }
  void Lay(const char* main, const char* temporary, const char* backup) const {
    Lay(kMain, main);
    Lay(kTemporary, temporary);
    Lay(kBackup, backup);
  }

  /// Starts and waits for the load.
  std::string Start() {
    MUKInitialise(settings_);
    return RunningNames();
  }
  /// Gives the database its turn and the writer that it may start the time to be noticed.
  static bool IdleWrites() {
    MUKIdle();
    for (int i = 0; i < 50 && Database::Get().IsDirty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return !Database::Get().IsDirty();
  }
  /// Lets ten quiet seconds pass and the writer come to its end.
  bool WriteByIdle() {
    clock_.Advance(11);
    return Eventually([] {
      MUKIdle();
      return !Database::Get().IsDirty();
    });
  }
  /// Which of the three files exist: "m" the database, "t" the temporary, "b" the backup.
  std::string Files() const {
    std::string files;
    for (const auto& [letter, name] : {std::pair('m', kMain), {'t', kTemporary}, {'b', kBackup}}) {
      if (std::filesystem::exists(folder_ / name)) files += letter;
    }
    return files;
  }
  /// Records of an index file, or "damaged".
  std::string Stored(const char* name) const {
    MUKAssetIndex index;
    return index.Load(folder_ / name) ? Names(index) : "damaged";
  }

  static constexpr const char* kMain = "assets.mkx";
  static constexpr const char* kTemporary = "cache/assets.mkx";
  static constexpr const char* kBackup = "cache/assets.bku";

  TempFolder folder_{FastFolder()};
  const TempFolder told_{FastFolder()};  // for what children answer
  TestClock clock_{100};
  MUKSettings settings_;
};

}  // namespace Test
