#include "tagdata/NOLBinarySoup.h"

#include <algorithm>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kernel/standard/CodePage.h"
#include "tagdata/TagKeyIndex.h"

namespace {

/// A text of a file from before UTF-8. Always one zero longer than in the file, or than its
/// conversion.
ChunkRef ConvertAnsiText(std::span<const std::byte> payload) {
  std::string text(reinterpret_cast<const char*>(payload.data()), payload.size());
  const bool isAscii = std::none_of(text.begin(), text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  if (!isAscii) {
    text = Zef::ToUtf8(text.substr(0, text.find('\0')));
    text.push_back('\0');
  }
  text.push_back('\0');
  return NewHeapTag(TagString, HCSRawDataCore::Copy(text.data(), text.size()));
}

/// Cuts the padding off the front of an aligned payload; nothing is left if it is all padding.
std::span<const std::byte> CutPadding(std::span<const std::byte> payload, std::size_t offset) {
  const std::size_t padding = (16 - (offset & 15)) & 15;
  return payload.subspan(std::min(padding, payload.size()));
}

/// Texts of files from before UTF-8 come as converted heap tags, unless they are empty.
bool IsConverted(const TagImage& image, const TagRecord& record) {
  return static_cast<TagCode>(record.code) == TagCode::String && record.payloadSize > 0 &&
         image.Version() == TagImage::kAnsiVersion;
}

ChunkRef MakeNode(const Zef::Ref<TagImage>& image, const Zef::Ref<TagOverlay>& overlay,
                  const TagRecord& record) {
  std::span<const std::byte> payload(record.payload, record.payloadSize);
  const auto code = static_cast<TagCode>(record.code);
  if (code == TagCode::Container) return ChunkRef(new NOLBinarySoup(image, overlay, payload));
  if (IsConverted(*image, record)) return ConvertAnsiText(payload);

  const TagType type = TypeOfCode(record.code);
  if (code == TagCode::AlignedBinary) {
    payload = CutPadding(payload, static_cast<std::size_t>(record.payload - image->Data()));
  }
  CoreRef core;
  if (type != TagNull) {
    core = HCSRawDataCore::Wrap(payload.data(), payload.size(), image);
  }
  return ChunkRef(new NOLDataChunk(image, std::move(core), type, record.payload));
}

/// Record at `offset` of a run that was found valid.
TagRecord RecordAt(std::span<const std::byte> run, std::uint32_t offset) {
  TagRecord record{};
  std::span<const std::byte> rest = run.subspan(offset);
  TakeTagRecord(rest, record);
  return record;
}

}  // namespace

/// Where the records of a run begin that `keeps` picks, and a table of their keys.
struct NOLBinarySoup::Index {
  template <class Keeps>
  Index(std::span<const std::byte> run, const Keeps& keeps) {
    std::vector<std::uint32_t> hashes;
    std::span<const std::byte> rest = run;
    TagRecord record{};
    for (;;) {
      const auto offset = static_cast<std::uint32_t>(run.size() - rest.size());
      if (!TakeTagRecord(rest, record)) break;
      if (!keeps(record)) continue;
      offsets.push_back(offset);
      hashes.push_back(TagKeyIndex::Hash(record.key));
    }
    keys = TagKeyIndex(hashes);
  }

  std::vector<std::uint32_t> offsets;
  TagKeyIndex keys;
};

/// Walks the live records through a table of their keys, then the added tags.
class NOLBinarySoup::Cursor final : public TagCursor {
 public:
  explicit Cursor(const NOLBinarySoup& soup)
      : image_(soup.image_),
        overlay_(soup.overlay_),
        run_(soup.run_),
        live_(run_, [&](const TagRecord& record) { return !soup.IsHidden(record); }),
        added_(overlay_->AddedTags(run_.data())) {}

  bool Next(std::string_view& key, ChunkRef& chunk) override {
    if (at_ < live_.offsets.size()) {
      key = RecordAt(run_, live_.offsets[at_]).key;
      const std::uint32_t first = FirstRecord(key);
      isFirst_ = first == at_;
      chunk = isFirst_ ? NodeAt(first) : RepeatOf(first);
      ++at_;
      return true;
    }
    const std::size_t added = at_ - live_.offsets.size();
    if (added >= added_.size()) return false;
    ++at_;
    const Zef::PString& addedKey = added_[added].key;
    key = addedKey.IsNull() ? std::string_view() : addedKey.View();
    const std::uint32_t first = FirstRecord(key);
    chunk = first != TagKeyIndex::kNone ? RepeatOf(first) : FirstAdded(added);
    isFirst_ = chunk == added_[added].chunk;
    return true;
  }

