#include "environment/IpcLock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

// All parties are processes of their own, forked from a parent that never joins and has no
// threads, and told what to do over a pipe.

namespace {

class Party {
 public:
  explicit Party(const std::string& root) : process_([&] { return Serve(root); }) {
    EXPECT_TRUE(Ask('p')) << "the party has not come up";
  }

  void Order(char what) { EXPECT_EQ(write(orders_.ends[1], &what, 1), 1); }
  bool HasAnswer(int timeout) {
    pollfd ready{.fd = answers_.ends[0], .events = POLLIN, .revents = 0};
    return poll(&ready, 1, timeout) == 1;
  }
  bool Answer() {
    char answer = 0;
    EXPECT_TRUE(HasAnswer(10000) && read(answers_.ends[0], &answer, 1) == 1);
    return answer == 'y';
  }
  bool Ask(char what) {
    Order(what);
    return Answer();
  }
  /// Leaves a zombie.
  void Kill() { process_.Kill(); }

 private:
  struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() { EXPECT_EQ(pipe(ends), 0); }
    ~Pipe() {
      close(ends[0]);
      close(ends[1]);
    }
  };

  static bool Do(IpcLock* lock, char what) {
    if (what == 'p') lock->IpcPoll();
    if (what == 'a') lock->AcquireWriteLock();
    if (what == 't') return lock->TryAcquireWriteLock();
    if (what == 'r') lock->ReleaseWriteLock();
    if (what == 'c') lock->MarkChanged();
    if (what == 's') lock->IpcShutdown();
    if (what == 'f') return fork() != 0 || usleep(1000000) != 0 || (_exit(0), true);
    if (what == 'H') return lock->HasChanged();
    if (what == 'O') return lock->OthersWaiting();
    if (what == 'M') return lock->IsMaster();
    return what == 'p' || what == 'c' || lock->HoldsWriteLock() == (what == 'a' || what == 'W');
  }

  int Serve(const std::string& root) {
    IpcLock lock(2);
    lock.IpcStartup(root);
    lock.IpcStartup(root);
    for (char what = 0; read(orders_.ends[0], &what, 1) == 1;) {
      const char answer = Do(&lock, what) ? 'y' : 'n';
      if (write(answers_.ends[1], &answer, 1) != 1) break;
    }
    return 0;
  }

  Pipe orders_;
  Pipe answers_;
  ::Test::ChildProcess process_;  // after the pipes that it inherits
};

class IpcLockTest : public testing::Test {
 protected:
  ~IpcLockTest() override { Forget(folder_); }
  static void Forget(const ::Test::TempFolder& root) {
    shm_unlink(IpcLock::BlockName(root.Path().string()).c_str());
  }
  std::string Root() const { return folder_.Path().string(); }

  ::Test::TempFolder folder_;
};

TEST_F(IpcLockTest, HandsTheDatabaseOver) {
  Party a(Root());
  Party b(Root() + "/../" + folder_.Path().filename().string() + "/");
  EXPECT_TRUE(a.Ask('M') && !b.Ask('M'));
  EXPECT_TRUE(a.Ask('a') && a.Ask('a')) << "a second request of the holder returns at once";
  EXPECT_FALSE(a.Ask('O'));
  b.Order('a');
  EXPECT_FALSE(b.HasAnswer(50));
  EXPECT_TRUE(a.Ask('O') && a.Ask('c') && !a.Ask('H')) << "one's own change is no news";
  EXPECT_TRUE(a.Ask('r')) << "one release frees it, however often it was asked for";
  EXPECT_TRUE(b.Answer() && b.Ask('W') && !a.Ask('W'));
  EXPECT_TRUE(b.Ask('H') && !b.Ask('H'));
  EXPECT_FALSE(b.Ask('O')) << "the waiter that got it waits no more";
  Party c(Root());
  EXPECT_FALSE(c.Ask('H')) << "changes before it came are not news";
}

