#include "kernel/standard/TBuffer.h"

#include <algorithm>
#include <cstring>

namespace Zef {

TBuffer::TBuffer() : storage_(&own_) {}
TBuffer::TBuffer(Storage* storage) : storage_(storage) {}

void TBuffer::Clear() {
  storage_->data.clear();
  storage_->position = 0;
  ForgetReadAhead();
}

std::uint64_t TBuffer::Tell() { return storage_->position - Unread(); }

std::uint64_t TBuffer::Size() { return storage_->data.size(); }

std::uint32_t TBuffer::Write(const void* from, std::uint32_t size) {
  if (storage_->fixed || size == 0) return 0;
  std::vector<std::byte>& data = storage_->data;
  if (storage_->position > data.size()) data.resize(storage_->position);
  const auto* bytes = static_cast<const std::byte*>(from);
  const std::uint64_t over = std::min<std::uint64_t>(size, data.size() - storage_->position);
  if (over > 0) std::memcpy(data.data() + storage_->position, bytes, over);
  data.insert(data.end(), bytes + over, bytes + size);
  storage_->position += size;
  return size;
}

std::uint32_t TBuffer::Read(void* to, std::uint32_t size) {
  const std::uint64_t end = storage_->data.size();
  if (storage_->position >= end) return 0;
  const auto count =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(size, end - storage_->position));
  if (count > 0) std::memcpy(to, storage_->data.data() + storage_->position, count);
  storage_->position += count;
  return count;
}

void TBuffer::Seek(std::int64_t offset, std::int32_t whence) {
  if (whence < 0 || whence > 2) return;
  if (whence == 1 && MoveWithinReadAhead(offset)) return;
  const auto size = static_cast<std::int64_t>(storage_->data.size());
  const auto step = static_cast<std::int64_t>(kGrowStep);
  const std::int64_t room = storage_->fixed ? size : (size + step - 1) / step * step;
  std::int64_t target = 0;
  if (whence == 0) {
    target = std::clamp<std::int64_t>(offset, 0, room);
  } else if (whence == 1) {
    const auto here = static_cast<std::int64_t>(Tell());
    target = here + std::clamp<std::int64_t>(offset, -here, std::max<std::int64_t>(room - here, 0));
  } else {
    target = size - std::clamp<std::int64_t>(offset, size - room, size);
  }
  storage_->position = static_cast<std::uint64_t>(target);
  ForgetReadAhead();
}

bool TBuffer::Eof() { return Unread() == 0 && storage_->position >= storage_->data.size(); }

std::span<const std::byte> TBuffer::View() const { return storage_->data; }

}  // namespace Zef
