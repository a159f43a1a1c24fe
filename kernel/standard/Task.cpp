#include "kernel/standard/Task.h"

#include <memory>
#include <utility>

#include "kernel/KernelBoot.h"
#include "kernel/standard/EarlyInit.h"

namespace Zef {

namespace {

constexpr double kBirthAge = 1.0;  // seconds that a new task seems not to have run

constinit TaskSystem* taskSystem = nullptr;
constinit LogTask* logTask = nullptr;
constinit LogTask::Opener openLog = nullptr;

// The adopted tasks still leave the system's lists while it goes.
void Destroy() {
  delete std::exchange(logTask, nullptr);
  delete taskSystem;
  taskSystem = nullptr;
}

}  // namespace

Task::Task(PString name, float period, bool automatic)
    : name_(std::move(name)),
      lastRun_(Time::Seconds() - kBirthAge),
      period_(period),
      automatic_(automatic) {
  if (TaskSystem* system = TaskSystem::Get()) system->Add(this);
}

Task::~Task() {
  if (taskSystem != nullptr) taskSystem->Remove(this);
}

bool Task::Initialise(TaskSystem&) {
  initialised_ = true;
  return true;
}

std::int32_t Task::Update(float) { return 0; }

void TaskSystem::Create() {
  RememberMainThread();
  if (taskSystem != nullptr) return;
  taskSystem = new TaskSystem;
  logTask = new LogTask;
  KernelExitTable::Register(Destroy);
}

// A static object of a module that loads earlier may ask before the start-up.
TaskSystem* TaskSystem::Get() {
  if (taskSystem == nullptr) EarlyInit();
  return taskSystem;
}

TaskSystem::~TaskSystem() {
  while (Task* task = adopted_.First()) delete task;
}

void TaskSystem::Add(Task* task) { all_.PushBack(task); }

void TaskSystem::Remove(Task* task) {
  if (task->adopted_) ICircularList<Task>::Unlink(task);
  remaining_.Remove(task);
  all_.Remove(task);
}

void TaskSystem::Adopt(Task* task) {
  if (task->adopted_) return;
  task->adopted_ = true;
  adopted_.PushBack(task);
}

void TaskSystem::Cycle(double now) {
  if (inCycle_) return;
  inCycle_ = true;
  const auto leave = [](bool* inCycle) { *inCycle = false; };
  const std::unique_ptr<bool, decltype(leave)> atEnd(&inCycle_, leave);
  remaining_ = all_;
  while (!remaining_.IsEmpty()) {
    Task* const task = *remaining_.begin();
    remaining_.Erase(remaining_.begin());
    Run(task, now);
  }
}

void TaskSystem::Run(Task* task, double now) {
  if (!task->automatic_) return;
  if (!task->initialised_ && !task->Initialise(*this)) return;
  const double elapsed = now - task->lastRun_;
  if (elapsed < static_cast<double>(task->period_)) return;
  task->lastRun_ = now;
  task->Update(static_cast<float>(elapsed));
}

LogTask::LogTask() : Task("Log", 0.0F, true) {}

bool LogTask::Initialise(TaskSystem& system) {
  if (openLog != nullptr) openLog();
  return Task::Initialise(system);
}

void LogTask::SetOpener(Opener opener) { openLog = opener; }

}  // namespace Zef
