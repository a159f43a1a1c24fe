#include "tagdata/TagContainer.h"

#include <charconv>
#include <cstring>

#include "kernel/standard/CodePage.h"
#include "kernel/standard/Trace.h"
#include "tagdata/Convert.h"
#include "tagdata/NOLContainerTag.h"

namespace {

/// Colour components are stored as 0 to 255.
constexpr float kColorScale = 0.003921569f;

bool HasValue(const ChunkRef& chunk) {
  return chunk && !IsNullChunk(chunk.Get()) && chunk->GetType() != TagNull;
}

TagContainer ContainerOf(const ChunkRef& chunk) {
  return chunk->GetType() == TagSoup ? TagContainer(chunk) : TagContainer();
}

CoreRef ConvertedCore(const ChunkRef& chunk, std::int32_t type) {
  if (!HasValue(chunk)) return nullptr;
  return ConvertTagData(chunk->GetType(), chunk->GetCore(), type);
}

PLID IdOf(const HCSRawDataCore* core, const PLID& fallback) {
  if (core == nullptr || core->Size() != PLID::kStoredSize) return fallback;
  return PLID::FromStored(core->Data());
}

}  // namespace

TagContainer TagContainer::DeepCopy(const TagContainer& source) {
  TagContainer copy;
  copy.Ensure();
  if (source.GetCount() > 0 && !copy.CopyFrom(source)) return {};
  return copy;
}

void TagContainer::Ensure() {
  if (!chunk_) chunk_ = ChunkRef(new NOLContainerTag);
}

bool TagContainer::IsValid() const { return HasValue(chunk_); }

std::uint32_t TagContainer::GetCount() const { return chunk_ ? chunk_->GetCount() : 0; }

Zef::PString TagContainer::GetTagName(std::uint32_t index) const {
  return chunk_ ? chunk_->GetKey(index) : Zef::PString();
}

std::int32_t TagContainer::GetTagIndex(const Zef::PString& key) const {
  return chunk_ ? chunk_->GetIndex(key) : -1;
}

void TagContainer::SortTags() {
  if (chunk_) chunk_->SortTags();
}

bool TagContainer::HasTag(const Zef::PString& key) const { return HasValue(GetTag(key)); }

std::int32_t TagContainer::GetTagType(const Zef::PString& key) const {
  return GetTag(key)->GetType();
}

void TagContainer::RemoveTag(const Zef::PString& key) {
  if (chunk_) chunk_->RemoveKey(key);
}

void TagContainer::RemoveChunk(const ChunkRef& chunk) {
  if (chunk_) chunk_->RemoveTag(chunk);
}

void TagContainer::SwapTags(const ChunkRef& a, const ChunkRef& b) {
  if (chunk_) chunk_->SwapTags(a, b);
}

ChunkRef TagContainer::GetTag(const Zef::PString& key) const {
  return chunk_ ? chunk_->GetTag(key) : NullChunk();
}

ChunkRef TagContainer::FindTag(std::string_view key) const {
  return chunk_ ? chunk_->FindTag(key) : NullChunk();
}

TagContainer TagContainer::GetSubContainer(const Zef::PString& key) const {
  return ContainerOf(GetTag(key));
}

TagContainer TagContainer::GetSubContainerAt(std::uint32_t index) const {
  return index < GetCount() ? GetSubContainer(GetTagName(index)) : TagContainer();
}

CoreRef TagContainer::GetRawData(const Zef::PString& key) const {
  const ChunkRef chunk = GetTag(key);
  return HasValue(chunk) ? chunk->GetCore() : nullptr;
}

Zef::PString TagContainer::NextFreeNumericKey() const {
  for (std::int32_t number = 0;; ++number) {
    char digits[16];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    const std::string_view key(digits, static_cast<std::size_t>(end.ptr - digits));
    if (!HasValue(FindTag(key))) return Zef::PString(key);
  }
}

void TagContainer::DebugPrint() const {
  ForEach([this](std::string_view name, const ChunkRef&) {
    const Zef::PString key = name.data() == nullptr ? Zef::PString() : Zef::PString(name);
    Zef::Trace("TagContainer::DebugPrint> %s %s", key.Text(), GetString(key).Text());
  });
}

CoreRef TagContainer::Converted(const Zef::PString& key, std::int32_t type) const {
  return ConvertedCore(GetTag(key), type);
}

template <class T>
T TagContainer::GetWord(const Zef::PString& key, std::int32_t type, T fallback) const {
  const CoreRef core = Converted(key, type);
  if (core && core->Size() == sizeof fallback)
    std::memcpy(&fallback, core->Data(), sizeof fallback);
  return fallback;
}

