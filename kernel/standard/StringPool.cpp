#include "kernel/standard/StringPool.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "kernel/KernelBoot.h"
#include "kernel/KeyedHash.h"
#include "kernel/standard/EarlyInit.h"
#include "kernel/standard/Log.h"

namespace Zef {
namespace {

using Record = PString::Record;

constexpr std::uint32_t kTerminatorSpace = 4;

constinit std::mutex creationLock;
constinit bool wasCreated = false;

// Texts grow in steps of 16 bytes; the step decides which changes happen in place.
constexpr std::uint32_t CapacityFor(std::uint32_t length) { return ((length + 41) & ~15U) - 24; }

std::uint32_t Hash(std::string_view text) { return static_cast<std::uint32_t>(KeyedHash(text)); }

Record* MakeRecord(std::string_view text, std::uint32_t roomFor) {
  const std::uint32_t capacity = CapacityFor(roomFor);
  void* memory = BlockAllocator::Allocate(sizeof(Record) + capacity + kTerminatorSpace);
  if (memory == nullptr) throw std::bad_alloc();
  auto* record =
      ::new (memory) Record{nullptr, 0, static_cast<std::uint32_t>(text.size()), capacity, {1}};
  std::memcpy(record->Text(), text.data(), text.size());
  record->Text()[text.size()] = 0;
  return record;
}

}  // namespace

constinit std::atomic<StringPool*> PString::pool_{nullptr};

void StringPool::Create() {
  const std::lock_guard guard(creationLock);
  if (wasCreated) return;
  wasCreated = true;
  KernelExitTable::Register(Destroy);
  PString::pool_.store(new StringPool, std::memory_order_release);
}

void StringPool::Destroy() {
  delete PString::pool_.exchange(nullptr);
  LogEnd();
}

StringPool* StringPool::Get() {
  StringPool* pool = PString::pool_.load(std::memory_order_acquire);
  if (pool != nullptr) return pool;
  EarlyInit();
  Create();
  return PString::pool_.load(std::memory_order_acquire);
}

StringPool::~StringPool() {
  for (Record* record : buckets_) {
    while (record != nullptr) {
      Record* next = record->next;
      BlockAllocator::Free(record);
      record = next;
    }
  }
}

Record* StringPool::Intern(std::string_view text) {
  if (text.size() > kMostLength) return nullptr;
  const std::uint32_t hash = Hash(text);
  const std::lock_guard guard(lock_);
  if (Record* found = FindAndRaise(text, hash)) return found;
  Record* record = MakeRecord(text, static_cast<std::uint32_t>(text.size()));
  Insert(record, hash);
  return record;
}

StringPoolStatistics StringPool::Statistics() {
  const std::lock_guard guard(lock_);
  StringPoolStatistics sum{0, 0, hits_, created_, probes_, kReportedBuckets};
  for (const Record* record : buckets_) {
    for (; record != nullptr; record = record->next) {
      const std::uint32_t references = record->references.load(std::memory_order_relaxed);
      sum.references += references;
      sum.liveStrings += references != 0;
    }
  }
  return sum;
}

Record* StringPool::FindAndRaise(std::string_view text, std::uint32_t hash) {
  Record*& head = BucketOf(hash);
  for (Record** link = &head; *link != nullptr; link = &(*link)->next, ++probes_) {
    Record* record = *link;
    if (record->hash != hash || record->View() != text) continue;
    // Texts asked for again soon: to the front with it.
    *link = record->next;
    record->next = head;
    head = record;
    record->references.fetch_add(1, std::memory_order_relaxed);
    ++hits_;
    return record;
  }
  return nullptr;
}

void StringPool::Insert(Record* record, std::uint32_t hash) {
  if (entries_ >= buckets_.size() / 2) Grow();
  record->hash = hash;
  record->next = BucketOf(hash);
  BucketOf(hash) = record;
  ++entries_;
  ++created_;
}

void StringPool::Unlink(Record* record) {
  Record** link = &BucketOf(record->hash);
  while (*link != record) link = &(*link)->next;
  *link = record->next;
  --entries_;
}

void StringPool::Grow() {
  std::vector<Record*> old;
  try {
    old.resize(buckets_.size() * 2);
  } catch (const std::bad_alloc&) {
    return;  // longer chains are the lesser evil
  }
  old.swap(buckets_);
  for (Record* record : old) {
    while (record != nullptr) {
      Record* next = record->next;
      record->next = std::exchange(BucketOf(record->hash), record);
      record = next;
    }
  }
}

Record* StringPool::TakeWorkingRecord(Record* old, std::uint32_t length) {
  // Acquire: whoever let go before has read the text before it changes. A count of 1 is the
  // caller's own and cannot rise, because raising it takes the lock or a handle.
  const bool isOwn = old->references.load(std::memory_order_acquire) < 2;
  if (isOwn && old->capacity >= length) {
    Unlink(old);
    return old;
  }
  Record* working = MakeRecord(old->View(), std::max(length, old->length));
  PString::Release(old);
  return working;
}

Record* StringPool::Reintern(Record* working) {
  const std::uint32_t hash = Hash(working->View());
  if (Record* found = FindAndRaise(working->View(), hash)) {
    BlockAllocator::Free(working);
    return found;
  }
  Insert(working, hash);
  return working;
}

StringPoolStatistics GetStringPoolStatistics() {
  StringPool* pool = StringPool::Get();
  return pool == nullptr ? StringPoolStatistics{} : pool->Statistics();
}

}  // namespace Zef
