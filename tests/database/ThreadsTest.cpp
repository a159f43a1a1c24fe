#include <atomic>
#include <vector>

#include "tests/database/RunningFixture.h"

namespace {

using Test::AddRecord;
using Test::RunningNames;

using ThreadsTest = Test::RunningTest;

// Readers, a writer, idle with its writes, and shutdown, all at once.
TEST_F(ThreadsTest, WorkTogetherThroughStartsAndEnds) {
  constexpr int kRecords = 40;
  std::atomic<bool> stop{false};
  std::atomic<std::uint32_t> told{0};
  settings_.change = [&](std::uint32_t mask) { told |= mask; };
  MUKInitialise(settings_);
  for (int i = 0; i < kRecords; ++i) AddRecord({1, i, i % 3}, "Asset");

  std::vector<std::thread> threads;
  for (int reader = 0; reader < 3; ++reader) {
    threads.emplace_back([&] {
      for (int i = 0; !stop; ++i) {
        const PLID id(1, i % kRecords, i % kRecords % 3);
        MUKGetSearchText(id);
        MUKGetObsolete(id);
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
