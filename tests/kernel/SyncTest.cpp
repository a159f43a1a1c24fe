#include "kernel/Sync.h"

#include <gtest/gtest.h>

#include <thread>

namespace Zef {
namespace {

constexpr std::int32_t kLong = 10000;  // never reached where things work
constexpr std::int32_t kShort = 20;

TEST(Sync, LockTakesWhatTheObjectGives) {
  WEvent manual(true, true);
  WEvent automatic(false, true);
  EXPECT_TRUE(manual.Lock(0) && manual.Lock(0));
  manual.Reset();
  EXPECT_FALSE(manual.Lock(0));
  EXPECT_TRUE(automatic.Lock(0));
  EXPECT_FALSE(automatic.Lock(kShort)) << "one Set lets one waiter through";
  Semaphore semaphore(1, 2);
  EXPECT_FALSE(semaphore.Unlock(2)) << "more than the maximum changes nothing";
  EXPECT_TRUE(semaphore.Lock(0) && !semaphore.Lock(0));
  EXPECT_TRUE(semaphore.Unlock(2) && !semaphore.Unlock() && !semaphore.Unlock(-1));
  EXPECT_TRUE(semaphore.Lock(0) && semaphore.Lock(0) && !semaphore.Lock(0));
  for (const auto& [initial, maximum] : {std::pair{-1, 1}, {2, 1}, {0, 0}}) {
    Semaphore impossible(initial, maximum);
    EXPECT_TRUE(impossible.Handle() == nullptr && !impossible.Lock(0) && !impossible.Unlock());
  }
}

TEST(Sync, NamesAreSharedWithinTheirKind) {
  auto first = std::make_unique<WEvent>(true, false, "shared");
  WEvent second(false, true, "shared");
  EXPECT_EQ(first->Handle(), second.Handle());
  EXPECT_FALSE(second.Lock(0)) << "the state is the first maker's";
  first->Set();
  first.reset();
  EXPECT_TRUE(second.Lock(0) && second.Lock(0));
  Mutex other(false, "shared");
  EXPECT_TRUE(other.Handle() == nullptr && !other.Lock(0));
}

// What a dying thread abandons goes to the next taker, and to a waiter without anybody's help.
TEST(Sync, MutexBelongsToItsThread) {
  Mutex mutex(true);
  EXPECT_TRUE(mutex.Lock(0));
  EXPECT_TRUE(mutex.Unlock(2)) << "releases once, whatever the count";
  std::thread([&] { EXPECT_TRUE(!mutex.Lock(kShort) && !mutex.Unlock()); }).join();
  EXPECT_TRUE(mutex.Unlock() && !mutex.Unlock());
  std::thread([&] { EXPECT_TRUE(mutex.Lock(0) && mutex.Lock(0)); }).join();
  MultiLock lock({&mutex});
  EXPECT_EQ(lock.Wait(false, 0), MultiLock::kAbandoned);
  EXPECT_TRUE(mutex.Unlock() && !mutex.Unlock()) << "the dead owner's depth is forgotten";
  EXPECT_EQ(lock.Wait(false, 0), MultiLock::kSignalled) << "abandonment is told once";
  std::thread waiter([&] { EXPECT_TRUE(mutex.Lock(kLong)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(kShort));
  lock.Release();
  waiter.join();
  EXPECT_TRUE(mutex.Lock(0) && mutex.Unlock());
}

TEST(Sync, CriticalSectionIsRecursiveAndKnowsNoTimeOut) {
  CriticalSection section("name");
  EXPECT_EQ(section.Handle(), nullptr);
  SyncGuard outer(section);
  EXPECT_TRUE(section.Lock(0) && section.Unlock() && !SyncGuard(section, false).IsLocked());
  std::thread other([&] { EXPECT_TRUE(section.Lock(0) && section.Unlock()); });
  std::this_thread::sleep_for(std::chrono::milliseconds(kShort));
  outer.Release();
  EXPECT_FALSE(outer.IsLocked());
  other.join();
}

TEST(MultiLock, WaitsForOneOrForAll) {
  WEvent a(false, false);
  Semaphore b(1, 1);
  MultiLock lock({&a, &b});
  EXPECT_EQ(lock.Wait(true, kShort), MultiLock::kTimeout);
  EXPECT_EQ(lock.Wait(false, 0), MultiLock::kSignalled + 1);
  EXPECT_TRUE(!lock.IsLocked(0) && lock.IsLocked(1));
  lock.Release();
  a.Set();
  EXPECT_EQ(lock.Wait(true, 0), MultiLock::kSignalled);
  EXPECT_TRUE(lock.IsLocked(0) && lock.IsLocked(1));
  lock.Release();
  EXPECT_TRUE(b.Lock(0)) << "the failed wait for all took nothing, the release gave b back";
}

TEST(MultiLock, ANewWaitGivesBackWhatTheLastOneTook) {
  Mutex mutex;
  MultiLock lock({&mutex});
  for (int i = 0; i < 2; ++i) EXPECT_EQ(lock.Wait(false, 0), MultiLock::kSignalled);
  lock.Release();
  EXPECT_FALSE(mutex.Unlock()) << "taken twice, given back once";
}

TEST(MultiLock, RefusesWhatCannotBeWaitedFor) {
  WEvent event(true, true);
  CriticalSection section;
  EXPECT_EQ(MultiLock({}).Wait(false, 0), MultiLock::kFailed);
  EXPECT_EQ(MultiLock({&event, &section}).Wait(false, 0), MultiLock::kFailed);
  EXPECT_EQ(MultiLock({&event, &event}).Wait(true, 0), MultiLock::kFailed);
  EXPECT_EQ(MultiLock({&event, &event}).Wait(false, 0), MultiLock::kSignalled);
  const std::vector<SyncObject*> many(MultiLock::kCapacity + 1, &event);
  EXPECT_EQ(MultiLock(many).Wait(false, 0), MultiLock::kFailed);
}

// Philosophers: each needs two of three forks at once. Taking them in one step cannot deadlock,
// and no fork may be in two hands.
TEST(MultiLock, ContendedWaitsNeitherLoseNorDoubleAnything) {
  Mutex forks[3];
  int uses[3] = {};  // each guarded by its fork
  const auto eat = [&](int i, int j) {
    for (int round = 0; round < 2000; ++round) {
      MultiLock lock({&forks[i], &forks[j]});
      ASSERT_EQ(lock.Wait(true, kLong), MultiLock::kSignalled);
      ++uses[i];
      ++uses[j];
    }
  };
  std::thread eaters[] = {std::thread(eat, 0, 1), std::thread(eat, 1, 2), std::thread(eat, 2, 0)};
  for (std::thread& eater : eaters) eater.join();
  for (const int count : uses) EXPECT_EQ(count, 4000);
}

}  // namespace
}  // namespace Zef
