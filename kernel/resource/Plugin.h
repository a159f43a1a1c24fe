// Plugin: what the plug-in system finds (types), sorts (groups), and makes (instances).
//
//   class WheelFactory final : public Zef::PluginFactoryBase<Thing> {
//    public:
//     WheelFactory() : PluginFactoryBase("wheel", kWheelId, kThingGroup) {}
//     Zef::Ref<Thing> Create() override { return Zef::Ref<Thing>(new Wheel(*this)); }
//   };
//
// Constructing a type registers it, destroying it takes it out again; its maker keeps it. A type
// holds the plug-in system. Any thread may come, for everything goes through the one lock of the
// system; but others can find a type before its constructor has ended and while its destructor
// runs. So types are made and destroyed under PluginSystemBase::Lock(), as they are while a library
// is loading, or while there are no other threads.
//
// This is the interface of plug-in libraries: see docs/plugins.md for what they export.

#pragma once

#include <cstdint>

#include "kernel/Containers.h"
#include "kernel/Sync.h"
#include "kernel/platform/Export.h"
#include "kernel/resource/Guid.h"
#include "kernel/standard/PString.h"

namespace Zef {

class DynamicLibrary;
class PluginGroup;
class PluginSystem;

/// The way to the one plug-in system. No state of its own.
class ZEF_API PluginSystemBase {
 public:
  /// "PluginSystemBaseLock": recursive, held by every entry point and while factories run.
  static CriticalSection& Lock();

  /// One use of the system, under its lock; the first one creates the system.
  class ZEF_API Use {
   public:
    Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use();

    PluginSystem& System() const { return system_; }

   private:
    SyncGuard guard_;
    PluginSystem& system_;
  };

 protected:
  /// Both with the lock held. The last release destroys the system.
  static PluginSystem& AcquireSystem();
  static void ReleaseSystem();
};

class ZEF_API PluginType : public PluginSystemBase, public KernelObject {
 public:
  /// A null group means that of the catalogue's row with this name and id; a group that no
  /// catalogue knows means none.
  PluginType(const PString& name, const Guid& id, const Guid& group);
  PluginType(const PluginType&) = delete;
  PluginType& operator=(const PluginType&) = delete;

  /// Holds the type's library in memory and the system alive, until as many releases.
  virtual void Acquire();
  virtual void Release();
  virtual ~PluginType();

  const PString& Name() const { return name_; }
  const Guid& Id() const { return id_; }
  /// Null without a group.
  const PluginGroup* Group() const { return group_; }
  bool IsInGroup(const Guid& group) const;

 protected:
  std::uint32_t Uses() const { return uses_; }

 private:
  friend class PluginSystem;

  const PString name_;
  const Guid id_;
  const Guid groupId_;
  PluginGroup* group_ = nullptr;
  const DynamicLibrary* module_ = nullptr;  // that made this type, while it may still be unloaded
  std::uint32_t uses_ = 0;
  bool isRegistered_ = false;
};

/// Made by the system of a catalogue's row when it is first wanted; lives as long as a member or
/// another holder, the first of whom is the maker.
class ZEF_API PluginGroup final : public PluginType {
 public:
  PluginGroup(const PString& name, const Guid& id, const Guid& parent);
  void Release() override;

  /// The registered types, in the order in which they came. Walked under PluginSystemBase::Lock().
  const ChunkList<PluginType*>& Members() const { return members_; }

 private:
  friend class PluginSystem;
  ~PluginGroup() override = default;

  ChunkList<PluginType*> members_;
};

/// A type that makes objects.
class ZEF_API PluginFactory : public PluginType {
 public:
  using PluginType::PluginType;
};

template <typename T>
class ZEF_API PluginFactoryBase : public PluginFactory {
 public:
  using PluginFactory::PluginFactory;
  /// A new object; null when it cannot be made. Called with the lock held.
  virtual Ref<T> Create() = 0;
};

/// Base of what factories make, which holds its type.
class ZEF_API PluginInstance : public virtual ReferenceCount {
 protected:
  explicit PluginInstance(PluginType& type);
  ~PluginInstance() override;

 public:
  /// Lets go of the type before the end; does nothing the second time.
  virtual void ReleaseType();
  /// Null once it is released.
  PluginType* Type() const { return type_; }

 private:
  PluginType* type_;
};

}  // namespace Zef
