#include "kernel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "tests/support/TestClock.h"

namespace Zef {
namespace {

struct Work {
  std::unique_ptr<Thread> thread;
  WEvent go{true, false};
  std::atomic<int> runs = 0;
};

std::int32_t WaitForGo(void* argument) {
  auto* const work = static_cast<Work*>(argument);
  work->go.Lock(kForever);
  return ++work->runs;
}

std::int32_t PollStop(void* argument) {
  auto* const work = static_cast<Work*>(argument);
  work->go.Lock(kForever);
  while (!work->thread->StopEvent().Lock(1)) {
  }
  return 42;
}

TEST(Thread, StopSetsTheEventAndKeepsTheExitCode) {
  Work work;
  work.thread = std::make_unique<Thread>(PollStop, &work);
  EXPECT_TRUE(work.thread->IsRunning() && !work.thread->Lock(0) && !work.thread->Suspend());
  EXPECT_FALSE(work.thread->Start());
  work.go.Set();
  EXPECT_EQ(work.thread->Stop(), 42);
  EXPECT_EQ(work.thread->Stop(), 42);
  EXPECT_TRUE(!work.thread->IsRunning() && work.thread->Lock(0));
  EXPECT_FALSE(work.thread->Start()) << "a thread runs once";
}

TEST(Thread, StopWaitsForAFunctionThatDoesNotPoll) {
  Work work;
  Thread thread(WaitForGo, &work);
  std::thread helper([&] {
    Sleep(20);
    work.go.Set();
  });
  EXPECT_EQ(thread.Stop(), 1);
  helper.join();
}

TEST(Thread, NeverStartedIsNeverWaitedFor) {
  Work work;
  Thread thread(WaitForGo, &work, false);
  EXPECT_TRUE(thread.Suspend());
  EXPECT_EQ(thread.Stop(), -1);
  EXPECT_EQ(work.runs, 0);
  work.go.Set();
  EXPECT_TRUE(thread.Start());
  EXPECT_EQ(thread.Stop(), 1);
}

TEST(Thread, MayDestroyItself) {
  Work work;
  WEvent destroyed(true, false);
  std::pair<Work*, WEvent*> argument(&work, &destroyed);
  const auto function = [](void* both) -> std::int32_t {
    const auto [own, done] = *static_cast<std::pair<Work*, WEvent*>*>(both);
    own->go.Lock(kForever);
    EXPECT_EQ(own->thread->Stop(), -1);
    own->thread.reset();
    done->Set();
    return 0;
  };
  work.thread = std::make_unique<Thread>(function, &argument);
  work.go.Set();
  EXPECT_TRUE(destroyed.Lock(kForever));
}

TEST(Thread, EndsAreWaitedForTogetherWithEvents) {
  Work work;
  Thread thread(WaitForGo, &work);
  WEvent never(true, false);
  MultiLock lock({&never, &thread});
  EXPECT_EQ(lock.Wait(false, 1), MultiLock::kTimeout);
  work.go.Set();
  EXPECT_EQ(lock.Wait(false, kForever), MultiLock::kSignalled + 1);
}

TEST(RandomGenerator, KeepsItsHistoricConstants) {
  const struct {
    std::uint32_t seed, expected;
  } cases[] = {
      {0, 0},
      {1, 16807},
      {255546, 4294961622U},                 // the plain product, not reduced
      {255547, 16807 - 5673},                // the first split one
      {2 * 255546U, 0x7FFFFFFF - 2 * 5673},  // below zero, so the modulus is added
      {0xFFFFFFFF, 16807 * (0xFFFFFFFF % 255546) - 5673 * (0xFFFFFFFF / 255546)},
  };
  for (const auto& c : cases) EXPECT_EQ(RandomGenerator(c.seed).Next(), c.expected) << c.seed;
}

TEST(Time, SecondsCountFromTheLoadOfTheModule) {
  const double before = Time::Seconds();
  Sleep(5);
  EXPECT_GE(RealClock().Seconds(), before + 0.005);
  EXPECT_LT(RealClock().Seconds(), 3600.0);
  ::Test::TestClock clock;
  const std::int64_t date = clock.UnixTime();
  clock.Advance(30.0 * 86400);
  EXPECT_EQ(clock.UnixTime() - date, 30 * 86400);
}

}  // namespace
}  // namespace Zef
