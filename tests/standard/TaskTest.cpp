#include "kernel/standard/Task.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace Zef {
namespace {

class Probe : public Task {
 public:
  using Work = std::function<void(float)>;

  Probe(float period, bool automatic, Work work)
      : Task("Probe", period, automatic), work_(std::move(work)) {}

  bool Initialise(TaskSystem& system) override {
    return ready && Task::Initialise(system) && ++initialised > 0;
  }
  std::int32_t Update(float elapsed) override { return work_(elapsed), 0; }

  bool ready = true;
  int initialised = 0;

 private:
  Work work_;
};

TEST(Task, RunsWhenItsPeriodHasPassed) {
  std::vector<float> elapsed;
  Probe task(2.0F, true, [&](float seconds) { elapsed.push_back(seconds); });
  const Probe manual(0.0F, false, [](float) { FAIL() << "not the cycle's to run"; });
  static int logOpenings = 0;
  LogTask::SetOpener([] { ++logOpenings; });
  const LogTask log;
  TaskSystem& system = *TaskSystem::Get();
  const double birth = Time::Seconds();
  task.ready = false;
  system.Cycle(birth + 100);
  EXPECT_TRUE(elapsed.empty()) << "not before it is initialised";
  task.ready = true;
  for (const double now : {100.5, 101.5, 102.5, 104.5}) system.Cycle(birth + now);
  ASSERT_EQ(elapsed.size(), 3U);
  EXPECT_NEAR(elapsed[0], 101.5, 0.5) << "a new task seems one second old";
  EXPECT_NEAR(elapsed[1] + elapsed[2], 4.0, 0.01);
  EXPECT_EQ(task.initialised, 1);
  EXPECT_TRUE(logOpenings == 1 || logOpenings == 2) << "this log task, and the start-up's own";
}

// Tasks come and go while the cycle walks them.
TEST(Task, CycleSurvivesChangesOfItsList) {
  TaskSystem& system = *TaskSystem::Get();
  const std::uint32_t before = system.Count();
  std::string order;
  std::unique_ptr<Probe> made;
  std::unique_ptr<Probe> doomed;
  const auto make = [](const Probe::Work& work) {
    return std::make_unique<Probe>(0.0F, true, work);
  };
  const auto first = make([&](float) {
    order += '1';
    system.Cycle();
    doomed.reset();
    if (made == nullptr) made = make([&](float) { order += 'm'; });
  });
  doomed = make([&](float) { order += 'd'; });
  std::unique_ptr<Probe> suicide = make([&](float) { order += 's', suicide.reset(); });
  auto last = make([&](float) { order += '2'; });
  system.Cycle();
  EXPECT_EQ(order, "1s2");
  last.reset();
  system.Adopt(new Probe(0.0F, true, [&](float) {}));  // a leak unless the system deletes it
  system.Cycle();
  EXPECT_EQ(order, "1s21m");
  EXPECT_EQ(system.Count(), before + 3);
}

}  // namespace
}  // namespace Zef
