// Task: a named piece of periodic work, and the one system that runs them.
//
// Whoever hosts the kernel calls TaskSystem::Cycle often, always on one thread. A task belongs to
// its maker, or, once adopted, to the system. Tasks are not locked: they are made, run and
// destroyed on the thread that runs the cycle.

#pragma once

#include <cstdint>

#include "kernel/BlockAllocator.h"
#include "kernel/Containers.h"
#include "kernel/Time.h"
#include "kernel/standard/PString.h"

namespace Zef {

class TaskSystem;

class Task : public KernelObject, public IListNode {
 public:
  /// Joins the system's list. `period`: seconds between two runs. Only an automatic task is run
  /// by the cycle; any other is its maker's to run. The last run is set to one second ago.
  Task(PString name, float period, bool automatic);
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  virtual ~Task();

  virtual const PString& Name() const { return name_; }
  /// Called once before the first Update. An override calls this one; false leaves the task
  /// uninitialised, to be asked again in the next cycle.
  virtual bool Initialise(TaskSystem& system);
  /// One run, `elapsed` seconds after the one before.
  virtual std::int32_t Update(float elapsed);

  float Period() const { return period_; }
  bool IsAutomatic() const { return automatic_; }
  bool IsInitialised() const { return initialised_; }

 private:
  friend class TaskSystem;

  PString name_;
  double lastRun_;  // in seconds of Time
  float period_;
  bool automatic_;
  bool adopted_ = false;  // on the system's intrusive list
  bool initialised_ = false;
};

class TaskSystem : public KernelObject {
 public:
  /// Makes the calling thread the main thread; makes the system and its log task, and registers
  /// their end in the exit table.
  static void Create();
  /// The system, made if need be; null after its end.
  static TaskSystem* Get();

  TaskSystem(const TaskSystem&) = delete;
  TaskSystem& operator=(const TaskSystem&) = delete;
  /// Deletes the adopted tasks.
  ~TaskSystem();

  /// Runs every automatic task whose period has passed, in order of creation. A task made during
  /// the cycle waits for the next one, and one destroyed during it is not run. A call from within
  /// a cycle does nothing. `now` in seconds of Time.
  void Cycle(double now = Time::Seconds());
  /// Hands a task over to the system, which deletes it at its end.
  void Adopt(Task* task);
  /// Number of living tasks. Walks their chunks.
  std::uint32_t Count() const { return static_cast<std::uint32_t>(all_.Count()); }

 private:
  friend class Task;

  TaskSystem() = default;
  void Add(Task* task);
  void Remove(Task* task);
  void Run(Task* task, double now);

  ChunkList<Task*> all_;        // in order of creation
  ChunkList<Task*> remaining_;  // in this cycle
  ICircularList<Task> adopted_;
  bool inCycle_ = false;
};

/// Opens the log when the system initialises its tasks.
class LogTask : public Task {
 public:
  using Opener = void (*)();

  LogTask();
  bool Initialise(TaskSystem& system) override;

  /// What opens the log; the log module sets it, and without it there is none to open.
  static void SetOpener(Opener opener);
};

}  // namespace Zef
