#include "kernel/standard/Task.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace Zef {
namespace {

class Probe : public Task {
 public:
  Probe(float period, bool automatic, std::function<void(float)> work)
      : Task("Probe", period, automatic), work_(std::move(work)) {}

  bool Initialise(TaskSystem& system) override {
    return ready && Task::Initialise(system) && ++initialised > 0;
  }
  std::int32_t Update(float elapsed) override {
    work_(elapsed);
    return 0;
  }

  bool ready = true;
  int initialised = 0;

 private:
  std::function<void(float)> work_;
};

TEST(Task, RunsWhenItsPeriodHasPassed) {
  std::vector<float> elapsed;
  const auto note = [&](float seconds) { elapsed.push_back(seconds); };
  Probe task(2.0F, true, note);
  Probe manual(0.0F, false, [](float) { FAIL() << "not the cycle's to run"; });
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
}

// Tasks come and go while the cycle walks them.
TEST(Task, CycleSurvivesChangesOfItsList) {
  TaskSystem& system = *TaskSystem::Get();
  const std::uint32_t before = system.Count();
  std::vector<char> order;
  std::unique_ptr<Probe> made;
  auto doomed = std::make_unique<Probe>(0.0F, true, [&](float) { order.push_back('d'); });
  std::unique_ptr<Probe> suicide;
  Probe first(0.0F, true, [&](float) {
    order.push_back('f');
    system.Cycle();
    doomed.reset();
    if (made == nullptr) {
      made = std::make_unique<Probe>(0.0F, true, [&](float) { order.push_back('m'); });
    }
  });
  suicide = std::make_unique<Probe>(0.0F, true, [&](float) {
    order.push_back('s');
    suicide.reset();
  });
  auto last = std::make_unique<Probe>(0.0F, true, [&](float) { order.push_back('l'); });
  system.Cycle();
  EXPECT_EQ(std::string(order.begin(), order.end()), "dfsl");
  order.clear();
  last.reset();
  system.Cycle();
  EXPECT_EQ(std::string(order.begin(), order.end()), "fm");
  made.reset();
  EXPECT_EQ(system.Count(), before + 1);
}

TEST(Task, AdoptedTasksMayStillBeDeletedByHand) {
  auto* const task = new Probe(0.0F, false, [](float) {});
  TaskSystem::Get()->Adopt(task);
  TaskSystem::Get()->Adopt(task);
  delete task;
  TaskSystem::Get()->Adopt(new Probe(0.0F, false, [](float) {}));  // a leak unless deleted
}

TEST(LogTask, OpensTheLogInTheFirstCycle) {
  static int opened;
  LogTask task;
  LogTask::SetOpener([] { ++opened; });
  EXPECT_EQ(task.Name(), PString("Log"));
  for (int i = 0; i < 2; ++i) TaskSystem::Get()->Cycle(Time::Seconds() + i);
  EXPECT_TRUE(opened > 0 && task.IsInitialised());
  const int once = opened;
  TaskSystem::Get()->Cycle();
  EXPECT_EQ(opened, once);
  LogTask::SetOpener(nullptr);
}

}  // namespace
}  // namespace Zef
