#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "kernel/platform/SharedBlock.h"
#include "kernel/platform/System.h"

namespace Zef::Platform {
namespace {

// Ends as a zombie: it is not waited for before Collect.
template <typename Body>
pid_t EndedChild(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    _exit(0);
  }
  siginfo_t ended{};
  EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
  return child;
}

void Collect(pid_t child) { EXPECT_EQ(waitpid(child, nullptr, 0), child); }

TEST(PlatformSystem, AnEndedProcessIsDeadBeforeItsParentCollectsIt) {
  EXPECT_TRUE(IsProcessAlive(CurrentProcessId()));
  EXPECT_TRUE(IsProcessAlive(1));
  const pid_t child = EndedChild([] {});
  EXPECT_EQ(kill(child, 0), 0) << "the signal test alone takes it for alive";
  EXPECT_FALSE(IsProcessAlive(static_cast<ProcessId>(child)));
  Collect(child);
  EXPECT_FALSE(IsProcessAlive(static_cast<ProcessId>(child)));
  for (const ProcessId none : {0U, 0x7FFFFFFFU, 0xFFFFFFFFU}) EXPECT_FALSE(IsProcessAlive(none));
}

TEST(PlatformSystem, SleepLastsAsLongAsAsked) {
  const std::uint64_t start = MonotonicTicks();
  SleepMilliseconds(20);
  EXPECT_GE(MonotonicTicks() - start, MonotonicFrequency() / 50);
}

TEST(PlatformSystem, EnvironmentTellsEmptyFromMissing) {
  setenv("QUARLE_TEST_VALUE", "", 1);
  std::string value = "old";
  EXPECT_TRUE(GetEnvironment("QUARLE_TEST_VALUE", &value));
  EXPECT_EQ(value, "");
  unsetenv("QUARLE_TEST_VALUE");
  EXPECT_FALSE(GetEnvironment("QUARLE_TEST_VALUE", &value));
}

TEST(PlatformSystem, ModulePathIsWhereThisCodeLies) {
  const std::string path = ModulePath();
  EXPECT_EQ(path.front(), '/');
  EXPECT_EQ(access(path.c_str(), X_OK), 0) << path;
}

TEST(PlatformSystem, LibrariesLoadByPathOnly) {
  std::string error;
  EXPECT_FALSE(Library("libm.so.6", &error)) << "the loader's own path must not be searched";
  EXPECT_NE(error, "");
  EXPECT_EQ(Library().Symbol("cos"), nullptr);
  Library first("/lib/x86_64-linux-gnu/libm.so.6", nullptr);
  Library second(std::move(first));
  ASSERT_TRUE(second);
  EXPECT_NE(second.Symbol("cos"), nullptr);
  EXPECT_EQ(second.Symbol("no_such_name"), nullptr);
}

TEST(PlatformSystemDeathTest, TrapSaysWhyAndStopsAsABreakpoint) {
  EXPECT_EXIT(Trap("list is broken"), testing::KilledBySignal(SIGTRAP), "list is broken\n");
}

class SharedBlockTest : public testing::Test {
 protected:
  SharedBlockTest() : name_("/quarle-test-" + std::to_string(getpid())) {
    shm_unlink(name_.c_str());
  }
  ~SharedBlockTest() override { shm_unlink(name_.c_str()); }

  std::string name_;
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

TEST_F(SharedBlockTest, SlotsExcludeByKindAndNumber) {
  const auto a = SharedBlock::Open(name_, 16);
  const auto b = SharedBlock::Open(name_, 16);
  const std::uint32_t far = 65536 + 4194304;
  EXPECT_TRUE(a->LockExclusive(0, false));
  EXPECT_FALSE(a->IsLockedByOthers(0)) << "one's own slot is no one else's";
  EXPECT_TRUE(b->IsLockedByOthers(0));
  EXPECT_FALSE(b->LockExclusive(0, false));
  EXPECT_FALSE(b->LockShared(0, false));
  EXPECT_TRUE(b->LockExclusive(1, false)) << "slots are apart";
  a->Unlock(0);
  EXPECT_TRUE(b->LockShared(0, false));
  EXPECT_TRUE(a->LockShared(0, false));
  EXPECT_FALSE(a->LockExclusive(0, false));
  EXPECT_TRUE(a->LockExclusive(far, false));
  EXPECT_TRUE(b->IsLockedByOthers(far));
}

TEST_F(SharedBlockTest, DeathFreesSlotsBeforeTheProcessIsCollected) {
  const auto block = SharedBlock::Open(name_, 16);
  const pid_t child = EndedChild([&] {
    const auto own = SharedBlock::Open(name_, 16);
    if (!own->LockExclusive(7, false)) _exit(1);
    static_cast<std::uint32_t*>(own->Data())[0] = 7;
    raise(SIGKILL);
  });
  EXPECT_EQ(static_cast<std::uint32_t*>(block->Data())[0], 7U);
  EXPECT_FALSE(block->IsLockedByOthers(7));
  EXPECT_TRUE(block->LockExclusive(7, true));
  Collect(child);
}

}  // namespace
}  // namespace Zef::Platform
