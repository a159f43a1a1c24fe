// SharedBlock: a few bytes of memory that several processes see, and locks between them.
//
// Named by a text; any process of the same user that opens the same name sees the same bytes,
// zero at first. The block is never removed. Locks are numbered slots on the block, owned by
// this object: the system frees them when the process dies in whatever way, also while it is a
// zombie. A forked child holds nothing, and must not use the object.
//
// One object a process and name: slots of two objects in one process exclude each other too.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Zef::Platform {

class SharedBlock {
 public:
  virtual ~SharedBlock() = default;

  /// The shared bytes, `size` as given to Open, aligned for atomics.
  virtual void* Data() = 0;

  /// Takes a slot for this object alone, waiting for it (wait = true) or not. Thread-safe
  /// only against other processes: a caller serialises its own threads.
  virtual bool LockExclusive(std::uint32_t slot, bool wait) = 0;
  /// Takes a slot together with other sharers.
  virtual bool LockShared(std::uint32_t slot, bool wait) = 0;
  virtual void Unlock(std::uint32_t slot) = 0;
  /// True when another object or process holds the slot in any way, or the system cannot say.
  virtual bool IsLockedByOthers(std::uint32_t slot) = 0;

  /// Opens or creates the block. Null when the system has none to give.
  static std::unique_ptr<SharedBlock> Open(const std::string& name, std::size_t size);
};

}  // namespace Zef::Platform
