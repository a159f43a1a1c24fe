// TagContainer: the handle through which all code works with tag trees.
//
// One counted pointer to a node, or null. Copying the handle shares the node; DeepCopy makes a
// heap tree. Everything tolerates a null handle: getters give their default, setters make an
// empty container first. A missing key, or one without value, gives the default as well.
//
// Typed getters convert (Convert.h): a number asked of a text tag is parsed, a text asked of an
// identifier is its tag form. Setters remove the first tag of the key and append, so a key that
// is set again moves to the end. Keys are case-sensitive.
//
// A lookup in a heap container of up to 32 tags is a short walk, in a larger one a hash; in a
// file see NOLBinarySoup. To visit all tags use ForEach, never an index with a lookup.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "kernel/standard/PString.h"
#include "kernel/standard/SharedText.h"
#include "tagdata/HCSChunk.h"
#include "tagdata/PLID.h"

class TagContainer {
 public:
  using Color = std::array<float, 4>;

  TagContainer() = default;
  explicit TagContainer(ChunkRef chunk) : chunk_(std::move(chunk)) {}
  /// A new heap container with copies of all tags below `source`; a null handle for a source
  /// that CopyFrom refuses.
  static TagContainer DeepCopy(const TagContainer& source);

  /// Makes an empty heap container if the handle is null.
  void Ensure();
  void Clear() { chunk_ = nullptr; }
  /// The node, which may be null. IsEmptyHandle says whether it is.
  const ChunkRef& Chunk() const { return chunk_; }
  bool IsEmptyHandle() const { return !chunk_; }
  /// True for a node that is not the null chunk and has a type.
  bool IsValid() const;
  bool IsNull() const { return !IsValid(); }
  /// False only for a view of a file in which nothing was ever edited.
  bool HasChanges() const { return !chunk_ || chunk_->HasChanges(); }

  std::uint32_t GetCount() const;
  /// Null past the end.
  Zef::PString GetTagName(std::uint32_t index) const;
  /// -1 when absent. A null key and the key "" are different here.
  std::int32_t GetTagIndex(const Zef::PString& key) const;
  void SortTags();
  /// False for a tag without value too, although GetCount and GetTagName show it.
  bool HasTag(const Zef::PString& key) const;
  std::int32_t GetTagType(const Zef::PString& key) const;
  void RemoveTag(const Zef::PString& key);
  void RemoveChunk(const ChunkRef& chunk);
  void SwapTags(const ChunkRef& a, const ChunkRef& b);
  /// The node of a key; the null chunk when absent.
  ChunkRef GetTag(const Zef::PString& key) const;
  /// The same by the bytes of the key, which are not interned: for keys made at run time.
  ChunkRef FindTag(std::string_view key) const;
  /// A null handle for everything that is not a container.
  TagContainer GetSubContainer(const Zef::PString& key) const;
  /// The child at a position, by way of its key.
  TagContainer GetSubContainerAt(std::uint32_t index) const;
  /// Null for a missing tag and one without value.
  CoreRef GetRawData(const Zef::PString& key) const;
  /// The first of "0", "1", ... that HasTag does not find. Walks; count yourself in a loop.
  Zef::PString NextFreeNumericKey() const;
  /// Replaces all tags by copies of the source's, or type and value if the source is a value.
  /// Values are shared, not duplicated. Of several tags with one key each copy has the first
  /// one's value. False when the source nests deeper than kMaxTagDepth and was cut there, or
  /// when repeated containers would make more than 2^18 nodes and four times what the source
  /// has: then the copy stops there.
  [[nodiscard]] bool CopyFrom(const TagContainer& source);
  void DebugPrint() const;

  /// Calls `visit(std::string_view key, const ChunkRef& chunk)` for every tag in order, with
  /// what a lookup of its key gives; one pass. A tag without key has a key with null data.
  template <class Visit>
  void ForEach(const Visit& visit) const {
    const std::unique_ptr<TagCursor> tags = chunk_ ? chunk_->Tags() : nullptr;
    std::string_view key;
    ChunkRef chunk;
    while (tags && tags->Next(key, chunk)) visit(key, std::as_const(chunk));
  }

  /// Appends each identifier at any depth, texts that spell one included, that is not null and
  /// not yet in the list.
  void CollectPLIDs(std::vector<PLID>& list) const;
  /// The same for what GetPLID gives for each tag of this container, without its children.
  void CollectPLIDsFlat(std::vector<PLID>& list) const;

  /// A number of exactly 32 bits after conversion, else the default.
  std::int32_t GetInt(const Zef::PString& key, std::int32_t fallback = 0) const;
  bool GetBool(const Zef::PString& key, bool fallback = false) const;
  float GetFloat(const Zef::PString& key, float fallback = 0) const;
  /// The text up to its first zero; null when missing, empty or not convertible.
  Zef::PString GetString(const Zef::PString& key) const;
  /// The same without interning the text.
  Zef::SharedText GetText(const Zef::PString& key) const;
  PLID GetPLID(const Zef::PString& key, const PLID& fallback = PLID()) const;
  /// All values; false, with an empty list, when there is none.
  bool GetFloatArray(const Zef::PString& key, std::vector<float>& values) const;
  /// Three or more values of 0 to 255, scaled to 0 to 1; a fourth is alpha, 1 without it.
  Color GetColor(const Zef::PString& key, const Color& fallback) const;
  std::uint32_t GetRaw32(const Zef::PString& key, std::uint32_t fallback = 0) const;

  void SetNull(const Zef::PString& key);
  /// Attaches the node itself; a null handle adds nothing, nor does this container.
  void SetSubContainer(const Zef::PString& key, const TagContainer& container);
  void SetBinary(const Zef::PString& key, const void* bytes, std::uint32_t size);
  void SetRaw32(const Zef::PString& key, std::uint32_t value);
  void SetFloat(const Zef::PString& key, float value);
  void SetFloatArray(const Zef::PString& key, const std::vector<float>& values);
  /// Null and "" give a tag without payload, as do values of 4 GiB and more.
  void SetString(const Zef::PString& key, const char* text);
  void SetString(const Zef::PString& key, std::string_view text);
  void SetString(const Zef::PString& key, const Zef::PString& text) { SetString(key, text.View()); }
  void SetInt(const Zef::PString& key, std::int32_t value);
  void SetBool(const Zef::PString& key, bool value);
  void SetPLID(const Zef::PString& key, const PLID& value);

 private:
  CoreRef Converted(const Zef::PString& key, std::int32_t type) const;
  template <class T>
  T GetWord(const Zef::PString& key, std::int32_t type, T fallback) const;
  void Set(const Zef::PString& key, std::int32_t type, const CoreRef& core);

  ChunkRef chunk_;
};

/// Compares a counted text with a tag name, ignoring ASCII case; equal lengths only. A null text
/// gives false, a null name false and a trace line.
bool comptagstr(const char* text, std::uint32_t length, const char* tag);
/// The same for two counted texts; two empty ones are equal.
bool comptagstr(const char* a, std::uint32_t aLength, const char* b, std::uint32_t bLength);