std::int32_t TagContainer::GetInt(const Zef::PString& key, std::int32_t fallback) const {
  return GetWord(key, TagInt, fallback);
}

bool TagContainer::GetBool(const Zef::PString& key, bool fallback) const {
  return GetInt(key, fallback ? 1 : 0) != 0;
}

float TagContainer::GetFloat(const Zef::PString& key, float fallback) const {
  return GetWord(key, TagFloat, fallback);
}

Zef::PString TagContainer::GetString(const Zef::PString& key) const {
  const CoreRef core = Converted(key, TagString);
  return core ? Zef::PString(core->Text()) : Zef::PString();
}

Zef::SharedText TagContainer::GetText(const Zef::PString& key) const {
  Zef::SharedText text;
  if (const CoreRef core = Converted(key, TagString)) text.Assign(core->Text());
  return text;
}

PLID TagContainer::GetPLID(const Zef::PString& key, const PLID& fallback) const {
  return IdOf(Converted(key, TagPLID).Get(), fallback);
}

bool TagContainer::GetFloatArray(const Zef::PString& key, std::vector<float>& values) const {
  const CoreRef core = Converted(key, TagFloat);
  values.resize(core ? core->Size() / sizeof(float) : 0);
  if (!values.empty()) std::memcpy(values.data(), core->Data(), values.size() * sizeof(float));
  return !values.empty();
}

TagContainer::Color TagContainer::GetColor(const Zef::PString& key, const Color& fallback) const {
  std::vector<float> values;
  GetFloatArray(key, values);
  if (values.size() < 3) return fallback;
  return {values[0] * kColorScale, values[1] * kColorScale, values[2] * kColorScale,
          values.size() > 3 ? values[3] * kColorScale : 1.0f};
}

std::uint32_t TagContainer::GetRaw32(const Zef::PString& key, std::uint32_t fallback) const {
  return GetWord(key, TagBinary, fallback);
}

void TagContainer::Set(const Zef::PString& key, std::int32_t type, const CoreRef& core) {
  Ensure();
  chunk_->RemoveKey(key);
  chunk_->AddTag(key, chunk_->CreateTag(type, core));
}

void TagContainer::SetNull(const Zef::PString& key) { Set(key, TagNull, nullptr); }

void TagContainer::SetSubContainer(const Zef::PString& key, const TagContainer& container) {
  Ensure();
  const ChunkRef child = container.chunk_;
  if (IsSameNode(child, chunk_)) return;
  chunk_->RemoveKey(key);
  chunk_->AddTag(key, child);
}

void TagContainer::SetBinary(const Zef::PString& key, const void* bytes, std::uint32_t size) {
  Set(key, TagBinary, HCSRawDataCore::Copy(bytes, size));
}

void TagContainer::SetRaw32(const Zef::PString& key, std::uint32_t value) {
  SetBinary(key, &value, sizeof value);
}

void TagContainer::SetFloat(const Zef::PString& key, float value) {
  Set(key, TagFloat, HCSRawDataCore::Copy(&value, sizeof value));
}

void TagContainer::SetFloatArray(const Zef::PString& key, const std::vector<float>& values) {
  Set(key, TagFloat, HCSRawDataCore::Copy(values.data(), values.size() * sizeof(float)));
}

void TagContainer::SetString(const Zef::PString& key, const char* text) {
  SetString(key, text != nullptr ? std::string_view(text) : std::string_view());
}

void TagContainer::SetString(const Zef::PString& key, std::string_view text) {
  Set(key, TagString, HCSRawDataCore::CopyText(text));
}

void TagContainer::SetInt(const Zef::PString& key, std::int32_t value) {
  Set(key, TagInt, HCSRawDataCore::Copy(&value, sizeof value));
}

void TagContainer::SetBool(const Zef::PString& key, bool value) { SetInt(key, value ? 1 : 0); }

void TagContainer::SetPLID(const Zef::PString& key, const PLID& value) {
  Set(key, TagPLID, HCSRawDataCore::Copy(value.Stored().data(), PLID::kStoredSize));
}

bool comptagstr(const char* text, std::uint32_t length, const char* tag) {
  if (text == nullptr) return false;
  if (tag == nullptr) {
    Zef::Trace("comptagstr> null str");
    return false;
  }
  return Zef::EqualFolded({text, length}, tag);
}

bool comptagstr(const char* a, std::uint32_t aLength, const char* b, std::uint32_t bLength) {
  if (aLength != bLength) return false;
  return aLength == 0 ||
         (a != nullptr && b != nullptr && Zef::EqualFolded({a, aLength}, {b, bLength}));
}
