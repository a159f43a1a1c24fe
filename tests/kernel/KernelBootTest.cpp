#include "kernel/KernelBoot.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace Zef {
namespace {

std::string order;

TEST(KernelBoot, TheBootingThreadIsTheMainThreadUntilAnotherTakesItsPlace) {
  KernelBoot();
  EXPECT_TRUE(IsMainThread());
  std::thread([] {
    KernelBoot();
    EXPECT_FALSE(IsMainThread());
    RememberMainThread();
    EXPECT_TRUE(IsMainThread());
  }).join();
  EXPECT_FALSE(IsMainThread());
  RememberMainThread();
  EXPECT_TRUE(IsMainThread());
}

TEST(KernelExitTable, RunsBackwardAndTakesNewEntriesOnTheWay) {
  order.clear();
  KernelExitTable::Register([] { order += '1'; });
  KernelExitTable::Register(nullptr);
  KernelExitTable::Register([] {
    order += '2';
    KernelExitTable::Register([] { order += '3'; });
  });
  EXPECT_EQ(KernelExitTable::Count(), 2U);
  KernelExitTable::Run();
  EXPECT_EQ(order, "231");
  KernelExitTable::Run();
  EXPECT_EQ(order, "231") << "an entry runs once";
}

TEST(KernelExitTableDeathTest, RunsAtTheEndOfTheProcess) {
  EXPECT_EXIT(
      {
        KernelExitTable::Register([] { std::fputs("table ran", stderr); });
        std::exit(3);
      },
      testing::ExitedWithCode(3), "table ran");
}

TEST(KernelExitTableDeathTest, ATableThatIsFullStopsAtATrap) {
  const auto fill = [](std::uint32_t count) {
    while (count-- > 0) KernelExitTable::Register([] {});
  };
  fill(KernelExitTable::kCapacity);
  EXPECT_EXIT(fill(1), testing::KilledBySignal(SIGTRAP), "full");
  KernelExitTable::Run();
}

}  // namespace
}  // namespace Zef
