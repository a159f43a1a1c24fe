// Processes killed at every write to an archive. The system's calls are replaced in this program,
// so that a child can stop before any of them, or halfway through one.

#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "tests/standard/ArchiveFixture.h"
#include "tests/support/ChildProcess.h"

namespace {

// Of the child alone; never reached where it is negative.
int stepsLeft = -1;
bool stopsHalfway = false;
int readsLeft = -1;  // before one that fails

bool IsLastStep() { return stepsLeft >= 0 && stepsLeft-- == 0; }

}  // namespace

extern "C" ssize_t pwrite(int file, const void* from, size_t size, off_t offset) {
  if (IsLastStep()) {
    if (stopsHalfway) syscall(SYS_pwrite64, file, from, size / 2, offset);
    raise(SIGKILL);
  }
  return syscall(SYS_pwrite64, file, from, size, offset);
}

extern "C" ssize_t pread(int file, void* to, size_t size, off_t offset) {
  const bool fails = readsLeft >= 0 && readsLeft-- == 0;
  return syscall(SYS_pread64, fails ? -1 : file, to, size, offset);
}

extern "C" int ftruncate(int file, off_t size) noexcept {
  if (IsLastStep()) raise(SIGKILL);
  return static_cast<int>(syscall(SYS_ftruncate, file, size));
}

namespace {

using ::Test::ChildProcess;

class ArchiveCrash : public ::Test::Archive {
 protected:
  /// Changes the archive in a child that stops at the given step; false when it came to its end.
  bool RunUntil(int step, bool halfway) const {
    const ChildProcess child([&] {
      stepsLeft = step;
      stopsHalfway = halfway;
      Mount();
      if (!Zef::File::Delete("arc:gone") || !Write("new", large_)) return 1;
      if (!Write("Old", "after", 0x102) || !Zef::File::Rename("arc:kept", "arc:moved")) return 1;
      Unmount();
      return 0;
    });
    const int status = child.AwaitEnd();
    EXPECT_TRUE(status == 0 || status == -1) << status;
    return status != 0;
  }

  /// One letter for each change found done; '?' for a file that is neither as before nor as after.
  std::string State() const {
    const auto letter = [](const std::string& is, const std::string& before,
                           const std::string& after, char done) {
      return is == before ? "" : std::string(1, is == after ? done : '?');
    };
    return letter(Read("gone"), "g", "(none)", 'g') + letter(Read("new"), "(none)", large_, 'n') +
           letter(Read("old"), "before", "after", 'o') +
           letter(Read("kept") + Read("moved"), kept_ + "(none)", "(none)" + kept_, 'r');
  }

  /// With `broken`, two heads are zero-sized, of a dead chunk and of a file: no walk gets past.
  void LayAnew(bool broken = false) const {
    std::filesystem::remove(path_);
    Mount();
    ASSERT_TRUE(Write("gone", "g") && Write("dead", "d") && Write("kept", kept_) &&
                Write("old", "before") && Zef::File::Delete("arc:dead"));
    Unmount();
    const std::string head = "FIL " + ::Test::Words({0});
    if (broken) Lay(Bytes().replace(341, 8, head).replace(638, 8, head));
  }

  const std::string kept_ = std::string(5000, 'k');
  const std::string large_ = std::string(40'000, 'n');
};

const std::set<std::string> kStates = {"", "g", "gn", "gno", "gnor"};

TEST_F(ArchiveCrash, KilledAtAnyWriteNothingWholeIsLost) {
  for (const bool halfway : {false, true}) {
    std::set<std::string> seen;
    int step = 0;
    for (bool stopped = true; stopped; ++step) {
      LayAnew(halfway);
      stopped = RunUntil(step, halfway);
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
      EXPECT_FALSE(Zef::FileSubArchive(path_.c_str(), true).DamagedAt()) << step;
      Mount();
      const std::string state = State();
      EXPECT_TRUE(kStates.contains(state)) << state << " at " << step;
      seen.insert(state);
      ASSERT_TRUE(Write("more", "m")) << step;
      for (const bool indexed : {true, false}) {
        Unmount();
        if (!indexed) ForgetIndex();
        Mount();
        EXPECT_EQ(State() + Read("more"), state + "m") << step << indexed;
      }
      Unmount();
    }
    EXPECT_EQ(seen, kStates);
    EXPECT_GE(step, 20) << "the steps are all there";
  }
}

// An error of the device is no damage that could be cut off.
TEST_F(ArchiveCrash, FailedReadsLoseNothing) {
  int spared = 0;  // runs with an index, and without
  for (int reads = 0; spared < 2; ++reads) {
    LayAnew(reads % 2 == 0);
    if (reads % 2 == 1) ForgetIndex();
    readsLeft = reads / 2;
    Mount();
    const bool gone = Zef::File::Delete("arc:gone");
    const bool written = Write("old", "after");
    Unmount();
    spared = std::exchange(readsLeft, -1) < 0 ? 0 : spared + 1;
    for (int again = 0; again < (gone || written ? 2 : 1); ++again, ForgetIndex()) {
      Mount();
      EXPECT_EQ(Read("kept") + Read("old") + Read("gone"),
                kept_ + (written ? "after" : "before") + (gone ? "(none)" : "g"));
      Unmount();
    }
  }
}

}  // namespace
