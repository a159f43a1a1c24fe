#include "kernel/resource/PluginSystem.h"

#include <algorithm>
#include <utility>

#include "kernel/KernelBoot.h"
#include "kernel/resource/Compress.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Trace.h"

namespace Zef {

namespace {

constinit PluginSystem* theSystem = nullptr;  // under the lock

constexpr const char* kStatusTexts[] = {
    nullptr,
    "Plugin id not found",
    "Plugin group id not found",
    "Plugin name not found",
    "Plugin has no library associated or library was not found",
};

bool IsGroup(const PluginType& type) { return dynamic_cast<const PluginGroup*>(&type) != nullptr; }

void AddPluginList(PluginListFunction list, const std::string& path, Options& options) try {
  const char* const* text = list();
  for (; text != nullptr && *text != nullptr; ++text) options.Add(*text);
} catch (...) {
  Trace("The plug-in list of \"%s\" ends early, for it raised an exception", path.c_str());
}

}  // namespace

const char* PluginStatusText(std::uint32_t status) {
  return status < std::size(kStatusTexts) ? kStatusTexts[status] : nullptr;
}

PluginSystem& PluginSystemBase::AcquireSystem() {
  if (theSystem == nullptr) theSystem = new PluginSystem;
  ++theSystem->uses_;
  if (theSystem->isStarted_) return *theSystem;
  try {
    theSystem->isStarted_ = true;  // for the types that come meanwhile
    theSystem->Start();
  } catch (...) {
    // The next use tries again: types of scanned libraries may hold the system.
    theSystem->builtIns_.clear();
    theSystem->catalogue_.Clear();
    theSystem->isStarted_ = false;
    ReleaseSystem();
    throw;
  }
  return *theSystem;
}

void PluginSystemBase::ReleaseSystem() {
  if (--theSystem->uses_ == 0) delete std::exchange(theSystem, nullptr);
}

/// Notes which module the types belong to that come meanwhile.
class PluginSystem::Loading {
 public:
  Loading(PluginSystem& system, const DynamicLibrary* module)
      : system_(system), before_(std::exchange(system.loading_, module)) {}
  Loading(const Loading&) = delete;
  Loading& operator=(const Loading&) = delete;
  ~Loading() { system_.loading_ = before_; }

