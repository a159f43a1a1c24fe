// NOLBinarySoup: a container that lies in a file image, and NOLDataChunk, a value that does.
//
// Both are small objects made anew by every lookup; what identifies a tag is where its payload
// lies. A soup shows the file's records in their order without those that the overlay hides, and
// then the tags that the overlay adds. Lookups walk the record headers; the second long walk of
// one soup builds a table of its keys. Lookups may run on several threads while nobody edits.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>

#include "tagdata/HCSChunk.h"
#include "tagdata/TagImage.h"
#include "tagdata/TagOverlay.h"
#include "tagdata/TagRecord.h"

class NOLBinarySoup final : public HCSChunk {
 public:
  /// A walk over more records than this is a long one.
  static constexpr std::uint32_t kLongWalk = 64;

  /// `run` is a part of the image that was found valid.
  NOLBinarySoup(Zef::Ref<TagImage> image, Zef::Ref<TagOverlay> overlay,
                std::span<const std::byte> run);

  ChunkRef GetTag(const Zef::PString& key) const override;
  ChunkRef FindTag(std::string_view key) const override;
  std::uint32_t GetCount() const override;
  Zef::PString GetKey(std::uint32_t index) const override;
  std::int32_t GetIndex(const Zef::PString& key) const override;
  void AddTag(const Zef::PString& key, const ChunkRef& chunk) override;
  /// A heap tag that this container does not carry is ignored: texts of old files, which are
  /// converted into heap tags, can therefore be neither removed nor replaced.
  void RemoveTag(const ChunkRef& chunk) override;
  /// Hides every record but the texts that RemoveTag ignores, and drops every added tag.
  void RemoveAllTags() override;
  ChunkRef CreateTag(std::int32_t type, const CoreRef& core) const override;
  std::int32_t GetType() const override { return TagSoup; }
  std::unique_ptr<TagCursor> Tags() const override;
  const std::byte* Identity() const override { return run_.data(); }
  bool HasChanges() const override { return overlay_->IsModified(); }
  std::span<const std::byte> PlainRun() const override;

 private:
  class Cursor;
  struct Index;

  bool IsHidden(const TagRecord& record) const;
  bool FindRecord(std::string_view key, TagRecord& found) const;
  bool HasLiveRecord(const std::byte* payload) const;
  /// Counts a walk over `walked` records as a reason to build the table.
  void NoteWalk(std::uint32_t walked) const;
  const Index* ReadyIndex() const { return ready_.load(std::memory_order_acquire); }

  Zef::Ref<TagImage> image_;
  Zef::Ref<TagOverlay> overlay_;
  std::span<const std::byte> run_;
  mutable std::atomic<std::uint32_t> longWalks_ = 0;
  mutable std::once_flag buildOnce_;
  mutable std::unique_ptr<const Index> index_;
  mutable std::atomic<const Index*> ready_ = nullptr;
};

class NOLDataChunk final : public HCSChunk {
 public:
  /// `core` lies in the image and may be null; `payload` is where the record's payload begins.
  NOLDataChunk(Zef::Ref<TagImage> image, CoreRef core, std::int32_t type, const std::byte* payload);

  CoreRef GetCore() const override { return core_; }
  std::int32_t GetType() const override { return type_; }
  const std::byte* Identity() const override { return payload_; }

 private:
  const HCSRawDataCore* Core() const override { return core_.Get(); }

  Zef::Ref<TagImage> image_;
  CoreRef core_;
  std::int32_t type_;
  const std::byte* payload_;
};
