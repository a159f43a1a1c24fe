// Containers: the small intrusive containers and counting bases of the kernel.
//
// IListNode and ISingleListNode are links that a class inherits; three owners string them
// together: IList (head, tail, count), ICircularList (sentinel, constant-time unlinking without
// the owner) and ISingleList (head only). ITree is a parent and child link. ChunkList holds
// pointers in chunks of 13. ReferenceCount and ReferenceCountMP count holders, Ref is one holder.
//
// Lists own nothing but their chunks. Nothing here locks; only ReferenceCountMP may be counted
// from several threads. Not for bulk data: take std::vector.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "kernel/BlockAllocator.h"

namespace Zef {

struct IListNode {
  IListNode* next = nullptr;
  IListNode* prev = nullptr;
};

struct ISingleListNode {
  ISingleListNode* next = nullptr;
};

/// Doubly linked list with null ends. T inherits IListNode; a node is in one list at a time.
template <typename T>
class IList {
 public:
  T* Head() const { return static_cast<T*>(head_); }
  T* Tail() const { return static_cast<T*>(tail_); }
  std::uint32_t Count() const { return count_; }
  static T* Next(const T* item) { return static_cast<T*>(Node(item)->next); }
  static T* Prev(const T* item) { return static_cast<T*>(Node(item)->prev); }

  void PushFront(T* item) { InsertBetween(nullptr, item, head_); }
  void PushBack(T* item) { InsertBetween(tail_, item, nullptr); }

  /// `item` must be in this list.
  void Remove(T* item) {
    IListNode* node = item;
    (node->prev != nullptr ? node->prev->next : head_) = node->next;
    (node->next != nullptr ? node->next->prev : tail_) = node->prev;
    node->next = node->prev = nullptr;
    --count_;
  }

 private:
  static const IListNode* Node(const T* item) { return item; }

  void InsertBetween(IListNode* before, IListNode* node, IListNode* after) {
    node->prev = before;
    node->next = after;
    (before != nullptr ? before->next : head_) = node;
    (after != nullptr ? after->prev : tail_) = node;
    ++count_;
  }

  IListNode* head_ = nullptr;
  IListNode* tail_ = nullptr;
  std::uint32_t count_ = 0;
};

/// Ring around a sentinel. T inherits IListNode; an item leaves the ring without its owner.
template <typename T>
class ICircularList {
 public:
  ICircularList() { sentinel_.next = sentinel_.prev = &sentinel_; }
  ICircularList(const ICircularList&) = delete;
  ICircularList& operator=(const ICircularList&) = delete;

  T* First() const { return ItemOf(sentinel_.next); }
  /// The item behind `item`, or null at the end of the ring.
  T* Next(const T* item) const { return ItemOf(static_cast<const IListNode*>(item)->next); }

  void PushBack(T* item) {
    IListNode* node = item;
    node->prev = sentinel_.prev;
    node->next = &sentinel_;
    sentinel_.prev->next = node;
    sentinel_.prev = node;
  }

  /// Harmless for an item that is in no ring.
  static void Unlink(T* item) {
    IListNode* node = item;
    if (node->next == nullptr) return;
    node->prev->next = node->next;
    node->next->prev = node->prev;
    node->next = node->prev = nullptr;
  }

 private:
  T* ItemOf(IListNode* node) const { return node == &sentinel_ ? nullptr : static_cast<T*>(node); }

  IListNode sentinel_;
};

/// Singly linked list that grows at its front. T inherits ISingleListNode.
template <typename T>
class ISingleList {
 public:
  T* Head() const { return static_cast<T*>(head_); }
  static T* Next(const T* item) {
    return static_cast<T*>(static_cast<const ISingleListNode*>(item)->next);
  }

  void PushFront(T* item) {
    ISingleListNode* node = item;
    node->next = head_;
    head_ = node;
  }

