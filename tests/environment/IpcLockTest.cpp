#include "environment/IpcLock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "tests/support/TestFiles.h"

// All parties are processes of their own, forked from a parent that never joins and has no
// threads, and told what to do over a pipe.

namespace {

class Party {
 public:
  explicit Party(const std::string& root) {
    int down[2];
    int up[2];
    if (pipe(down) != 0 || pipe(up) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) Serve(root, down[0], up[1]);
    close(down[0]);
    close(up[1]);
    orders_ = down[1];
    answers_ = up[0];
    EXPECT_TRUE(Ask('p')) << "the party has not come up";
  }
  Party(const Party&) = delete;
  Party& operator=(const Party&) = delete;
  ~Party() {
    close(orders_);
    close(answers_);
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  void Order(char what) { EXPECT_EQ(write(orders_, &what, 1), 1); }
  bool HasAnswer(int timeout) {
    pollfd ready{.fd = answers_, .events = POLLIN, .revents = 0};
    return poll(&ready, 1, timeout) == 1;
  }
  bool Answer() {
    char answer = 0;
    EXPECT_TRUE(HasAnswer(10000) && read(answers_, &answer, 1) == 1);
    return answer == 'y';
  }
  bool Ask(char what) {
    Order(what);
    return Answer();
  }
  /// Kills the process and leaves it a zombie.
  void Kill() const {
    kill(process_, SIGKILL);
    siginfo_t ended{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT), 0);
  }

 private:
  static bool Do(IpcLock* lock, char what) {
    switch (what) {
      case 'p':
        return lock->IpcPoll(), true;
      case 'a':
        return lock->AcquireWriteLock(), lock->HoldsWriteLock();
      case 'r':
        return lock->ReleaseWriteLock(), !lock->HoldsWriteLock();
      case 'c':
        return lock->MarkChanged(), true;
      case 's':
        return lock->IpcShutdown(), !lock->HoldsWriteLock();
      case 'H':
        return lock->HasChanged();
      case 'W':
        return lock->HoldsWriteLock();
      case 'O':
        return lock->OthersWaiting();
      case 'M':
        return lock->IsMaster();
      default:
        _exit(1);
    }
  }

  [[noreturn]] static void Serve(const std::string& root, int orders, int answers) {
    alarm(60);
    IpcLock lock(2);
    lock.IpcStartup(root);
    lock.IpcStartup(root);
    for (char what = 0; read(orders, &what, 1) == 1;) {
      const char answer = Do(&lock, what) ? 'y' : 'n';
      if (write(answers, &answer, 1) != 1) break;
    }
    _exit(0);
  }

  pid_t process_;
  int orders_ = -1;
  int answers_ = -1;
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

TEST_F(IpcLockTest, DeadWriterIsStruckOutBeforeItIsCollected) {
  Party master(Root());
  Party writer(Root());
  Party waiter(Root());
  EXPECT_TRUE(writer.Ask('a'));
  waiter.Order('a');
  EXPECT_FALSE(waiter.HasAnswer(50));
  writer.Kill();
  EXPECT_FALSE(waiter.HasAnswer(50)) << "it is the master's to strike it out";
  EXPECT_TRUE(master.Ask('p'));
  EXPECT_TRUE(waiter.Answer());
}

TEST_F(IpcLockTest, WaiterSucceedsADeadMasterThatWasTheWriter) {
  Party master(Root());
  Party waiter(Root());
  EXPECT_TRUE(master.Ask('a'));
  waiter.Order('a');
  EXPECT_FALSE(waiter.HasAnswer(50));
  master.Kill();
  EXPECT_TRUE(waiter.Answer() && waiter.Ask('M'));
}

TEST_F(IpcLockTest, DeadWaiterDoesNotBlockAnybody) {
  Party a(Root());
  Party b(Root());
  EXPECT_TRUE(a.Ask('a'));
  b.Order('a');
  while (!a.Ask('O')) usleep(1000);
  b.Kill();
  EXPECT_TRUE(a.Ask('r') && a.Ask('a'));
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
  const ::Test::TempFolder other;
  Party a(Root());
  Party b(other.Path().string());
  Party none(std::string{});
  Party none2(std::string{});
  for (Party* party : {&a, &b, &none, &none2}) {
    EXPECT_TRUE(party->Ask('M') && party->Ask('a') && party->Ask('c'));
    EXPECT_TRUE(!party->Ask('H') && !party->Ask('O') && party->Ask('r'));
  }
  Forget(other);
}

TEST_F(IpcLockTest, FirstProcessRemovesTheStaleFile) {
  const std::string stale = folder_ / "09731AC6-B611-4e2a-B181-578073F64F24-ipc";
  const std::string old = std::filesystem::current_path().string();
  std::filesystem::current_path(folder_.Path());
  ::Test::WriteWholeFile(stale, "x");
  { const Party alone(std::string{}); }
  EXPECT_TRUE(std::filesystem::exists(stale)) << "without a root no file is touched";
  { const Party first(Root()); }
  std::filesystem::current_path(old);
  EXPECT_FALSE(std::filesystem::exists(stale));
}

// A folder stands while one holds the lock, and nobody else may find it.
TEST_F(IpcLockTest, NoTwoProcessesEverWriteTogether) {
  const std::string held = folder_ / "held";
  std::vector<pid_t> workers;
  for (int i = 0; i < 4; ++i) {
    const pid_t worker = fork();
    if (worker == 0) {
      IpcLock lock(1);
      lock.IpcStartup(Root());
      for (int round = 0; round < 100; ++round) {
        lock.AcquireWriteLock();
        const bool alone = mkdir(held.c_str(), 0700) == 0;
        usleep(50);
        if (!alone || rmdir(held.c_str()) != 0) _exit(1);
        lock.ReleaseWriteLock();
      }
      _exit(0);
    }
    workers.push_back(worker);
  }
  for (const pid_t worker : workers) {
    int status = -1;
    EXPECT_EQ(waitpid(worker, &status, 0), worker);
    EXPECT_EQ(status, 0);
  }
}

}  // namespace