  bool IsFirst() const override { return isFirst_; }

 private:
  std::uint32_t FirstRecord(std::string_view key) const {
    return live_.keys.Find(TagKeyIndex::Hash(key), [&](std::uint32_t position) {
      return RecordAt(run_, live_.offsets[position]).key == key;
    });
  }

  ChunkRef NodeAt(std::uint32_t position) const {
    return MakeNode(image_, overlay_, RecordAt(run_, live_.offsets[position]));
  }

  /// Keeps the node: a text that is converted for each of its repeats could be the whole file.
  ChunkRef RepeatOf(std::uint32_t first) {
    ChunkRef& node = repeated_[first];
    if (!node) node = NodeAt(first);
    return node;
  }

  ChunkRef FirstAdded(std::size_t added) const {
    ChunkRef first = overlay_->FindAdded(run_.data(), added_[added].key);
    return IsNullChunk(first.Get()) ? added_[added].chunk : first;
  }

  Zef::Ref<TagImage> image_;
  Zef::Ref<TagOverlay> overlay_;
  std::span<const std::byte> run_;
  Index live_;
  std::vector<TagOverlay::Added> added_;
  std::unordered_map<std::uint32_t, ChunkRef> repeated_;  ///< by the position of their key's first
  std::size_t at_ = 0;
  bool isFirst_ = false;
};

NOLBinarySoup::NOLBinarySoup(Zef::Ref<TagImage> image, Zef::Ref<TagOverlay> overlay,
                             std::span<const std::byte> run)
    : image_(std::move(image)), overlay_(std::move(overlay)), run_(run) {}

bool NOLBinarySoup::IsHidden(const TagRecord& record) const {
  return overlay_->IsModified() && overlay_->IsHidden(run_.data(), record.payload);
}

void NOLBinarySoup::NoteWalk(std::uint32_t walked) const {
  if (walked <= kLongWalk || longWalks_.fetch_add(1, std::memory_order_relaxed) == 0) {
    return;
  }
  std::call_once(buildOnce_, [this] {
    // Hidden ones as well: what is hidden changes.
    index_ = std::make_unique<const Index>(run_, [](const TagRecord&) { return true; });
    ready_.store(index_.get(), std::memory_order_release);
  });
}

bool NOLBinarySoup::FindRecord(std::string_view key, TagRecord& found) const {
  if (const Index* index = ReadyIndex()) {
    return index->keys.Find(TagKeyIndex::Hash(key), [&](std::uint32_t position) {
      found = RecordAt(run_, index->offsets[position]);
      return found.key == key && !IsHidden(found);
    }) != TagKeyIndex::kNone;
  }
  std::span<const std::byte> rest = run_;
  std::uint32_t walked = 0;
  bool matched = false;
  while (!matched && TakeTagRecord(rest, found)) {
    ++walked;
    matched = found.key == key && !IsHidden(found);
  }
  NoteWalk(walked);
  return matched;
}

ChunkRef NOLBinarySoup::GetTag(const Zef::PString& key) const {
  TagRecord record{};
  if (FindRecord(key.View(), record)) return MakeNode(image_, overlay_, record);
  return overlay_->FindAdded(run_.data(), key);
}

ChunkRef NOLBinarySoup::FindTag(std::string_view key) const {
  TagRecord record{};
  if (FindRecord(key, record)) return MakeNode(image_, overlay_, record);
  return overlay_->FindAdded(run_.data(), key);
}

std::uint32_t NOLBinarySoup::GetCount() const {
  std::uint32_t records = 0;
  if (const Index* index = ReadyIndex()) {
    records = static_cast<std::uint32_t>(index->offsets.size());
  } else {
    std::span<const std::byte> rest = run_;
    TagRecord record{};
    while (TakeTagRecord(rest, record)) ++records;
    NoteWalk(records);
  }
  return records - overlay_->HiddenCount(run_.data()) + overlay_->AddedCount(run_.data());
}

Zef::PString NOLBinarySoup::GetKey(std::uint32_t index) const {
  const auto keyOf = [](const TagRecord& record) {
    return record.key.data() == nullptr ? Zef::PString() : Zef::PString(record.key);
  };
  const Index* table = ReadyIndex();
  if (table != nullptr && overlay_->HiddenCount(run_.data()) == 0) {
    const auto records = static_cast<std::uint32_t>(table->offsets.size());
    if (index >= records) return overlay_->AddedKey(run_.data(), index - records);
    return keyOf(RecordAt(run_, table->offsets[index]));
  }
  std::span<const std::byte> rest = run_;
  TagRecord record{};
  std::uint32_t live = 0;
  while (TakeTagRecord(rest, record)) {
    if (IsHidden(record)) continue;
    if (live++ < index) continue;
    NoteWalk(live);
    return keyOf(record);
  }
  return overlay_->AddedKey(run_.data(), index - live);
}

std::int32_t NOLBinarySoup::GetIndex(const Zef::PString& key) const {
  std::span<const std::byte> rest = run_;
  TagRecord record{};
  std::int32_t index = 0;
  while (TakeTagRecord(rest, record)) {
    if (IsHidden(record)) continue;
    if (record.key == key.View() && (record.key.data() == nullptr) == key.IsNull()) return index;
    ++index;
  }
  for (const TagOverlay::Added& added : overlay_->AddedTags(run_.data())) {
    if (added.key == key) return index;
    ++index;
  }
  return -1;
}

void NOLBinarySoup::AddTag(const Zef::PString& key, const ChunkRef& chunk) {
  if (!chunk || chunk->Identity() == run_.data()) return;
  overlay_->Add(run_.data(), key, chunk);
}

void NOLBinarySoup::RemoveTag(const ChunkRef& chunk) {
  if (!chunk || IsNullChunk(chunk.Get())) return;
  if (overlay_->Drop(run_.data(), chunk.Get())) return;
  const std::byte* payload = chunk->Identity();
  if (payload != nullptr && HasLiveRecord(payload)) overlay_->Hide(run_.data(), payload);
}

void NOLBinarySoup::RemoveAllTags() {
  std::span<const std::byte> rest = run_;
  TagRecord record{};
  while (TakeTagRecord(rest, record)) {
    if (!IsConverted(*image_, record)) overlay_->Hide(run_.data(), record.payload);
  }
  for (const TagOverlay::Added& added : overlay_->AddedTags(run_.data())) {
    overlay_->Drop(run_.data(), added.chunk.Get());
  }
}

bool NOLBinarySoup::HasLiveRecord(const std::byte* payload) const {
  TagRecord record{};
  if (const Index* index = ReadyIndex()) {
    // The last record that begins in front of the payload.
    const auto after = std::partition_point(
        index->offsets.begin(), index->offsets.end(),
        [&](std::uint32_t offset) { return std::less<>()(run_.data() + offset, payload); });
    if (after == index->offsets.begin()) return false;
    record = RecordAt(run_, *std::prev(after));
    return record.payload == payload && !IsHidden(record);
  }
  std::span<const std::byte> rest = run_;
  std::uint32_t walked = 0;
  bool found = false;
  while (!found && TakeTagRecord(rest, record)) {
    ++walked;
    found = record.payload == payload && !IsHidden(record);
  }
  NoteWalk(walked);
  return found;
}

ChunkRef NOLBinarySoup::CreateTag(std::int32_t type, const CoreRef& core) const {
  return NewHeapTag(type, core);
}

std::unique_ptr<TagCursor> NOLBinarySoup::Tags() const { return std::make_unique<Cursor>(*this); }

std::span<const std::byte> NOLBinarySoup::PlainRun() const {
  const bool isPlain = image_->Version() == TagImage::kUtf8Version && !overlay_->IsModified();
  return isPlain ? run_ : std::span<const std::byte>();
}

NOLDataChunk::NOLDataChunk(Zef::Ref<TagImage> image, CoreRef core, std::int32_t type,
                           const std::byte* payload)
    : image_(std::move(image)), core_(std::move(core)), type_(type), payload_(payload) {}
