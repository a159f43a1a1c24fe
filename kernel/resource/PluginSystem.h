// PluginSystem: finds a plug-in by name or id, loading the library that a catalogue names for it.
//
//   Ref<Compressor> coder;
//   if (PluginSystem::Create(coder, "LZSS", {}, kCompressGroup) != kPluginOk) ...
//
// The first use, of a type or of a function here, reads the catalogue texts and registers the
// kernel's own plug-ins, which hold the system until the process ends; nothing of it happens in a
// process that wants no plug-in. A library is loaded when a plug-in of it is first wanted, and not
// tried again when that failed. Texts, tables and libraries are told in docs/plugins.md.
//
// Any thread may call: everything runs under one recursive lock, loading and factories included.
// A look-up walks one of 97 buckets.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kernel/resource/Plugin.h"
#include "kernel/resource/PluginCatalogue.h"
#include "kernel/resource/PluginTable.h"

namespace Zef {

class Options;

enum PluginStatus : std::uint32_t {
  kPluginOk = 0,
  RES_PLUGINIDNOTFOUND = 1,
  RES_PLUGINGROUPIDNOTFOUND = 2,
  RES_PLUGINNAMENOTFOUND = 3,
  RES_PLUGINLIBRARYNOTFOUND = 4,
};

/// Null for success and for codes past the table.
const char* PluginStatusText(std::uint32_t status);

/// What a group holds.
struct PluginMember {
  PString name;
  Guid id;
  bool isGroup = false;
};

class ZEF_API PluginSystem final : public PluginSystemBase, public KernelObject {
 public:
  /// Finds a type, by its name unless that is empty, else by its id. The first that came wins.
  /// With a name, a group that is not null must be the type's too, and the id does not count;
  /// without one the group does not. A remap is applied to the id, once. The type lives as long as
  /// its maker keeps it; that of a library does until the process ends.
  [[nodiscard]] static PluginStatus Find(PluginType*& type, const PString& name, const Guid& id,
                                         const Guid& group = {});

  /// Finds a factory of T and lets it make one. Null with RES_PLUGINLIBRARYNOTFOUND when the type
  /// found makes no T.
  template <typename T>
  [[nodiscard]] static PluginStatus Create(Ref<T>& result, const PString& name, const Guid& id,
                                           const Guid& group = {});

  /// The group of an id, made of its row if need be, with one use that the caller must release.
  [[nodiscard]] static PluginStatus CreateGroup(PluginGroup*& group, const Guid& id);
  /// All of a group: its rows in their order, then registered types without one.
  [[nodiscard]] static PluginStatus ListGroup(std::vector<PluginMember>& members, const Guid& id);

  /// Makes one id stand for another; what the catalogue says of `from` goes first.
  static void AddRemap(const Guid& from, const Guid& to);

 private:
  friend class PluginSystemBase;
  friend class PluginType;

  class Loading;

  PluginSystem() = default;
  ~PluginSystem() = default;

  void Start();
  void ScanFolder(const std::string& folder, Options& options);
  void ReadPluginList(const std::string& path, Options& options);
  static void ReleaseBuiltIns();

  void Register(PluginType& type);
  void Unregister(PluginType& type);
  void JoinGroup(PluginType& type);
  PluginGroup* FindGroupType(const Guid& id) const;
  PluginGroup* AcquireGroup(const Guid& id);

  PluginType* FindType(const PluginQuery& query) const;
  PluginStatus FindOrLoad(PluginType*& type, const PluginQuery& query);
  bool Load(PluginLibrary& library);
  bool Unload(DynamicLibrary& module);
  bool DropTypes(const DynamicLibrary& module, std::vector<PluginType*>& dropped);

  std::uint32_t uses_ = 0;
  bool isStarted_ = false;
  PluginCatalogue catalogue_;
  PluginTable<PluginType> typesById_;
  PluginTable<PluginType> typesByName_;
  std::vector<PluginType*> types_;
  std::vector<std::unique_ptr<PluginType>> builtIns_;
  const DynamicLibrary* loading_ = nullptr;
};

template <typename T>
PluginStatus PluginSystem::Create(Ref<T>& result, const PString& name, const Guid& id,
                                  const Guid& group) {
  const Use use;
  result = nullptr;
  PluginType* type = nullptr;
  const PluginStatus status = Find(type, name, id, group);
  if (status != kPluginOk) return status;
  if (auto* const factory = dynamic_cast<PluginFactoryBase<T>*>(type)) result = factory->Create();
  return result ? kPluginOk : RES_PLUGINLIBRARYNOTFOUND;
}

}  // namespace Zef