 private:
  PluginSystem& system_;
  const DynamicLibrary* const before_;
};

void PluginSystem::Start() {
  Options options;
  AddPluginTexts(options);
  // A copy, for walks change their options.
  Options process = Options::Process();
  if (process.Has("AutoPlugin")) {
    ScanFolder("", options);
    process.BeginValues("PluginDir", ",");
    std::string folder;
    while (process.NextValue("PluginDir", folder)) ScanFolder(folder + "/", options);
  }
  catalogue_.Read(options);
  // Those of scanned libraries that could not go again came before their groups were known.
  const std::vector<PluginType*> early = types_;
  for (PluginType* const type : early) JoinGroup(*type);
  builtIns_.push_back(MakeLZSSPlugin());
  KernelExitTable::Register(ReleaseBuiltIns);
}

void PluginSystem::ReleaseBuiltIns() {
  const SyncGuard guard(Lock());
  if (theSystem == nullptr) return;
  // The last of them may take the system along.
  std::vector<std::unique_ptr<PluginType>> released = std::move(theSystem->builtIns_);
  // One whose instances are still about is left to the process.
  for (std::unique_ptr<PluginType>& type : released) {
    if (type->uses_ != 0) static_cast<void>(type.release());
  }
}

// `folder` is empty or ends in a separator.
void PluginSystem::ScanFolder(const std::string& folder, Options& options) {
  for (const char* const wildcard : {"*.dll", "*.so"}) {
    const auto search = SearchFolder(folder, wildcard);
    FileEntry entry{};
    while (search != nullptr && search->Next(&entry)) {
      if (!entry.IsFolder()) ReadPluginList(folder + entry.name, options);
    }
  }
}

void PluginSystem::ReadPluginList(const std::string& path, Options& options) {
  DynamicLibrary module;
  const Loading loading(*this, &module);
  void* symbol = nullptr;
  if (module.Load(path) != kLibraryOk) return;
  if (module.GetSymbol(symbol, kPluginListExport) == kLibraryOk) {
    AddPluginList(reinterpret_cast<PluginListFunction>(symbol), path, options);
  }
  if (!Unload(module)) module.Keep();
}

// Takes over the hold of the system that the caller has acquired for the type, also when it raises.
void PluginSystem::Register(PluginType& type) {
  type.module_ = loading_;
  type.isRegistered_ = true;
  try {
    typesById_.Add(type.id_.Hash(), type);
    typesByName_.Add(type.name_.Key(), type);
    types_.push_back(&type);
    JoinGroup(type);
  } catch (...) {
    Unregister(type);
    throw;
  }
}

// The group that the type names, or else that of its row.
void PluginSystem::JoinGroup(PluginType& type) {
  if (type.group_ != nullptr) return;
  Guid group = type.groupId_;
  const PluginEntry* const row =
      group.IsNull() ? catalogue_.FindRow(type.name_, type.id_) : nullptr;
  if (row != nullptr && row->parent != nullptr) group = row->parent->id;
  type.group_ = AcquireGroup(group);
  if (type.group_ != nullptr) type.group_->members_.PushBack(&type);
}

// Ends the type's hold of the system, too.
void PluginSystem::Unregister(PluginType& type) {
  typesById_.Remove(type.id_.Hash(), type);
  typesByName_.Remove(type.name_.Key(), type);
  std::erase(types_, &type);
  type.isRegistered_ = false;
  if (PluginGroup* const group = std::exchange(type.group_, nullptr)) {
    group->members_.Remove(&type);
    group->Release();
  }
  ReleaseSystem();
}

PluginGroup* PluginSystem::FindGroupType(const Guid& id) const {
  return static_cast<PluginGroup*>(typesById_.First(
      id.Hash(), [&](const PluginType& type) { return type.id_ == id && IsGroup(type); }));
}

// Null for a null or unknown id. The group belongs to no module, whoever wants it first.
PluginGroup* PluginSystem::AcquireGroup(const Guid& id) {
  if (PluginGroup* const known = FindGroupType(id)) {
    known->Acquire();
    return known;
  }
  const PluginEntry* const entry = catalogue_.FindGroup(id);
  if (entry == nullptr) return nullptr;
  const Loading loading(*this, nullptr);
  return new PluginGroup(entry->name, id, entry->parent != nullptr ? entry->parent->id : Guid());
}

PluginType* PluginSystem::FindType(const PluginQuery& query) const {
  const auto matches = [&](const PluginType& type) {
    return query.Matches(type.name_, type.id_, type.group_ != nullptr ? type.group_->Id() : Guid());
  };
  return query.IsByName() ? typesByName_.First(query.name.Key(), matches)
                          : typesById_.First(query.id.Hash(), matches);
}

PluginStatus PluginSystem::FindOrLoad(PluginType*& type, const PluginQuery& query) {
  const PluginStatus missing = query.IsByName() ? RES_PLUGINNAMENOTFOUND : RES_PLUGINIDNOTFOUND;
  type = FindType(query);
  if (type != nullptr) return kPluginOk;
  PluginEntry* const entry = catalogue_.Find(query);
  if (entry == nullptr || entry->hasFailed) return missing;
  if (entry->IsGroup()) return RES_PLUGINLIBRARYNOTFOUND;
  PluginLibrary& library = *entry->library;
  const bool isThere = library.IsLoaded() || library.IsLoading();
  if (!isThere && !Load(library)) return query.IsByName() ? RES_PLUGINLIBRARYNOTFOUND : missing;
  type = FindType(query);
  if (type != nullptr) return kPluginOk;
  // Its own constructors ask; the type may yet come.
  if (library.IsLoading()) return missing;
  entry->hasFailed = true;
  // What an earlier request has loaded is in use.
  if (!isThere && !library.IsProgram() && Unload(library.Module())) library.SetUnloaded();
  return missing;
}

bool PluginSystem::Load(PluginLibrary& library) {
  const Loading loading(*this, &library.Module());
  const LibraryStatus status = library.Load();
  std::vector<PluginType*> dropped;
  if (status == RES_ENTRYPOINTNOTFOUND && DropTypes(library.Module(), dropped)) {
    library.Module().Unload();
  }
  return status == kLibraryOk;
}

// False when the module stays in the process, and its types with it: they are in use, or the loader
// keeps it, in which case it would not construct static objects a second time.
bool PluginSystem::Unload(DynamicLibrary& module) {
  std::vector<PluginType*> dropped;
  if (!DropTypes(module, dropped)) return false;
  if (module.Unload()) return true;
  for (PluginType* const type : dropped) {
    AcquireSystem().Register(*type);
    type->module_ = nullptr;
  }
  return false;
}

// All types of a module that is about to go; none, and false, while one of them is in use, for then
// the module stays for good.
bool PluginSystem::DropTypes(const DynamicLibrary& module, std::vector<PluginType*>& dropped) {
  std::copy_if(types_.begin(), types_.end(), std::back_inserter(dropped),
               [&](const PluginType* type) { return type->module_ == &module; });
  const auto isUsed = [](const PluginType* type) { return type->uses_ != 0; };
  const bool isFree = std::none_of(dropped.begin(), dropped.end(), isUsed);
  for (PluginType* const type : dropped) {
    type->module_ = nullptr;
    if (isFree) Unregister(*type);
  }
  return isFree;
}

PluginStatus PluginSystem::Find(PluginType*& type, const PString& name, const Guid& id,
                                const Guid& group) {
  const Use use;
  PluginSystem& system = use.System();
  return system.FindOrLoad(type, {name, system.catalogue_.Remapped(id), group});
}

PluginStatus PluginSystem::CreateGroup(PluginGroup*& group, const Guid& id) {
  const Use use;
  group = use.System().AcquireGroup(id);
  return group != nullptr ? kPluginOk : RES_PLUGINIDNOTFOUND;
}

PluginStatus PluginSystem::ListGroup(std::vector<PluginMember>& members, const Guid& id) {
  const Use use;
  const PluginSystem& system = use.System();
  members.clear();
  const PluginEntry* const group = system.catalogue_.FindGroup(id);
  if (group == nullptr && system.FindGroupType(id) == nullptr) return RES_PLUGINGROUPIDNOTFOUND;
  for (const PluginEntry& entry : system.catalogue_.Entries()) {
    if (group == nullptr || entry.parent != group) continue;
    members.push_back({entry.name, entry.id, entry.IsGroup()});
  }
  const std::vector<PluginMember> rows = members;
  for (const PluginType* const type : system.types_) {
    const auto isIt = [&](const PluginMember& row) {
      return row.id == type->id_ && row.name == type->name_;
    };
    if (!type->IsInGroup(id) || std::any_of(rows.begin(), rows.end(), isIt)) continue;
    members.push_back({type->name_, type->id_, IsGroup(*type)});
  }
  return kPluginOk;
}

void PluginSystem::AddRemap(const Guid& from, const Guid& to) {
  const Use use;
  use.System().catalogue_.AddRemap(from, to);
}

}  // namespace Zef
