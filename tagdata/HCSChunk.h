// HCSChunk: one node of a tree of named, typed tags.
//
// Every structured datum of the system is such a tree: an asset's config, a package, the cache
// list, the interface text. Two storage forms stand behind this one interface: heap nodes
// (NOLContainerTag, NOLDataTag) and views into a loaded file (NOLBinarySoup, NOLDataChunk). Code
// outside this folder works through the handle TagContainer and sees no node class.
//
// A lookup that finds nothing gives the null chunk, one shared object, never a null reference.
// Reference counts are atomic, and lookups may run on several threads at once; a tree that is
// being changed belongs to one thread. Trees nest at most kMaxTagDepth deep.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "kernel/Containers.h"
#include "kernel/standard/PString.h"

/// What a tag's payload holds. Types above 7 may be stored but mean nothing to anybody.
enum TagType : std::int32_t {
  TagNull = 0,       ///< a key without value
  TagSoup = 1,       ///< child tags
  TagBinary = 2,     ///< raw bytes
  TagFloat = 3,      ///< one or more 32-bit floats
  TagString = 4,     ///< UTF-8 with its closing zero; an empty text has no payload
  TagStringAlt = 5,  ///< reserved: written as a string, never read
  TagInt = 6,        ///< one or more signed 32-bit numbers
  TagPLID = 7,       ///< the 8 stored bytes of an identifier
};

/// Containers within each other, the root not counted. The innermost one may hold values. Readers
/// and writers of both forms count alike; deeper files are refused, deeper blocks of texts cut off.
inline constexpr std::uint32_t kMaxTagDepth = 1024;

class HCSChunk;
class HCSRawDataCore;
using ChunkRef = Zef::Ref<HCSChunk>;
using CoreRef = Zef::Ref<HCSRawDataCore>;

/// A payload that several tags may share; never changed once it is made. Its bytes have no
/// alignment and strings need not end in a zero: read through the helpers.
class HCSRawDataCore final : public Zef::ReferenceCountMP {
 public:
  /// All three give null for null data, for size 0 and for 4 GiB and more. Wrap leaves the bytes
  /// where they are and holds `keepAlive`, the owner of them.
  static CoreRef Wrap(const std::byte* data, std::size_t size,
                      Zef::Ref<Zef::ReferenceCountMP> keepAlive);
  static CoreRef Adopt(std::unique_ptr<std::byte[]> block, std::size_t size);
  static CoreRef Copy(const void* data, std::size_t size);
  /// A text with its closing zero; null for "" and for 4 GiB and more.
  static CoreRef CopyText(std::string_view text);

  const std::byte* Data() const { return data_; }
  std::uint32_t Size() const { return size_; }
  bool IsOwned() const { return owned_; }
  /// The bytes as text, up to the first zero.
  std::string_view Text() const;

 private:
  HCSRawDataCore(const std::byte* data, std::size_t size, bool owned)
      : data_(data), size_(static_cast<std::uint32_t>(size)), owned_(owned) {}
  static CoreRef Make(std::size_t size, std::byte*& data);

  const std::byte* data_;
  std::uint32_t size_;
  bool owned_;  ///< lies in the block, or right behind the object
  std::unique_ptr<std::byte[]> block_;
  Zef::Ref<Zef::ReferenceCountMP> keepAlive_;
};

/// A walk over the tags of a container in their order. Each tag comes as a lookup of its key
/// would give it: of several tags with one key, every one carries the first one's value. One
/// pass, whatever the size. Changes made during the walk do not show.
class TagCursor {
 public:
  virtual ~TagCursor() = default;
  /// False at the end. `key` has null data for a tag without key; it holds until the next call.
  virtual bool Next(std::string_view& key, ChunkRef& chunk) = 0;
  /// Whether the tag that Next gave is the first of its key. Walks that need every value only
  /// once go by the first ones: repeats within repeats are exponentially many.
  virtual bool IsFirst() const = 0;
};

/// The bare class is the null chunk: its operations do nothing and give nothing.
class HCSChunk : public Zef::ReferenceCountMP {
 public:
  HCSChunk() = default;

  /// The first tag with this key, by identity of the key or by its bytes. A null key and the key
  /// "" are told apart by identity only in heap containers and among tags added to a file.
  virtual ChunkRef GetTag(const Zef::PString& key) const;
  /// The same without interning a key; a null key and "" match each other.
  virtual ChunkRef FindTag(std::string_view key) const;
  virtual std::uint32_t GetCount() const;
  /// Key of the tag at a position; null past the end.
  virtual Zef::PString GetKey(std::uint32_t index) const;
  /// Position of the first tag with this key, a null key and "" told apart; -1 without one.
  virtual std::int32_t GetIndex(const Zef::PString& key) const;
  /// Sorts by the bytes of the keys, stably. Only heap containers sort.
  virtual void SortTags();
  /// Exchanges two values under their keys. Only heap containers swap.
  virtual void SwapTags(const ChunkRef& a, const ChunkRef& b);
  /// Appends, whether or not the key exists. Null, and the container itself, are ignored.
  virtual void AddTag(const Zef::PString& key, const ChunkRef& chunk);
  /// Removes the first tag that holds `chunk`.
  virtual void RemoveTag(const ChunkRef& chunk);
  /// As RemoveTag of what GetTag gives for the key.
  virtual void RemoveKey(const Zef::PString& key);
  /// As RemoveTag of each tag found by key, last position first.
  virtual void RemoveAllTags();
  /// A new tag that is attached to nothing yet; `core` is ignored for a container.
  virtual ChunkRef CreateTag(std::int32_t type, const CoreRef& core) const;
  virtual CoreRef GetCore() const;
  virtual std::int32_t GetType() const;
  /// Replaces type and payload of a heap tag; nothing for every other node.
  virtual void SetData(std::int32_t type, const CoreRef& core);
  /// Null where there can be no tags.
  virtual std::unique_ptr<TagCursor> Tags() const;
  /// Where the tag lies in a file's image, which is its identity there; null for heap nodes.
  virtual const std::byte* Identity() const;
  /// False only for a view of a file that nobody has edited.
  virtual bool HasChanges() const;
  /// The records of a container in a file of the present version that nobody has edited.
  virtual std::span<const std::byte> PlainRun() const;

  /// The payload in place, null and 0 if there is none.
  const std::byte* GetData() const;
  std::uint32_t GetDataSize() const;

 protected:
  ~HCSChunk() override = default;

 private:
  virtual const HCSRawDataCore* Core() const;
};

/// The shared null chunk, which lives to the end of the process.
ChunkRef NullChunk();
bool IsNullChunk(const HCSChunk* chunk);
/// Whether two nodes are one, or two views of one place in a file.
bool IsSameNode(const ChunkRef& a, const ChunkRef& b);

/// A heap node for every type but the container.
class NOLDataTag final : public HCSChunk {
 public:
  NOLDataTag(std::int32_t type, CoreRef core) : core_(std::move(core)), type_(type) {}

  CoreRef GetCore() const override { return core_; }
  std::int32_t GetType() const override { return type_; }
  void SetData(std::int32_t type, const CoreRef& core) override;

 private:
  const HCSRawDataCore* Core() const override { return core_.Get(); }

  CoreRef core_;
  std::int32_t type_;
};

/// A new heap node of any type, as containers of both forms create it.
ChunkRef NewHeapTag(std::int32_t type, const CoreRef& core);
