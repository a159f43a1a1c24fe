// Processes that stop, or are killed, at every step of the file discipline. Each runs in a child,
// so that the parent never has threads of its own when it forks.

#include <poll.h>

#include <functional>
#include <random>
#include <set>
#include <vector>

#include "tests/database/RunningFixture.h"
#include "tests/support/ChildProcess.h"

namespace {

namespace fs = std::filesystem;

using Test::AddRecord;
using Test::ChildProcess;
using Test::ReadWholeFile;
using Test::RunInChild;
using Test::RunningNames;
using Test::WriteIndex;
using Test::WriteWholeFile;

constexpr int kStopped = 77;

// Of the child alone.
int stepsLeft = 0;

class CrashTest : public Test::RunningTest {
 protected:
  /// The state that a run starts from: which files stand with which records, 'x' for damage.
  void Lay(const char* main, const char* temporary, const char* backup) const {
    fs::remove_all(folder_ / "cache");
    fs::remove_all(folder_ / kMain);
    for (const auto& [name, letters] :
         {std::pair(kMain, main), {kTemporary, temporary}, {kBackup, backup}}) {
      if (*letters == 'x') {
        WriteWholeFile(folder_ / name, "damaged");
      } else if (*letters != '-') {
        WriteIndex(folder_ / name, letters);
      }
    }
  }

  /// Runs the database with one more record in a child that stops after the given number of
  /// steps. True when it was stopped, false when it came to its end.
  bool RunUntil(int steps) {
    const int status = RunInChild([&] {
      stepsLeft = steps;
      settings_.stepObserver = [](const char*) {
        if (stepsLeft-- == 0) _exit(kStopped);
      };
      MUKInitialise(settings_);
      AddRecord({2, 1, 0}, "new");
      {
        const MUKLock guard(true);
        MUKInternalWriteDatabase();
      }
      AddRecord({2, 2, 0}, "newer");
      MUKShutdown();
      return 0;
    });
    EXPECT_TRUE(status == 0 || status == kStopped) << status;
    return status == kStopped;
  }

  /// What the next start finds.
  std::string Found() {
    const fs::path answer = folder_ / "found";
    EXPECT_EQ(0, RunInChild([&] {
      MUKInitialise(settings_);
      WriteWholeFile(answer, RunningNames());
      MUKShutdown();
      return 0;
    }));
    return ReadWholeFile(answer);
  }
};

TEST_F(CrashTest, StoppedAfterAnyStepTheNextStartLosesNothing) {
  const struct {
    const char* main;
    const char* temporary;
    const char* backup;
    int leastSteps;
  } states[] = {{"o", "-", "-", 20}, {"o", "x", "n", 20}, {"-", "o", "p", 20},
                {"-", "x", "o", 20}, {"x", "o", "-", 20}, {"x", "-", "o", 20}};
  const std::set<std::string> allowed = {"o ", "o new ", "o new newer "};
  for (const auto& state : states) {
    int steps = 0;
    for (bool stopped = true; stopped; ++steps) {
      Lay(state.main, state.temporary, state.backup);
      stopped = RunUntil(steps);
      EXPECT_TRUE(allowed.contains(Found()))
          << "stopped at " << steps << " of " << state.main << state.temporary << state.backup;
    }
    EXPECT_GE(steps, state.leastSteps) << "the steps are all there";
    EXPECT_EQ(Found(), "o new newer ");
  }
}

TEST_F(CrashTest, StoppedAgainDuringTheRecoveryItStillLosesNothing) {
  bool firstStopped = true;
  for (int first = 0; firstStopped; first += 2) {
    bool secondStopped = true;
    for (int second = 0; secondStopped; second += 1) {
      Lay("o", "-", "-");
      firstStopped = RunUntil(first);
      secondStopped = RunUntil(second);
      const std::string found = Found();
      EXPECT_EQ(found.substr(0, 2), "o ") << first << ' ' << second;
    }
  }
}

// No step is named here: the child is killed wherever it is, and has told of each write it ended.
TEST_F(CrashTest, KilledAtAnyMomentNoFinishedWriteIsLost) {
  std::mt19937 random(4711);
  for (int round = 0; round < 25; ++round) {
    Lay("-", "-", "-");
    int told[2];
    ASSERT_EQ(pipe(told), 0);
    std::size_t finished = 0;
    {
      ChildProcess child([&] {
        MUKInitialise(settings_);
        for (int i = 0;; ++i) {
          AddRecord({1, i, 0}, "r");
          const MUKLock guard(true);
          MUKInternalWriteDatabase();
          if (write(told[1], "w", 1) != 1) return 1;
        }
      });
      close(told[1]);
      pollfd ready{.fd = told[0], .events = POLLIN, .revents = 0};
      poll(&ready, 1, 10000);
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
      child.Kill();
      for (char ignored = 0; read(told[0], &ignored, 1) == 1;) ++finished;
      close(told[0]);
    }
    ASSERT_GE(finished, 1u);
    const std::size_t found = Found().size() / 2;
    EXPECT_GE(found, finished);
    EXPECT_LE(found, finished + 1);
  }
}

/// A process with a database of its own that does what it is told, and idles in between.
class Party {
 public:
  Party(const MUKSettings& settings, const char* stopAt = nullptr)
      : pipes_(), child_([&] { return Serve(settings, stopAt); }) {
    close(pipes_.down[0]);
    close(pipes_.up[1]);
  }
  ~Party() {
    close(pipes_.down[1]);
    close(pipes_.up[0]);
  }
  Party(const Party&) = delete;
  Party& operator=(const Party&) = delete;