// Neither of the dead is collected: both are zombies while the others go on.
TEST_F(IpcLockTest, DeadWriterAndDeadMasterHoldNobodyUp) {
  Party master(Root());
  Party writer(Root());
  Party waiter(Root());
  EXPECT_TRUE(writer.Ask('a') && writer.Ask('f')) << "its child lives on, and counts for nothing";
  waiter.Order('a');
  writer.Kill();
  EXPECT_FALSE(waiter.HasAnswer(50)) << "it is the master's to strike it out";
  EXPECT_TRUE(master.Ask('p') && waiter.Answer());
  EXPECT_TRUE(waiter.Ask('r') && master.Ask('a'));
  waiter.Order('a');
  EXPECT_FALSE(waiter.HasAnswer(50));
  master.Kill();
  EXPECT_TRUE(waiter.Answer() && waiter.Ask('M'));
}

// One that will not wait must not be counted as waiting, or the owner would yield for nothing.
TEST_F(IpcLockTest, TryingNeverWaits) {
  Party owner(Root());
  Party other(Root());
  EXPECT_TRUE(owner.Ask('a') && owner.Ask('t')) << "the owner has it already";
  EXPECT_FALSE(other.Ask('t'));
  EXPECT_FALSE(owner.Ask('O'));
  EXPECT_TRUE(owner.Ask('r') && other.Ask('t') && other.Ask('W') && !owner.Ask('t'));
  other.Kill();
  EXPECT_TRUE(owner.Ask('t')) << "the dead own nothing";
  EXPECT_TRUE(owner.Ask('s') && !owner.Ask('t')) << "nothing without a record";
}

TEST_F(IpcLockTest, LeavingGivesUpEverything) {
  Party a(Root());
  Party b(Root());
  EXPECT_TRUE(a.Ask('a') && a.Ask('c') && a.Ask('s'));
  EXPECT_TRUE(a.Ask('a') == false && !a.Ask('H') && !a.Ask('O')) << "nothing without a record";
  EXPECT_TRUE(b.Ask('p') && b.Ask('M') && b.Ask('a'));
  b.Kill();
  Party next(Root());
  EXPECT_TRUE(next.Ask('M') && next.Ask('a')) << "the memory outlives its users, its content not";
  EXPECT_FALSE(next.Ask('O'));
}

TEST_F(IpcLockTest, RootsAreApartAndAnEmptyOneIsAlone) {
  const std::string old = std::filesystem::current_path().string();
  const std::string stale = folder_ / "09731AC6-B611-4e2a-B181-578073F64F24-ipc";
  ::Test::WriteWholeFile(stale, "x");
  std::filesystem::current_path(folder_.Path());
  const ::Test::TempFolder other;
  Party none(std::string{});
  Party none2(std::string{});
  EXPECT_TRUE(std::filesystem::exists(stale)) << "without a root no file is touched";
  Party a(Root());
  EXPECT_FALSE(std::filesystem::exists(stale)) << "the first process cleans up";
  std::filesystem::current_path(old);
  Party b(other.Path().string());
  for (Party* party : {&a, &b, &none, &none2}) {
    EXPECT_TRUE(party->Ask('M') && party->Ask('a') && party->Ask('c'));
    EXPECT_TRUE(!party->Ask('H') && !party->Ask('O') && party->Ask('r'));
  }
  Forget(other);
  EXPECT_EQ(IpcLock::BlockName(Root() + "/new/x/../y"),
            IpcLock::BlockName(Root() + "\\.//other\\..\\new/y/"));
}

// A folder stands while one holds the lock, and nobody else may find it.
TEST_F(IpcLockTest, NoTwoProcessesEverWriteTogether) {
  const std::string held = folder_ / "held";
  const auto work = [&] {
    IpcLock lock(1);
    IpcLock twin(1);
    lock.IpcStartup(Root());
    twin.IpcStartup(Root());
    if (twin.IsMaster()) return 2;  // it thinks that it is alone
    for (int round = 0; round < 100; ++round) {
      lock.AcquireWriteLock();
      const bool alone = mkdir(held.c_str(), 0700) == 0;
      usleep(50);
      if (!alone || rmdir(held.c_str()) != 0) return 1;
      lock.ReleaseWriteLock();
    }
    return 0;
  };
  ::Test::ChildProcess first(work);
  ::Test::ChildProcess second(work);
  EXPECT_EQ(first.AwaitEnd(), 0);
  EXPECT_EQ(second.AwaitEnd(), 0);
  EXPECT_EQ(::Test::ChildProcess(work).AwaitEnd(), 0);
}

}  // namespace
