#include "kernel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

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

TEST(Thread, StopWaitsForAFunctionThatDoesNotPoll) {
  Work work;
  Thread thread(WaitForGo, &work);
  WEvent never(true, false);
  MultiLock lock({&never, &thread});
  EXPECT_EQ(lock.Wait(false, 20), MultiLock::kTimeout);
  std::thread helper([&] { Sleep(20), work.go.Set(); });
  EXPECT_EQ(thread.Stop(), 1);
  EXPECT_EQ(lock.Wait(false, 0), MultiLock::kSignalled + 1);
  helper.join();
}

}  // namespace
}  // namespace Zef
