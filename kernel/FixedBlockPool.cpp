#include "kernel/FixedBlockPool.h"

#include <algorithm>
#include <bit>
#include <new>

#include "kernel/BlockAllocator.h"

namespace Zef {

// The hidden word in front of an item.
union FixedBlockPool::Slot {
  Chunk* chunk;  // while in use
  Slot* next;    // while free
};

struct FixedBlockPool::Chunk : IListNode {
  void* raw;  // what the allocator gave
  Slot* freeHead;
  std::uint32_t freeCount;

  // The first slot stands right behind, its item on the alignment.
  std::byte* FirstSlot() { return reinterpret_cast<std::byte*>(this + 1); }
};

namespace {

constexpr std::uint64_t kHiddenWord = sizeof(void*);

std::uint64_t EffectiveAlign(std::uint32_t align) {
  return std::has_single_bit(align) ? std::max<std::uint64_t>(align, kHiddenWord) : kHiddenWord;
}

std::uint64_t RoundUp(std::uint64_t value, std::uint64_t align) {
  return (value + align - 1) & ~(align - 1);
}

}  // namespace

FixedBlockPool::FixedBlockPool(std::uint32_t itemSize, std::uint32_t itemsPerChunk,
                               std::uint32_t align)
    : align_(EffectiveAlign(align)),
      stride_(RoundUp(itemSize + kHiddenWord, align_)),
      itemsPerChunk_(std::max(itemsPerChunk, 1U)) {}

void* FixedBlockPool::Acquire() {
  const std::lock_guard guard(lock_);
  if (uncarved_ == 0 && freeItems_ > 0) return TakeFree();
  if (uncarved_ == 0) {
    Chunk* chunk = MakeChunk();
    if (chunk == nullptr) return nullptr;
    fullChunks_.PushFront(chunk);
    carving_ = chunk;
    uncarved_ = itemsPerChunk_;
  }
  return Carve();
}

void FixedBlockPool::Release(void* item) {
  if (item == nullptr) return;
  const std::lock_guard guard(lock_);
  Slot* slot = static_cast<Slot*>(item) - 1;
  Chunk* chunk = slot->chunk;
  slot->next = chunk->freeHead;
  chunk->freeHead = slot;
  ++freeItems_;
  const bool wasFull = chunk->freeCount++ == 0;
  if (chunk->freeCount == itemsPerChunk_) {
    (wasFull ? fullChunks_ : freeChunks_).Remove(chunk);
    freeItems_ -= static_cast<std::int32_t>(itemsPerChunk_);
    BlockAllocator::Free(chunk->raw);
  } else if (wasFull) {
    fullChunks_.Remove(chunk);
    freeChunks_.PushFront(chunk);
  }
}

void FixedBlockPool::Clear() {
  const std::lock_guard guard(lock_);
  for (IList<Chunk>* list : {&fullChunks_, &freeChunks_}) {
    while (Chunk* chunk = list->Head()) {
      list->Remove(chunk);
      BlockAllocator::Free(chunk->raw);
    }
  }
  carving_ = nullptr;
  uncarved_ = 0;
  freeItems_ = 0;
}

std::int32_t FixedBlockPool::FreeItems() const {
  const std::lock_guard guard(lock_);
  return freeItems_;
}

std::uint32_t FixedBlockPool::Chunks() const {
  const std::lock_guard guard(lock_);
  return fullChunks_.Count() + freeChunks_.Count();
}

void* FixedBlockPool::TakeFree() {
  Chunk* chunk = freeChunks_.Head();
  Slot* slot = chunk->freeHead;
  chunk->freeHead = slot->next;
  slot->chunk = chunk;
  --freeItems_;
  if (--chunk->freeCount == 0) {
    freeChunks_.Remove(chunk);
    fullChunks_.PushFront(chunk);
  }
  return slot + 1;
}

void* FixedBlockPool::Carve() {
  std::byte* place = carving_->FirstSlot() + (itemsPerChunk_ - uncarved_) * stride_;
  auto* slot = reinterpret_cast<Slot*>(place);
  slot->chunk = carving_;
  if (--uncarved_ == 0) carving_ = nullptr;
  return slot + 1;
}

FixedBlockPool::Chunk* FixedBlockPool::MakeChunk() const {
  // The item count is at most 2^32 - 1: past this stride the product would not fit.
  if (stride_ > (std::uint64_t{1} << 31)) return nullptr;
  const std::uint64_t bytes = sizeof(Chunk) + stride_ * itemsPerChunk_ + align_ - 1;
  void* raw = BlockAllocator::Allocate(bytes);
  if (raw == nullptr) return nullptr;
  const std::uint64_t front = sizeof(Chunk) + kHiddenWord;
  const auto base = reinterpret_cast<std::uintptr_t>(raw);
  const std::uintptr_t shift = RoundUp(base + front, align_) - front - base;
  void* place = static_cast<std::byte*>(raw) + shift;
  return ::new (place) Chunk{{}, raw, nullptr, 0};
}

}  // namespace Zef