  /// False when `item` is not in the list. Walks the list.
  bool Remove(T* item) {
    ISingleListNode* node = item;
    for (ISingleListNode** link = &head_; *link != nullptr; link = &(*link)->next) {
      if (*link != node) continue;
      *link = node->next;
      node->next = nullptr;
      return true;
    }
    return false;
  }

 private:
  ISingleListNode* head_ = nullptr;
};

/// Parent and child link. T inherits ITree<T>. A parent does not own its children.
template <typename T>
class ITree {
 public:
  ITree() = default;
  ITree(const ITree&) = delete;
  ITree& operator=(const ITree&) = delete;

  T* Parent() const { return parent_; }
  T* FirstChild() const { return firstChild_; }
  T* NextSibling() const { return nextSibling_; }

  /// Makes `child`, which is detached first, the first child. The caller keeps out cycles.
  void Attach(T* child) {
    ITree& link = *child;
    link.Detach();
    link.parent_ = static_cast<T*>(this);
    link.nextSibling_ = firstChild_;
    firstChild_ = child;
  }

  /// Leaves the parent, if any; the children come along. Walks the siblings in front.
  void Detach() {
    if (parent_ == nullptr) return;
    T** link = &static_cast<ITree*>(parent_)->firstChild_;
    while (*link != static_cast<T*>(this)) link = &static_cast<ITree*>(*link)->nextSibling_;
    *link = nextSibling_;
    parent_ = nextSibling_ = nullptr;
  }

 protected:
  ~ITree() = default;

 private:
  T* parent_ = nullptr;
  T* firstChild_ = nullptr;
  T* nextSibling_ = nullptr;
};

/// Circle of chunks of 13 pointer-sized entries. A push at the end and the walk are constant
/// time an entry; Find walks; PushFront and Erase move at most 12 entries.
template <typename T>
class ChunkList {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the entries are pointers, and that is meant
  static_assert(sizeof(T) == sizeof(void*) && std::is_trivially_copyable_v<T>);

  static constexpr std::uint32_t kEntriesPerChunk = 13;

  struct Chunk : KernelObject {
    Chunk* next = this;
    Chunk* prev = this;
    std::uint32_t count = 0;
    T entries[kEntriesPerChunk];
  };

 public:
  /// Any push and any erase ends the validity of other iterators.
  class Iterator {
   public:
    Iterator() = default;
    T& operator*() const { return *entry_; }
    Iterator& operator++() {
      if (++entry_ != current_->entries + current_->count) return *this;
      current_ = current_->next;
      entry_ = current_ == head_ ? nullptr : current_->entries;
      return *this;
    }
    bool operator==(const Iterator& other) const { return entry_ == other.entry_; }

   private:
    friend class ChunkList;
    Iterator(T* entry, Chunk* head, Chunk* current)
        : entry_(entry), head_(head), current_(current) {}

    T* entry_ = nullptr;  // null at the end
    Chunk* head_ = nullptr;
    Chunk* current_ = nullptr;
  };

  ChunkList() = default;
  ChunkList(const ChunkList& other) : ChunkList() {  // so that a failed copy frees its chunks
    for (T entry : other) PushBack(entry);
  }
  ChunkList(ChunkList&& other) noexcept : head_(std::exchange(other.head_, nullptr)) {}
  ChunkList& operator=(ChunkList other) noexcept {
    std::swap(head_, other.head_);
    return *this;
  }
  ~ChunkList() { Clear(); }

  bool IsEmpty() const { return head_ == nullptr; }
  /// Walks the chunks.
  std::size_t Count() const {
    std::size_t count = 0;
    for (const Chunk* chunk = head_; chunk != nullptr; chunk = After(chunk)) count += chunk->count;
    return count;
  }

  Iterator begin() const {
    return head_ == nullptr ? Iterator() : Iterator(head_->entries, head_, head_);
  }
  Iterator end() const { return Iterator(); }

  void PushBack(T value) {
    Chunk* last = head_ == nullptr ? nullptr : head_->prev;
    if (last == nullptr || last->count == kEntriesPerChunk) last = LinkBeforeHead();
    last->entries[last->count++] = value;
  }

