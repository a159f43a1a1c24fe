#include "kernel/platform/System.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <thread>

#include "kernel/platform/SharedBlock.h"
#include "tests/support/ChildProcess.h"

namespace Zef::Platform {
namespace {

TEST(PlatformSystem, AnEndedProcessIsDeadBeforeItsParentCollectsIt) {
  EXPECT_TRUE(IsProcessAlive(CurrentProcessId()) && IsProcessAlive(1));
  const pid_t child = fork();
  if (child == 0) _exit(0);
  siginfo_t ended{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(kill(child, 0), 0) << "the signal test alone takes it for alive";
  EXPECT_FALSE(IsProcessAlive(static_cast<ProcessId>(child)));
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  for (const ProcessId none : {static_cast<ProcessId>(child), 0U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_FALSE(IsProcessAlive(none)) << none;
  }
}

TEST(PlatformSystem, LibrariesLoadByPathOnly) {
  std::string error;
  EXPECT_FALSE(Library("libm.so.6", &error)) << "the loader's own path must not be searched";
  EXPECT_NE(error, "");
  EXPECT_EQ(Library().Symbol("cos"), nullptr);
  const Library library("/lib/x86_64-linux-gnu/libm.so.6", nullptr);
  EXPECT_TRUE(library.Symbol("cos") != nullptr && library.Symbol("no_such_name") == nullptr);
  EXPECT_EQ(access(ModulePath().c_str(), X_OK), 0) << ModulePath();
}

TEST(PlatformSystemDeathTest, TrapSaysWhyAndStopsAsABreakpoint) {
  EXPECT_EXIT(Trap("list is broken"), testing::KilledBySignal(SIGTRAP), "list is broken\n");
}

class SharedBlockTest : public testing::Test {
 protected:
  ~SharedBlockTest() override { shm_unlink(name_.c_str()); }

  const std::string name_ = "/quarle-test-" + std::to_string(getpid());
};

TEST_F(SharedBlockTest, OpenersSeeTheSameBytes) {
  const auto first = SharedBlock::Open(name_, 16);
  ASSERT_NE(first, nullptr);
  auto* const words = static_cast<std::uint32_t*>(first->Data());
  for (int i = 0; i < 4; ++i) EXPECT_EQ(words[i], 0U);
  words[3] = 42;
  const auto second = SharedBlock::Open(name_, 8);
  EXPECT_EQ(static_cast<std::uint32_t*>(second->Data())[3], 42U) << "must never shrink";
  EXPECT_EQ(SharedBlock::Open("/a/b", 16), nullptr);
  EXPECT_EQ(SharedBlock::Open(name_, 0), nullptr);
}

// A forked child puts memory of its own where blocks were; elsewhere it must touch nothing.
TEST_F(SharedBlockTest, ForkBesideAClosingBlockSparesOtherMemory) {
  const auto work = [&](const std::stop_token& stop) {
    while (!stop.stop_requested()) SharedBlock::Open(name_, 16).reset();
  };
  const std::jthread closers[] = {std::jthread(work), std::jthread(work)};
  for (int round = 0; round < 300; ++round) {
    void* const page =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<int*>(page) = 42;
    const ::Test::ChildProcess child([page] { return *static_cast<int*>(page); });
    EXPECT_EQ(child.AwaitEnd(), 42) << "in round " << round;
    munmap(page, 4096);
  }
}

}  // namespace
}  // namespace Zef::Platform
