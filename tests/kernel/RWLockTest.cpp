#include "kernel/RWLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "tests/support/Threads.h"

namespace Zef {
namespace {

// What another thread could take at this moment: "s" and "x".
std::string ChancesOfOthers(RWLock& lock) {
  std::string chances;
  std::thread([&] {
    if (lock.TryLockShared()) chances += 's', lock.UnlockShared();
    if (lock.TryLockExclusive()) chances += 'x', lock.UnlockExclusive();
  }).join();
  return chances;
}

TEST(RWLock, HoldsNestAndEndOneByOne) {
  RWLock lock;
  EXPECT_TRUE(lock.IsFree() && !lock.IsHeldByCaller());
  lock.LockShared();
  EXPECT_TRUE(lock.TryLockShared());
  EXPECT_EQ(ChancesOfOthers(lock), "s");
  lock.LockExclusive();  // the only reader becomes the writer
  EXPECT_TRUE(lock.TryLockExclusive());
  lock.UnlockExclusive();
  EXPECT_EQ(ChancesOfOthers(lock), "");
  lock.UnlockExclusive();
  EXPECT_EQ(ChancesOfOthers(lock), "s");
  lock.UnlockShared();
  EXPECT_TRUE(lock.IsHeldByCaller() && !lock.IsFree());
  lock.UnlockShared();
  EXPECT_TRUE(lock.IsFree());
  EXPECT_EQ(ChancesOfOthers(lock), "sx");
}

// A waiting writer keeps new readers out, but a reader that nests must pass it or both hang.
// `upgrade`: the writer is itself a reader of before.
void TestWaitingWriter(bool upgrade) {
  RWLock lock;
  std::atomic<bool> written = false;
  lock.LockShared();
  std::thread writer([&] {
    if (upgrade) lock.LockShared();
    lock.LockExclusive();
    written = true;
    lock.UnlockExclusive();
    if (upgrade) lock.UnlockShared();
  });
  while (!ChancesOfOthers(lock).empty()) std::this_thread::yield();
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

TEST(RWLock, WaitingWriterGoesBeforeNewReaders) { TestWaitingWriter(false); }
TEST(RWLock, ReaderBecomesWriterOnceTheOthersHaveLeft) { TestWaitingWriter(true); }

TEST(RWLock, WritersExcludeEverybody) {
  RWLock lock;
  int value = 0;
  std::atomic<int> torn = 0;
  const auto work = [&](int) {
    for (int round = 0; round < 2000; ++round) {
      const bool write = round % 4 == 0;
      write ? lock.LockExclusive() : lock.LockShared();
      if (write) ++value, ++value;
      torn += value % 2;
      write ? lock.UnlockExclusive() : lock.UnlockShared();
    }
  };
  ::Test::OnThreads(3, work);
  EXPECT_EQ(value, 3 * 500 * 2);
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace Zef