  void PushFront(T value) {
    if (head_ == nullptr || head_->count == kEntriesPerChunk) head_ = LinkBeforeHead();
    MoveEntries(head_, 0, 1);
    head_->entries[0] = value;
    ++head_->count;
  }

  /// The first entry equal to `value`, or end().
  Iterator Find(T value) const {
    Iterator found = begin();
    while (found != end() && *found != value) ++found;
    return found;
  }

  /// Removes the entry at `position`, which is not end(); returns the entry behind it.
  Iterator Erase(Iterator position) {
    Chunk* chunk = position.current_;
    const auto index = static_cast<std::uint32_t>(position.entry_ - chunk->entries);
    MoveEntries(chunk, index + 1, index);
    --chunk->count;
    if (index < chunk->count) return position;
    Chunk* after = After(chunk);
    if (chunk->count == 0) Unlink(chunk);
    return after == nullptr ? Iterator() : Iterator(after->entries, head_, after);
  }

  /// Removes the first entry equal to `value`; false when there is none.
  bool Remove(T value) {
    const Iterator found = Find(value);
    if (found == end()) return false;
    Erase(found);
    return true;
  }

  void Clear() {
    while (head_ != nullptr) Unlink(head_);
  }

 private:
  template <typename C>
  C* After(C* chunk) const {
    return chunk->next == head_ ? nullptr : chunk->next;
  }

  Chunk* LinkBeforeHead() {
    auto* chunk = new Chunk;
    if (head_ == nullptr) return head_ = chunk;
    chunk->next = head_;
    chunk->prev = head_->prev;
    chunk->prev->next = chunk;
    head_->prev = chunk;
    return chunk;
  }

  void Unlink(Chunk* chunk) {
    if (chunk == head_) head_ = chunk->next == chunk ? nullptr : chunk->next;
    chunk->prev->next = chunk->next;
    chunk->next->prev = chunk->prev;
    delete chunk;
  }

  static void MoveEntries(Chunk* chunk, std::uint32_t from, std::uint32_t to) {
    std::memmove(chunk->entries + to, chunk->entries + from, (chunk->count - from) * sizeof(void*));
  }

  Chunk* head_ = nullptr;
};

/// Counted object; born with a count of 1, which its maker holds.
template <typename Counter>
class Counted : public KernelObject {
 public:
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  void AddReference() { ++count_; }
  /// Gives one reference back; the last one destroys the object.
  void Release() {
    if (--count_ == 0) Destroy();
  }
  std::int32_t References() const { return count_; }

 protected:
  Counted() = default;
  virtual void Destroy() { delete this; }
  virtual ~Counted() = default;

 private:
  Counter count_ = 1;
};

/// For one thread at a time.
using ReferenceCount = Counted<std::int32_t>;
/// For holders on any thread.
using ReferenceCountMP = Counted<std::atomic<std::int32_t>>;

/// One holder of a counted object, or of none. Made from a pointer it adopts the reference that
/// a new object is born with: `Ref<Chunk> chunk(new Chunk)`.
template <typename T>
class Ref {
 public:
  constexpr Ref() = default;
  constexpr Ref(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): null is a value of it
  explicit Ref(T* adopted) : object_(adopted) {}
  Ref(const Ref& other) : Ref(Share(other.object_)) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(Ref<U> other)
      : object_(other.Detach()) {}  // NOLINT(google-explicit-constructor): as pointers
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) object_->Release();
  }

  /// A further reference to an object that somebody else holds; null stays null.
  static Ref Share(T* object) {
    if (object != nullptr) object->AddReference();
    return Ref(object);
  }

  T* Get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  friend bool operator==(const Ref& a, const Ref& b) { return a.object_ == b.object_; }

  /// Hands the reference to the caller, who must release it.
  [[nodiscard]] T* Detach() { return std::exchange(object_, nullptr); }

 private:
  T* object_ = nullptr;
};

}  // namespace Zef
