// KernelBoot: what has to exist before any other static object, and outlive all of them.
//
// The boot runs once, from an initialiser of early priority or from the first file that asks.
// The exit table runs backward when the module is unloaded or the process ends.

#pragma once

#include <cstdint>

namespace Zef {

/// Idempotent and thread-safe: remembers the calling thread as the main thread and arranges for
/// the exit table to run at unload. Costs one atomic load after the first call.
void KernelBoot();

/// The two halves of it, for a start-up with steps of its own in between. What those make with a
/// destructor is destroyed after the exit table has run.
void BeginKernelBoot();
void EndKernelBoot();

/// The light form: makes the calling thread the main thread, whoever booted the kernel before.
void RememberMainThread();

/// True in the main thread: the one that loaded this module, or that was remembered since.
bool IsMainThread();

class KernelExitTable {
 public:
  using Function = void (*)();
  static constexpr std::uint32_t kCapacity = 1024;

  /// Appends a callback; traps when the table is full. Callbacks run last to first, and may
  /// register further ones while they run.
  static void Register(Function function);
  /// Runs and empties the table. Called by the module's exit; public for tests.
  static void Run();
  static std::uint32_t Count();
};

}  // namespace Zef
