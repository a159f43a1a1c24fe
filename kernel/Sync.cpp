#include "kernel/Sync.h"

#include <algorithm>
#include <array>

#include "kernel/Waitable.h"

namespace Zef {

namespace {

std::shared_ptr<SemaphoreState> MakeSemaphore(std::int32_t initial, std::int32_t maximum,
                                              const char* name) {
  if (initial < 0 || maximum <= 0 || initial > maximum) return nullptr;
  return Waitable::Named<SemaphoreState>(
      name, [&] { return std::make_shared<SemaphoreState>(initial, maximum); });
}

}  // namespace

SyncObject::SyncObject(std::shared_ptr<Waitable> waitable) : waitable_(std::move(waitable)) {}

SyncObject::~SyncObject() = default;

const void* SyncObject::Handle() const { return waitable_.get(); }

bool SyncObject::Lock(std::int32_t timeout) {
  Waitable* const waitable = waitable_.get();
  return waitable != nullptr && Waitable::Wait({&waitable, 1}, false, timeout, nullptr) == 0;
}

bool SyncObject::Unlock(std::int32_t) { return false; }

bool SyncObject::Unlock() { return false; }

WEvent::WEvent(bool manualReset, bool signalled, const char* name)
    : SyncObject(Waitable::Named<EventState>(
          name, [&] { return std::make_shared<EventState>(manualReset, signalled); })) {}

void WEvent::Set() {
  if (auto* state = static_cast<EventState*>(GetWaitable())) state->Set();
}

void WEvent::Reset() {
  if (auto* state = static_cast<EventState*>(GetWaitable())) state->Reset();
}

Mutex::Mutex(bool initiallyOwned, const char* name)
    : SyncObject(Waitable::Named<MutexState>(
          name, [&] { return std::make_shared<MutexState>(initiallyOwned); })) {}

bool Mutex::Unlock(std::int32_t) { return Unlock(); }

bool Mutex::Unlock() {
  auto* const state = static_cast<MutexState*>(GetWaitable());
  return state != nullptr && state->Release();
}

Semaphore::Semaphore(std::int32_t initial, std::int32_t maximum, const char* name)
    : SyncObject(MakeSemaphore(initial, maximum, name)) {}

bool Semaphore::Unlock(std::int32_t count) {
  auto* const state = static_cast<SemaphoreState*>(GetWaitable());
  return state != nullptr && state->Release(count);
}

bool Semaphore::Unlock() { return Unlock(1); }

CriticalSection::CriticalSection(const char*) {}

bool CriticalSection::Lock(std::int32_t) {
  mutex_.lock();
  return true;
}

bool CriticalSection::Unlock() {
  mutex_.unlock();
  return true;
}

MultiLock::MultiLock(std::vector<SyncObject*> objects)
    : objects_(std::move(objects)), locked_(objects_.size()) {}

std::uint32_t MultiLock::Wait(bool all, std::int32_t timeout) {
  Release();
  const std::size_t count = objects_.size();
  if (count == 0 || count > kCapacity) return kFailed;
  std::array<Waitable*, kCapacity> waitables{};
  for (std::size_t i = 0; i < count; ++i) {
    Waitable* const waitable = objects_[i]->GetWaitable();
    const auto end = waitables.begin() + i;
    const bool twice = std::find(waitables.begin(), end, waitable) != end;
    if (waitable == nullptr || (all && twice)) return kFailed;
    waitables[i] = waitable;
  }
  bool abandoned = false;
  const std::int32_t index = Waitable::Wait({waitables.data(), count}, all, timeout, &abandoned);
  if (index < 0) return kTimeout;
  if (all) {
    locked_.assign(count, true);
  } else {
    locked_[static_cast<std::size_t>(index)] = true;
  }
  return (abandoned ? kAbandoned : kSignalled) + static_cast<std::uint32_t>(index);
}

void MultiLock::Release() {
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    if (locked_[i]) objects_[i]->Unlock();
    locked_[i] = false;
  }
}

}  // namespace Zef
