#include "kernel/BlockAllocator.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <thread>

#include "kernel/platform/System.h"

namespace Zef {
namespace {

constexpr std::uint32_t kUnitBytes = 8;
constexpr std::uint32_t kHeaderBytes = 4;
constexpr std::uint32_t kCheckPattern = 0x155;
constexpr std::uint32_t kCheckBits = 9;
constexpr std::uint32_t kLockCount = 16;
constexpr std::uint32_t kListBytes = 8192;
constexpr std::size_t kMostBytes = std::size_t{1} << 46;
constexpr std::uintptr_t kLowestPointer = 0x10000;
constexpr std::uintptr_t kHighestPointer = std::uintptr_t{1} << 47;

// Stands before each payload. The header word is the documented one; the link or the true size
// have a word of their own because the smallest payload has four bytes, and because the 23 bits
// of units in the header wrap at 64 MiB.
struct alignas(16) Prefix {
  union {
    std::uint64_t units;  // while in use
    Prefix* next;         // while free
  };
  std::uint32_t unused;
  std::uint32_t header;
};
static_assert(sizeof(Prefix) == 16 && offsetof(Prefix, header) == sizeof(Prefix) - kHeaderBytes);

// Constant-initialised, so that it works before any constructor, and never destroyed.
class alignas(64) SpinLock {
 public:
  void lock() {
    while (held_.exchange(true, std::memory_order_acquire)) WaitUntilFree();
  }
  void unlock() { held_.store(false, std::memory_order_release); }

 private:
  void WaitUntilFree() {
    for (int round = 0; held_.load(std::memory_order_relaxed); ++round) {
      // The holder may have lost its processor: spinning on would only delay it.
      if (round > kSpins) std::this_thread::yield();
    }
  }

  static constexpr int kSpins = 64;
  std::atomic<bool> held_{false};
};

// Written under the class's lock only, read from anywhere: atomic without a locked instruction.
class Counter {
 public:
  std::uint32_t Get() const { return value_.load(std::memory_order_relaxed); }
  void Add(std::uint32_t amount) { value_.store(Get() + amount, std::memory_order_relaxed); }

 private:
  std::atomic<std::uint32_t> value_{0};
};

struct SizeClass {
  Prefix* head = nullptr;
  Counter freeBlocks;
  Counter hits;
  Counter misses;
};

constinit SpinLock locks[kLockCount];
constinit SizeClass classes[BlockAllocator::kClassCount];
constinit std::atomic<std::uint32_t> largeBytes{0};
constinit std::atomic<std::uint32_t> largeRequests{0};

SpinLock& LockOf(std::uint64_t unitClass) { return locks[unitClass % kLockCount]; }

#ifdef ZEF_PLAIN_HEAP
constexpr bool kKeepsFreeBlocks = false;
#else
constexpr bool kKeepsFreeBlocks = true;
#endif

constexpr std::uint32_t LimitOf(std::uint32_t unitClass) {
  if (!kKeepsFreeBlocks) return 0;
  return unitClass == 0 ? 1 : kListBytes / (unitClass * kUnitBytes) + 1;
}

std::uint32_t Truncated(std::uint64_t value) { return static_cast<std::uint32_t>(value); }

void* TakeFromSystem(std::uint64_t units) {
  void* raw = std::malloc(sizeof(Prefix) + units * kUnitBytes - kHeaderBytes);
  if (raw == nullptr) return nullptr;
  auto* prefix = ::new (raw) Prefix;
  prefix->units = units;
  const std::uint32_t word = Truncated(units);
  prefix->header = (word << kCheckBits) | ((word ^ kCheckPattern) & ((1U << kCheckBits) - 1));
  return prefix + 1;
}

void* TakeLarge(std::uint64_t units) {
  largeRequests.fetch_add(1, std::memory_order_relaxed);
  largeBytes.fetch_add(Truncated(units * kUnitBytes), std::memory_order_relaxed);
  return TakeFromSystem(units);
}

bool IsImpossible(const void* payload) {
  const auto address = reinterpret_cast<std::uintptr_t>(payload);
  return address < kLowestPointer || address >= kHighestPointer || address % sizeof(Prefix) != 0;
}

}  // namespace

void* BlockAllocator::Allocate(std::size_t size) {
  if (size > kMostBytes) {
    largeRequests.fetch_add(1, std::memory_order_relaxed);
    return nullptr;
  }
  const std::uint64_t units = (size + kHeaderBytes + kUnitBytes - 1) / kUnitBytes;
  if (units >= kClassCount) return TakeLarge(units);

  SizeClass& sizeClass = classes[units];
  {
    const std::lock_guard guard(LockOf(units));
    if (Prefix* prefix = sizeClass.head) {
      sizeClass.head = prefix->next;
      sizeClass.freeBlocks.Add(~0U);
      sizeClass.hits.Add(1);
      prefix->units = units;
      return prefix + 1;
    }
    sizeClass.misses.Add(1);
  }
  return TakeFromSystem(units);
}

void BlockAllocator::Free(void* payload) {
  if (IsImpossible(payload)) Platform::Trap("BlockAllocator::Free of an impossible pointer");
  Prefix* prefix = static_cast<Prefix*>(payload) - 1;
  const std::uint64_t units = prefix->units;
  if (units >= kClassCount) {
    largeBytes.fetch_sub(Truncated(units * kUnitBytes), std::memory_order_relaxed);
    std::free(prefix);
    return;
  }
  SizeClass& sizeClass = classes[units];
  {
    const std::lock_guard guard(LockOf(units));
    if (sizeClass.freeBlocks.Get() < LimitOf(Truncated(units))) {
      prefix->next = sizeClass.head;
      sizeClass.head = prefix;
      sizeClass.freeBlocks.Add(1);
      return;
    }
  }
  std::free(prefix);
}

BlockAllocator::Statistics BlockAllocator::GetStatistics() {
  Statistics sum{};
  sum.systemBytes = largeBytes.load(std::memory_order_relaxed);
  sum.largeRequests = largeRequests.load(std::memory_order_relaxed);
  for (std::uint32_t unitClass = 0; unitClass < kClassCount; ++unitClass) {
    const SizeClass& sizeClass = classes[unitClass];
    sum.listHits += sizeClass.hits.Get();
    sum.listMisses += sizeClass.misses.Get();
    sum.systemBytes += sizeClass.misses.Get() * unitClass * kUnitBytes;
  }
  return sum;
}

std::uint32_t BlockAllocator::FreeBlocks(std::uint32_t unitClass) {
  return unitClass < kClassCount ? classes[unitClass].freeBlocks.Get() : 0;
}

std::uint32_t BlockAllocator::FreeLimit(std::uint32_t unitClass) {
  return unitClass < kClassCount ? LimitOf(unitClass) : 0;
}

void* KernelObject::operator new(std::size_t size) {
  if (void* memory = BlockAllocator::Allocate(size)) return memory;
  throw std::bad_alloc();
}

void KernelObject::operator delete(void* object) noexcept {
  if (object != nullptr) BlockAllocator::Free(object);
}

}  // namespace Zef
