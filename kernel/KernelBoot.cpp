#include "kernel/KernelBoot.h"

#include <atomic>
#include <mutex>

#include "kernel/platform/System.h"

namespace Zef {
namespace {

constinit std::atomic<bool> booted{false};
constinit std::atomic<std::uint32_t> mainThread{0};

// Never held while a callback runs, so that this may register further ones.
constinit std::mutex tableLock;
constinit KernelExitTable::Function table[KernelExitTable::kCapacity] = {};
constinit std::uint32_t tableCount = 0;

KernelExitTable::Function PopLast() {
  const std::lock_guard guard(tableLock);
  return tableCount == 0 ? nullptr : table[--tableCount];
}

/// A static object and not std::atexit: its destructor is bound to this module, so it runs when
/// the module is unloaded whoever stands in for atexit (the thread sanitizer does).
struct RunAtExit {
  ~RunAtExit() { KernelExitTable::Run(); }
};

}  // namespace

void KernelBoot() {
  if (booted.load(std::memory_order_relaxed)) return;
  BeginKernelBoot();
  EndKernelBoot();
}

void BeginKernelBoot() {
  if (!booted.exchange(true)) RememberMainThread();
}

void EndKernelBoot() { static const RunAtExit runAtExit; }

void RememberMainThread() { mainThread.store(Platform::CurrentThreadId()); }

bool IsMainThread() { return mainThread.load() == Platform::CurrentThreadId(); }

void KernelExitTable::Register(Function function) {
  KernelBoot();
  if (function == nullptr) return;
  {
    const std::lock_guard guard(tableLock);
    if (tableCount < kCapacity) {
      table[tableCount++] = function;
      return;
    }
  }
  Platform::Trap("KernelExitTable is full");
}

void KernelExitTable::Run() {
  while (const Function function = PopLast()) function();
}

std::uint32_t KernelExitTable::Count() {
  const std::lock_guard guard(tableLock);
  return tableCount;
}

}  // namespace Zef
