// What a power cut or a kill leaves of an archive, and what reads that fail do to it.

#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <utility>

#include "tests/standard/ArchiveFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PowerCut.h"

namespace {

int readsLeft = -1;  // before one that fails; never reached where it is negative

}  // namespace

extern "C" ssize_t pread(int file, void* to, size_t size, off_t offset) {
  const bool fails = readsLeft >= 0 && readsLeft-- == 0;
  return syscall(SYS_pread64, fails ? -1 : file, to, size, offset);
}

namespace {

using ::Test::ChildProcess;
using ::Test::PowerCut;

class ArchiveCrash : public ::Test::Archive {
 protected:
  /// One letter for each change found done; '?' for a file that is neither as before nor as after,
  /// 'x' for such a new one.
  std::string State() const {
    const auto letter = [](const std::string& is, const std::string& before,
                           const std::string& after, char done) {
      return is == before ? "" : std::string(1, is == after ? done : '?');
    };
    const std::string fresh = letter(Read("new"), "(none)", large_, 'n');
    return letter(Read("gone"), "g", "(none)", 'g') + (fresh == "?" ? "x" : fresh) +
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

TEST_F(ArchiveCrash, AfterAPowerCutNothingWholeIsLost) {
  for (const bool broken : {false, true}) {
    LayAnew(broken);
    PowerCut disk(folder_.Path());
    const ChildProcess child([&] {
      disk.Record();
      Mount();
      if (!Zef::File::Delete("arc:gone") || !Write("new", large_)) return 1;
      if (!Write("Old", "after", 0x102) || !Zef::File::Rename("arc:kept", "arc:moved")) return 1;
      Unmount();
      PowerCut::Promise();
      return 0;
    });
    ASSERT_EQ(child.AwaitEnd(), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
    std::set<std::string> killed;
    disk.ForEachState([&](int promises) {
      const bool isDamaged = Zef::FileSubArchive(path_.c_str(), true).DamagedAt().has_value();
      EXPECT_FALSE(disk.IsKill() && isDamaged) << disk.Where();
      Mount();
      const std::string state = State();
      if (disk.IsKill()) killed.insert(state);
      EXPECT_EQ(state.find('?'), std::string::npos) << state << ", " << disk.Where();
      EXPECT_TRUE(promises == 0 || state == "gnor") << state << ", " << disk.Where();
      ASSERT_TRUE(Write("more", "m")) << disk.Where();
      for (const bool indexed : {true, false}) {
        Unmount();
        if (!indexed) ForgetIndex();
        Mount();
        EXPECT_EQ(State() + Read("more"), state + "m") << indexed << ", " << disk.Where();
      }
      Unmount();
    });
    EXPECT_EQ(killed, kStates);
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
