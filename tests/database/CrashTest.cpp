// Processes that meet a power cut or are killed, and hand the database over. Each is a child, so
// that the parent never has threads of its own when it forks.

#include <poll.h>
#include <sys/socket.h>

#include <set>

#include "database/BaseId.h"
#include "environment/Registry.h"
#include "tests/database/RunningFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PowerCut.h"

namespace {

namespace fs = std::filesystem;

using Test::AddRecord;
using Test::ChildProcess;
using Test::PowerCut;
using Test::ReadWholeFile;
using Test::RunningNames;
using Test::WriteWholeFile;

constexpr int kStopped = -1;  // killed

class CrashTest : public Test::RunningTest {
 protected:
  /// Runs the database in a child that adds a record and writes, then another one.
  void RunRecorded(PowerCut& disk) {
    const ChildProcess child([&] {
      disk.Record();
      MUKInitialise(settings_);
      AddRecord({2, 1, 0}, "new");
      {
        const MUKLock guard(true);
        MUKInternalWriteDatabase();
      }
      PowerCut::Promise();
      AddRecord({2, 2, 0}, "newer");
      MUKShutdown();
      PowerCut::Promise();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
  }

  /// What the next start finds.
  std::string Found() {
    const fs::path answer = told_ / "found";
    const ChildProcess child([&] {
      MUKInitialise(settings_);
      WriteWholeFile(answer, RunningNames());
      MUKShutdown();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
    return ReadWholeFile(answer);
  }
};

TEST_F(CrashTest, AfterAPowerCutTheNextStartLosesNothing) {
  const struct {
    const char* main;
    const char* temporary;
    const char* backup;
  } starts[] = {
      {"o", "-", "-"}, {"o", "x", "n"}, {"-", "o", "p"}, {"x", "o", "-"}, {"x", "x", "o"}};
  for (const auto& start : starts) {
    Lay(start.main, start.temporary, start.backup);
    PowerCut disk(folder_.Path());
    RunRecorded(disk);
    const int states = disk.ForEachState([&](int promises) {
      const std::string names[] = {"o ", "o new ", "o new newer "};
      const auto* const found = std::find(std::begin(names), std::end(names), Found());
      EXPECT_TRUE(found - names >= promises && found != std::end(names))
          << start.main << start.temporary << start.backup << ", " << disk.Where();
    });
    EXPECT_GE(states, 20) << "the steps are all there";
  }
}

TEST_F(CrashTest, AfterAnotherPowerCutDuringTheRecoveryItStillLosesNothing) {
  Lay("o", "-", "-");
  PowerCut first(folder_.Path());
  RunRecorded(first);
  int states = 0;
  first.ForEachState([&](int promises) {
    if (++states % 8 != 0) return;
    PowerCut second(folder_.Path());
    RunRecorded(second);
    second.ForEachState([&](int) {
      EXPECT_TRUE(Found().starts_with(promises == 0 ? "o " : "o new "))
          << first.Where() << ", then " << second.Where();
    });
  });
}

TEST_F(CrashTest, AfterAPowerCutSmallFilesAreAsBeforeOrAsAfter) {
  const std::int32_t user = BaseUserId();
  const auto number = [&] {
    BaseIdSettings settings;
    settings.LoadBaseId(folder_.Path());
    return settings.Get().content;
  };
  const auto write = [&](const char* text, std::int32_t content) {
    BaseIdSettings settings;
    settings.LoadBaseId(folder_.Path());
    return RegistryKey::OpenOrCreate("product").WriteText("value", text) &&
           settings.SetBaseId({77, content, 0});
  };
  SetRegistryRoot(folder_ / "registry");
  ASSERT_TRUE(write("before", 5));
  PowerCut disk(folder_.Path());
  const ChildProcess child([&] {
    disk.Record();
    return write("after", 6) ? 0 : 1;
  });
  ASSERT_EQ(child.AwaitEnd(), 0);
  std::set<std::string> seen;
  disk.ForEachState([&](int) {
    std::string text;
    static_cast<void>(RegistryKey::OpenOrCreate("product").ReadText("value", text));
    seen.insert(text + std::to_string(number()));
  });
  EXPECT_EQ(seen, std::set<std::string>({"before5", "after5", "after6"}));
  SetRegistryRoot("");
  SetBaseUserId(user);
}

/// A process with a database of its own that does what it is told, and idles in between.
class Party {
 public:
  explicit Party(const MUKSettings& settings, const char* stopAt = "")
      : child_([&] { return Serve(settings, stopAt); }) {
    close(ends_.child);
  }
  ~Party() {
    child_.Kill();
    close(ends_.parent);
  }
  Party(const Party&) = delete;
  Party& operator=(const Party&) = delete;

  /// 'a' to 'z' add a record of that user, '#' adds none. The answer is the number of records.
  void Order(char what) { EXPECT_EQ(send(ends_.parent, &what, 1, MSG_NOSIGNAL), 1); }
  int Answer() {
    char answer = -1;
    EXPECT_EQ(read(ends_.parent, &answer, 1), 1);
    return answer;
  }
  int Ask(char what) {
    Order(what);
    return Answer();
  }
  const ChildProcess& Process() const { return child_; }

 private:
  struct Ends {
    Ends() {
      int both[2] = {-1, -1};
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, both), 0);
      parent = both[0];
      child = both[1];
    }
    int parent;
    int child;
  };

  int Serve(MUKSettings settings, const char* stopAt) const {
    close(ends_.parent);
    static std::string_view wanted;
    wanted = stopAt;
    settings.stepObserver = [](const char* step) {
      if (step == wanted) raise(SIGKILL);
    };
    MUKInitialise(settings);
    for (int records = 0;;) {
      pollfd ready{.fd = ends_.child, .events = POLLIN, .revents = 0};
      if (poll(&ready, 1, 1) == 0) {
        MUKIdle();
        continue;
      }
      char what = 0;
      if (read(ends_.child, &what, 1) != 1) return 1;
      if (what != '#') AddRecord({what, ++records, 0}, "r");
      const char count = static_cast<char>(RunningNames().size() / 2);
      if (write(ends_.child, &count, 1) != 1) return 1;
    }
  }

  Ends ends_;
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

TEST_F(CrashTest, AProcessThatExitsEndsItsThreadsAndWaitsForNoOther) {
  const auto exits = [&] {
    return ChildProcess([&] {
             MUKInitialise(settings_);
             std::exit(7);
             return 0;
           })
        .AwaitEnd();
  };
  EXPECT_EQ(exits(), 7);
#ifndef __SANITIZE_THREAD__  // which calls the thread that is left asleep a leak
  Party owner(settings_);
  EXPECT_EQ(owner.Ask('a'), 1);
  EXPECT_EQ(exits(), 7);
#endif
}

TEST_F(CrashTest, AProcessThatIsKilledHoldsNothingBack) {
  Lay("o", "-", "-");
  Party a(settings_);
  EXPECT_EQ(a.Ask('#'), 1);
  Party b(settings_);
  EXPECT_EQ(b.Ask('#'), 1);
  EXPECT_EQ(a.Ask('a'), 2);
  a.Process().Kill();  // and nobody collects it
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
  EXPECT_EQ(a.Process().AwaitEnd(), kStopped);
  EXPECT_EQ(b.Answer(), 2);
}

}  // namespace
