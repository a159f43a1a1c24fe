#include "tagdata/HCSChunk.h"

#include <cstring>
#include <utility>

#include "tagdata/NOLContainerTag.h"

CoreRef HCSRawDataCore::Wrap(const std::byte* data, std::uint32_t size,
                             Zef::Ref<Zef::ReferenceCountMP> keepAlive) {
  if (data == nullptr || size == 0) return nullptr;
  CoreRef core(new HCSRawDataCore(data, size));
  core->keepAlive_ = std::move(keepAlive);
  return core;
}

CoreRef HCSRawDataCore::Adopt(std::unique_ptr<std::byte[]> block, std::uint32_t size) {
  if (block == nullptr || size == 0) return nullptr;
  CoreRef core(new HCSRawDataCore(block.get(), size));
  core->block_ = std::move(block);
  return core;
}

CoreRef HCSRawDataCore::Copy(const void* data, std::uint32_t size) {
  if (data == nullptr || size == 0) return nullptr;
  auto block = std::make_unique_for_overwrite<std::byte[]>(size);
  std::memcpy(block.get(), data, size);
  return Adopt(std::move(block), size);
}

std::string_view HCSRawDataCore::Text() const {
  const char* text = reinterpret_cast<const char*>(data_);
  return {text, strnlen(text, size_)};
}

ChunkRef HCSChunk::GetTag(const Zef::PString&) const { return NullChunk(); }
ChunkRef HCSChunk::FindTag(std::string_view) const { return NullChunk(); }
std::uint32_t HCSChunk::GetCount() const { return 0; }
Zef::PString HCSChunk::GetKey(std::uint32_t) const { return {}; }
void HCSChunk::SortTags() {}
void HCSChunk::SwapTags(const ChunkRef&, const ChunkRef&) {}
void HCSChunk::AddTag(const Zef::PString&, const ChunkRef&) {}
void HCSChunk::RemoveTag(const ChunkRef&) {}
void HCSChunk::RemoveKey(const Zef::PString& key) { RemoveTag(GetTag(key)); }

void HCSChunk::RemoveAllTags() {
  for (std::uint32_t i = GetCount(); i-- > 0;) RemoveKey(GetKey(i));
}

ChunkRef HCSChunk::CreateTag(std::int32_t, const CoreRef&) const { return NullChunk(); }
CoreRef HCSChunk::GetCore() const { return nullptr; }
std::int32_t HCSChunk::GetType() const { return TagNull; }
void HCSChunk::SetData(std::int32_t, const CoreRef&) {}
std::unique_ptr<TagCursor> HCSChunk::Tags() const { return nullptr; }
const std::byte* HCSChunk::Identity() const { return nullptr; }
bool HCSChunk::HasChanges() const { return true; }
std::span<const std::byte> HCSChunk::PlainRun() const { return {}; }
const HCSRawDataCore* HCSChunk::Core() const { return nullptr; }

const std::byte* HCSChunk::GetData() const {
  const HCSRawDataCore* core = Core();
  return core != nullptr ? core->Data() : nullptr;
}

std::uint32_t HCSChunk::GetDataSize() const {
  const HCSRawDataCore* core = Core();
  return core != nullptr ? core->Size() : 0;
}

namespace {

// Never destroyed: handles in static objects of other files may still ask for it at exit.
HCSChunk* SharedNullChunk() {
  static HCSChunk* const chunk = new HCSChunk;
  return chunk;
}

}  // namespace

ChunkRef NullChunk() { return ChunkRef::Share(SharedNullChunk()); }
bool IsNullChunk(const HCSChunk* chunk) { return chunk == SharedNullChunk(); }

bool IsSameNode(const ChunkRef& a, const ChunkRef& b) {
  if (a == b) return true;
  return a && b && a->Identity() != nullptr && a->Identity() == b->Identity();
}

void NOLDataTag::SetData(std::int32_t type, const CoreRef& core) {
  type_ = type;
  core_ = core;
}

ChunkRef NewHeapTag(std::int32_t type, const CoreRef& core) {
  if (type == TagSoup) return ChunkRef(new NOLContainerTag);
  return ChunkRef(new NOLDataTag(type, core));
}
