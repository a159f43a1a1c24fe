// PluginLibrary: a loadable library that registers plug-in types, and how its file is found.
//
// Loading calls the export "ZefGetPlugins", which constructs the library's types; the one library
// "*" is the running program. What failed to load is not tried again. A loaded library stays in the
// process after its object has gone, for its objects may outlive the plug-in system; only unloading
// its module takes it out. Under the lock of the plug-in system.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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
  /// Loads the file at `path` in place of the module before. `error` (may be null) says why a file
  /// does not load; it stays where there is none.
  [[nodiscard]] LibraryStatus Load(const std::string& path, std::string* error = nullptr);
  /// The running program itself.
  [[nodiscard]] LibraryStatus LoadProgram();
  /// A name without folders, from where the loader looks.
  [[nodiscard]] LibraryStatus LoadFromLoaderPath(const std::string& name);
  /// False when the module stays in the process all the same; it is then still held.
  bool Unload() { return module_.Unload(); }
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
  /// While it runs, the library's own constructors may ask for plug-ins.
  bool IsLoading() const { return state_ == State::Loading; }
  bool IsLoaded() const { return state_ == State::Loaded; }
  DynamicLibrary& Module() { return module_; }

  /// Loads the module and has it register its types, unless that failed before. Without an entry
  /// point that ends well it fails, with the module still there, for types may be registered.
  [[nodiscard]] LibraryStatus Load();
  /// Notes that its module was unloaded without a failure, so that it may be loaded again.
  void SetUnloaded() { state_ = State::Unloaded; }

 private:
  enum class State : std::uint8_t { Unloaded, Loading, Loaded, Failed };

  LibraryStatus LoadModule(std::string& reason);
  LibraryStatus LoadFile(std::string& reason);

  PString name_;
  DynamicLibrary module_;
  State state_ = State::Unloaded;
};

/// Names of the files that a library in a catalogue may be, best first: "a.dll" and "a" stand for
/// "a_7s.dll", "a.exe" for "a_7s.exe", and a name with any other extension for itself; behind each
/// comes the same for this system. None for a name that is too long for a file.
std::vector<std::string> PluginFileNames(std::string_view name);

}  // namespace Zef
