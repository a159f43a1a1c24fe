#include "tagdata/HCSChunk.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "tagdata/NOLContainerTag.h"

namespace {

/// Payloads up to this many bytes share the block of their core.
constexpr std::size_t kMostInline = 256;

bool IsPayloadSize(std::size_t size) {
  return size > 0 && size <= std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

CoreRef HCSRawDataCore::Wrap(const std::byte* data, std::size_t size,
                             Zef::Ref<Zef::ReferenceCountMP> keepAlive) {
  if (data == nullptr || !IsPayloadSize(size)) return nullptr;
  CoreRef core(new HCSRawDataCore(data, size, false));
  core->keepAlive_ = std::move(keepAlive);
  return core;
}

CoreRef HCSRawDataCore::Adopt(std::unique_ptr<std::byte[]> block, std::size_t size) {
  if (block == nullptr || !IsPayloadSize(size)) return nullptr;
  CoreRef core(new HCSRawDataCore(block.get(), size, true));
  core->block_ = std::move(block);
  return core;
}

/// A core of `size` bytes, to be filled at `data`. Small ones lie behind the object itself, which
/// saves most tags an allocation.
CoreRef HCSRawDataCore::Make(std::size_t size, std::byte*& data) {
  if (!IsPayloadSize(size)) return nullptr;
  if (size > kMostInline) {
    auto block = std::make_unique_for_overwrite<std::byte[]>(size);
    data = block.get();
    return Adopt(std::move(block), size);
  }
  auto* const memory =
      static_cast<std::byte*>(KernelObject::operator new(sizeof(HCSRawDataCore) + size));
  data = memory + sizeof(HCSRawDataCore);
  return CoreRef(::new (memory) HCSRawDataCore(data, size, true));
}

CoreRef HCSRawDataCore::Copy(const void* data, std::size_t size) {
  if (data == nullptr) return nullptr;
  std::byte* to = nullptr;
  CoreRef core = Make(size, to);
  if (core) std::memcpy(to, data, size);
  return core;
}

CoreRef HCSRawDataCore::CopyText(std::string_view text) {
  if (text.empty()) return nullptr;
  std::byte* to = nullptr;
  CoreRef core = Make(text.size() + 1, to);
  if (!core) return nullptr;
  std::memcpy(to, text.data(), text.size());
  to[text.size()] = std::byte{0};
  return core;
}

std::string_view HCSRawDataCore::Text() const {
  const char* text = reinterpret_cast<const char*>(data_);
  return {text, strnlen(text, size_)};
}

ChunkRef HCSChunk::GetTag(const Zef::PString&) const { return NullChunk(); }
ChunkRef HCSChunk::FindTag(std::string_view) const { return NullChunk(); }
std::uint32_t HCSChunk::GetCount() const { return 0; }
Zef::PString HCSChunk::GetKey(std::uint32_t) const { return {}; }
std::int32_t HCSChunk::GetIndex(const Zef::PString&) const { return -1; }
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
