#include "kernel/KernelBoot.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/Threads.h"

using namespace Zef;

static std::string order;

TEST(KernelBoot, TheBootingThreadIsTheMainThreadUntilAnotherTakesItsPlace) {
  KernelBoot();
  EXPECT_TRUE(IsMainThread());
  ::Test::OnThreads(1, [](int) {
    KernelBoot();
    EXPECT_FALSE(IsMainThread());
    RememberMainThread();
    EXPECT_TRUE(IsMainThread());
  });
  EXPECT_FALSE(IsMainThread());
  RememberMainThread();
}

TEST(KernelExitTable, RunsBackwardAndTakesNewEntriesOnTheWay) {
  KernelExitTable::Register([] { order += '1'; });
  KernelExitTable::Register(nullptr);
  KernelExitTable::Register([] {
    order += '2';
    KernelExitTable::Register([] { order += '3'; });
  });
  EXPECT_EQ(KernelExitTable::Count(), 2U);
  KernelExitTable::Run();
  KernelExitTable::Run();
  EXPECT_EQ(order, "231") << "each entry once, the last one first";
}

TEST(KernelExitTableDeathTest, RunsAtTheEndOfTheProcessAndTrapsWhenFull) {
  const auto registerMany = [](std::uint32_t count) {
    while (count-- > 0) KernelExitTable::Register([] { std::fputc('r', stderr); });
  };
  EXPECT_EXIT((registerMany(3), std::exit(3)), testing::ExitedWithCode(3), "rrr");
  EXPECT_EXIT((registerMany(KernelExitTable::kCapacity), std::exit(3)), testing::ExitedWithCode(3),
              "");
  EXPECT_EXIT(registerMany(KernelExitTable::kCapacity + 1), testing::KilledBySignal(SIGTRAP),
              "full");
}
