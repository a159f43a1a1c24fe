// PluginLibrary: a loadable library that registers plug-in types, and how its file is found.
//
// Loading calls the export "ZefGetPlugins", which constructs the library's types; the one library
// "*" is the running program. What failed to load is not tried again. A loaded library stays in the
// process after its object has gone, for its objects may outlive the plug-in system; only Unload
// takes it out. Under the lock of the plug-in system.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/BlockAllocator.h"
#include "kernel/platform/System.h"
#include "kernel/standard/PString.h"

namespace Zef {

enum LibraryStatus : std::uint32_t {
  kLibraryOk = 0,
  RES_LIBRARYNOTFOUND = 1,
  RES_ENTRYPOINTNOTFOUND = 2,
  RES_NOTSUPPORTED = 3,
};

/// What a library must export, and what one may export to be found by a scan: catalogue texts, with
/// a null behind the last.
inline constexpr const char* kPluginEntryPoint = "ZefGetPlugins";
inline constexpr const char* kPluginListExport = "PluginList";
using PluginEntryFunction = void (*)();
using PluginListFunction = const char* const* (*)();

/// Null for success and for codes past the table.
const char* LibraryStatusText(std::uint32_t status);

/// A module of the platform's loader, unloaded with the object.
class DynamicLibrary : public KernelObject {
 public:
  /// Loads the file at `path` in place of the module before; `error` (may be null) says why not.
  [[nodiscard]] LibraryStatus Load(const std::string& path, std::string* error = nullptr);
  /// The running program itself.
  [[nodiscard]] LibraryStatus LoadProgram();
  /// A name without folders, from where the loader looks.
  [[nodiscard]] LibraryStatus LoadFromLoaderPath(const std::string& name);
  void Unload() { module_ = Platform::Library(); }
  /// Lets the module stay in the process for good, and forgets it.
  void Keep() { module_.Keep(); }
  /// An exported name; null with RES_ENTRYPOINTNOTFOUND when there is none.
  [[nodiscard]] LibraryStatus GetSymbol(void*& symbol, const char* name) const;

 private:
  [[nodiscard]] LibraryStatus Take(Platform::Library module);

  Platform::Library module_;
};

class PluginLibrary : public KernelObject {
 public:
  static constexpr std::string_view kProgram = "*";

  explicit PluginLibrary(const PString& name) : name_(name) {}
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  ~PluginLibrary() { module_.Keep(); }

  const PString& Name() const { return name_; }
  bool IsProgram() const { return name_.View() == kProgram; }
  bool IsLoaded() const { return isLoaded_; }
  /// Identity of what is loaded.
  const DynamicLibrary& Module() const { return module_; }

  /// Loads the module, unless that failed before. Calls nothing of the library's but its
  /// constructors of static objects.
  [[nodiscard]] LibraryStatus LoadModule();
  /// Has the loaded library register its types. A library that cannot counts as failed.
  [[nodiscard]] LibraryStatus CallEntryPoint();
  /// None of its code or objects may be in use.
  void Unload();

 private:
  bool LoadFile();

  PString name_;
  DynamicLibrary module_;
  bool isLoaded_ = false;
  bool hasFailed_ = false;
};

/// File name of a library in a catalogue: "a.dll" and "a" give "a_7s.dll", "a.exe" gives
/// "a_7s.exe"; a name with any other extension stays. Empty for a name that is too long for a file.
std::string PluginFileName(std::string_view name);

}  // namespace Zef
