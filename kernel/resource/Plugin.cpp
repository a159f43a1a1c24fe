#include "kernel/resource/Plugin.h"

#include <utility>

#include "kernel/resource/PluginSystem.h"

namespace Zef {

// Never destroyed: types with static storage may go at any moment of the exit.
CriticalSection& PluginSystemBase::Lock() {
  static CriticalSection& lock = *new CriticalSection("PluginSystemBaseLock");
  return lock;
}

PluginSystemBase::Use::Use() : guard_(Lock()), system_(AcquireSystem()) {}

PluginSystemBase::Use::~Use() { ReleaseSystem(); }

PluginType::PluginType(const PString& name, const Guid& id, const Guid& group)
    : name_(name), id_(id), groupId_(group) {
  const SyncGuard guard(Lock());
  AcquireSystem().Register(*this);
}

PluginType::~PluginType() {
  const SyncGuard guard(Lock());
  if (!isRegistered_) return;
  const Use use;
  use.System().Unregister(*this);
}

void PluginType::Acquire() {
  const SyncGuard guard(Lock());
  AcquireSystem();
  ++uses_;
}

void PluginType::Release() {
  const SyncGuard guard(Lock());
  --uses_;
  ReleaseSystem();
}

bool PluginType::IsInGroup(const Guid& group) const {
  return group_ != nullptr && group_->Id() == group;
}

PluginGroup::PluginGroup(const PString& name, const Guid& id, const Guid& parent)
    : PluginType(name, id, parent) {
  PluginType::Acquire();
}

void PluginGroup::Release() {
  const SyncGuard guard(Lock());
  PluginType::Release();
  if (Uses() == 0) delete this;
}

PluginInstance::PluginInstance(PluginType& type) : type_(&type) { type.Acquire(); }

PluginInstance::~PluginInstance() { PluginInstance::ReleaseType(); }

void PluginInstance::ReleaseType() {
  if (PluginType* const type = std::exchange(type_, nullptr)) type->Release();
}

}  // namespace Zef
