#include "kernel/standard/EarlyInit.h"

#include <atomic>

#include "kernel/KernelBoot.h"
#include "kernel/standard/StringPool.h"
#include "kernel/standard/Task.h"

namespace Zef {
namespace {

using BootStep = void (*)();

// In this order. What a step registers in the exit table is undone in the opposite order, so
// the string pool goes last.
constexpr BootStep kBootSteps[] = {
    BeginKernelBoot,
    StringPool::Create,
    TaskSystem::Create,
    EndKernelBoot,
};

constinit std::atomic<bool> started{false};

struct EarlyInitializer {
  EarlyInitializer() { EarlyInit(); }
};

// 101 is the first priority that is not the implementation's own.
__attribute__((init_priority(101))) const EarlyInitializer initializer;

}  // namespace

void EarlyInit() {
  if (started.exchange(true)) return;
  for (const BootStep step : kBootSteps) step();
}

}  // namespace Zef
