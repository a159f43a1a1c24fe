#include "kernel/RWLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>

#include "kernel/Sync.h"

namespace Zef {
namespace {

// What another thread could take at this moment.
struct Chances {
  bool shared = false;
  bool exclusive = false;
  friend bool operator==(const Chances&, const Chances&) = default;
};

Chances ChancesOfOthers(RWLock& lock) {
  Chances chances;
  std::thread([&] {
    if ((chances.shared = lock.TryLockShared())) lock.UnlockShared();
    if ((chances.exclusive = lock.TryLockExclusive())) lock.UnlockExclusive();
  }).join();
  return chances;
}

TEST(RWLock, HoldsNestAndEndOneByOne) {
  RWLock lock;
  EXPECT_TRUE(lock.IsFree() && !lock.IsHeldByCaller());
  lock.LockShared();
  EXPECT_TRUE(lock.TryLockShared());
  EXPECT_EQ(ChancesOfOthers(lock), (Chances{true, false}));
  lock.LockExclusive();  // the only reader becomes the writer
  EXPECT_TRUE(lock.IsExclusiveByCaller() && lock.TryLockExclusive());
  EXPECT_EQ(ChancesOfOthers(lock), (Chances{false, false}));
  lock.UnlockExclusive();
  EXPECT_EQ(ChancesOfOthers(lock), (Chances{false, false}));
  lock.UnlockExclusive();
  EXPECT_EQ(ChancesOfOthers(lock), (Chances{true, false}));
  EXPECT_FALSE(lock.IsExclusiveByCaller());
  lock.UnlockShared();
  EXPECT_TRUE(lock.IsHeldByCaller() && !lock.IsFree());
  lock.UnlockShared();
  EXPECT_TRUE(lock.IsFree());
  EXPECT_EQ(ChancesOfOthers(lock), (Chances{true, true}));
}

// A waiting writer keeps new readers out, but a reader that nests must pass it or both hang.
TEST(RWLock, WaitingWriterGoesBeforeNewReaders) {
  RWLock lock;
  std::atomic<bool> written = false;
  lock.LockShared();
  std::thread writer([&] {
    lock.LockExclusive();
    written = true;
    lock.UnlockExclusive();
  });
  while (ChancesOfOthers(lock).shared) std::this_thread::yield();
  std::thread reader([&] {
    lock.LockShared();
    EXPECT_TRUE(written) << "the reader overtook the writer";
    lock.UnlockShared();
  });
  lock.LockShared();
  lock.UnlockShared();
  EXPECT_FALSE(written);
  lock.UnlockShared();
  writer.join();
  reader.join();
  EXPECT_TRUE(lock.IsFree());
}

TEST(RWLock, ReaderBecomesWriterOnceTheOthersHaveLeft) {
  RWLock lock;
  WEvent reading(true, false);
  std::atomic<bool> left = false;
  std::thread other([&] {
    lock.LockShared();
    reading.Set();
    while (lock.TryLockShared()) {  // nested reads pass the waiting writer
      lock.UnlockShared();
      std::this_thread::yield();
      if (ChancesOfOthers(lock).shared) continue;
      left = true;
      break;
    }
    lock.UnlockShared();
  });
  reading.Lock(kForever);
  lock.LockShared();
  lock.LockExclusive();
  EXPECT_TRUE(left);
  lock.UnlockExclusive();
  lock.UnlockShared();
  other.join();
}

TEST(RWLock, WritersExcludeEverybody) {
  RWLock lock;
  int value = 0;
  std::atomic<int> torn = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 2000; ++round) {
        if ((round + i) % 4 == 0) {
          lock.LockExclusive();
          ++value;
          ++value;
          lock.UnlockExclusive();
        } else {
          lock.LockShared();
          torn += value % 2;
          lock.UnlockShared();
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(value, 4 * 500 * 2);
  EXPECT_EQ(torn, 0);
}

TEST(RWLockDeathTest, ForeignReleaseStops) {
  RWLock lock;
  lock.LockShared();
  EXPECT_EXIT(lock.UnlockExclusive(), testing::KilledBySignal(SIGTRAP), "does not hold it");
  lock.UnlockShared();
}

}  // namespace
}  // namespace Zef
