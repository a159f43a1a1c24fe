// Operations on an asset that meet a full disk, a power cut, or their end.
// Whatever happens runs in children, so that the parent never has threads when it forks.

#include <sys/mount.h>

#include <cstdlib>
#include <fstream>
#include <set>

#include "tests/database/LifeFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PowerCut.h"

namespace {

namespace fs = std::filesystem;
using Test::ChildProcess;
using Test::PowerCut;
using Test::ReadWholeFile;
using Test::WriteWholeFile;

class LifeFaultTest : public Test::LifeTest {
 protected:
  /// What `body` writes down, run in a child with a database.
  template <typename Body>
  std::string InChild(Body body) {
    const std::string answer = told_ / "answer";
    const ChildProcess child([&] {
      Start();
      WriteWholeFile(answer, body());
      MUKShutdown();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
    return ReadWholeFile(answer);
  }
  /// An empty root, then these steps, and a clean end.
  void Prepare(const char* steps) {
    fs::remove_all(folder_.Path());
    fs::create_directories(folder_.Path());
    ASSERT_EQ(InChild([&] { return Live(steps) ? "ready" : Told(); }), "ready");
  }
  /// What the next start finds. Leftovers count as a state that nobody wants, and so does a record
  /// of another generation than its folder.
  std::string Found() {
    std::string found = InChild([&] {
      const std::string state = State();
      const bool isStale = state[0] == 'I' && state.substr(1) != MUKGetName(kId);
      return isStale ? state + " and stale" : state;
    });
    if (Tree().find("staged-asset") != std::string::npos) found += " and leftovers";
    return found;
  }
  /// The same; of states where a note is to be followed, some also if the power fails again then.
  std::set<std::string> FoundAfterAnyCut() {
    if (Tree().find(".note") == std::string::npos || ++notes_ % 6 != 0) return {Found()};
    PowerCut disk(folder_.Path());
    const ChildProcess child([&] {
      disk.Record();
      Start();
      MUKShutdown();
      return 0;
    });
    EXPECT_EQ(child.AwaitEnd(), 0);
    std::set<std::string> found;
    disk.ForEachState([&](int) { found.insert(Found()); });
    return found;
  }

  int notes_ = 0;
};

TEST_F(LifeFaultTest, AfterAPowerCutTheAssetIsAsBeforeOrAsAfter) {
  const struct {
    const char* before;
    const char* step;
    bool exchanges;
    std::set<std::string> allowed;
    std::string after;  // once it was told that the step is done
  } cases[] = {
      {"n", "c", true, {"E1", "I1"}, "I1"},          {"n", "k", true, {"E1", "E1I1"}, "E1I1"},
      {"nco2", "c", true, {"E2I1", "I2"}, "I2"},     {"nco2t", "c", true, {"E2I1", "I2"}, "I2"},
      {"nco2", "c", false, {"E2I1", "I2"}, "I2"},    {"nco2", "k", false, {"E2I1", "E2I2"}, "E2I2"},
      {"nco2", "k", true, {"E2I1", "E2I2"}, "E2I2"}, {"nc", "o", true, {"I1", "E1I1", "E?I1"}, ""},
      {"nco2", "r", true, {"E2I1", "I1"}, ""},       {"nco2", "d", true, {"E2I1", "I1", "."}, ""},
      {"nc", "f", false, {"I1", ".", "-"}, ""},      {"", "i", true, {"-", "E2", "I2"}, "I2"},
      {"nc", "i", true, {"I1", "E2I1", "I2"}, "I2"},
  };
  for (const auto& each : cases) {
    Prepare(each.before);
    PowerCut disk(folder_.Path());
    const ChildProcess child([&] {
      if (!each.exchanges) PowerCut::ForbidExchange();
      disk.Record();
      Start();
      const bool done = Live(each.step);
      PowerCut::Promise();
      MUKShutdown();
      return done ? 0 : 1;
    });
    ASSERT_EQ(child.AwaitEnd(), 0);
    const int states = disk.ForEachState([&](int promises) {
      const bool isPromised = promises > 0 && !each.after.empty();
      for (const std::string& found : FoundAfterAnyCut()) {
        EXPECT_TRUE(isPromised ? found == each.after : each.allowed.contains(found))
            << found << ": " << each.before << ' ' << each.step << ", " << disk.Where();
      }
    });
    EXPECT_GE(states, 12) << "the steps are all there";
  }
}

// On a file system where a new folder needs a block of its own.
TEST_F(LifeFaultTest, AFullDiskLosesNothingAndCanBeCleared) {
  const std::string image = told_ / "image";
  const std::string mounts = "truncate -s 8M " + image + " && mkfs.ext4 -q " + image +
                             " && mount -o loop " + image + ' ' + folder_.Path().string();
  if (std::system((mounts + " 2>/dev/null").c_str()) != 0) GTEST_SKIP() << "only root may mount";
  const auto fill = [&](int room) {
    std::ofstream filler(folder_ / "filler");
    for (const std::string block(4096, 'x'); filler.write(block.data(), 4096).flush();) continue;
    fs::resize_file(folder_ / "filler", fs::file_size(folder_ / "filler") - room);
  };
  const std::string answer = InChild([&] {
    std::string told;
    for (const bool hasTemp : {true, false}) {
      if (!Live("nco2")) return Told();
      WriteWholeFile(folder_ / (EditFolder() + "/parts/large.txt"), std::string(400'000, 'x'));
      fill(100'000);
      told += Do('k') ? "the copy fitted" : State() + ' ' + Told();
      told += Do('c') ? State() : Told();  // keeps no second copy, so it needs no room
      AwaitSweeps();
      if (!hasTemp) fs::remove_all(folder_ / "temp");
      fill(0);
      Do('f');
      told += State();
      fs::remove(folder_ / "filler");
    }
    return told;
  });
  umount(folder_.Path().c_str());
  EXPECT_EQ(answer, "E2I1 $muk_commit_file_error;I2-E2I1 $muk_commit_file_error;I2-");
}

}  // namespace