  /// 'a' to 'z' add a record of that name, '#' counts them.
  void Order(char what) { EXPECT_EQ(write(pipes_.down[1], &what, 1), 1); }
  bool HasAnswer(int milliseconds) const {
    pollfd ready{.fd = pipes_.up[0], .events = POLLIN, .revents = 0};
    return poll(&ready, 1, milliseconds) == 1;
  }
  int Answer() {
    char answer = 0;
    EXPECT_TRUE(HasAnswer(20000) && read(pipes_.up[0], &answer, 1) == 1);
    return answer;
  }
  int Ask(char what) {
    Order(what);
    return Answer();
  }
  void Kill() { child_.Kill(); }
  void AwaitEnd() { child_.AwaitEnd(); }

 private:
  struct Pipes {
    Pipes() {
      if (pipe(down) != 0 || pipe(up) != 0) std::abort();
    }
    int down[2];
    int up[2];
  };

  int Serve(MUKSettings settings, const char* stopAt) const {
    static const char* wanted = stopAt;
    settings.stepObserver = [](const char* step) {
      if (wanted != nullptr && std::string_view(step) == wanted) _exit(kStopped);
    };
    MUKInitialise(settings);
    for (int records = 0;;) {
      pollfd ready{.fd = pipes_.down[0], .events = POLLIN, .revents = 0};
      if (poll(&ready, 1, 1) == 0) {
        MUKIdle();
        continue;
      }
      char what = 0;
      if (read(pipes_.down[0], &what, 1) != 1) return 1;
      if (what != '#') AddRecord({what, ++records, 0}, "r");
      const char count = static_cast<char>(RunningNames().size() / 2);
      if (write(pipes_.up[1], &count, 1) != 1) return 1;
    }
  }

  Pipes pipes_;
  ChildProcess child_;
};

TEST_F(CrashTest, TwoProcessesHandTheDatabaseOver) {
  Party a(settings_);
  EXPECT_EQ(a.Ask('#'), 0);
  Party b(settings_);
  for (int records = 0; records < 8; records += 2) {
    EXPECT_EQ(b.Ask('b'), records + 1) << "a writes and gives way when it is asked to";
    EXPECT_EQ(a.Ask('a'), records + 2);
  }
  EXPECT_EQ(b.Ask('#'), 8);
}

TEST_F(CrashTest, AProcessThatIsKilledHoldsNothingBack) {
  WriteIndex(folder_ / kMain, "o");
  Party a(settings_);
  EXPECT_EQ(a.Ask('#'), 1);
  Party b(settings_);
  EXPECT_EQ(b.Ask('#'), 1);
  EXPECT_EQ(a.Ask('a'), 2);
  a.Kill();  // and nobody collects it
  EXPECT_EQ(b.Ask('#'), 1) << "the change was not written";
  EXPECT_EQ(b.Ask('b'), 2);
  EXPECT_EQ(Found(), "o r ") << "and b, waited for, has written";
}

TEST_F(CrashTest, AWriteThatWasNotAnnouncedIsSeen) {
  Party b(settings_);
  EXPECT_EQ(b.Ask('b'), 1);
  Party a(settings_, "write: renamed");
  EXPECT_EQ(a.Ask('a'), 2);
  b.Order('#');  // a writes, and ends before it can say so
  a.AwaitEnd();
  EXPECT_EQ(b.Answer(), 2);
}

}  // namespace
