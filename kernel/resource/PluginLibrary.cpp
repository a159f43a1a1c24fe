#include "kernel/resource/PluginLibrary.h"

#include <iterator>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Trace.h"

namespace Zef {

namespace {

constexpr std::string_view kBuildTail = "_7s.";
constexpr const char* kNativeExtension = "so";

constexpr const char* kStatusTexts[] = {
    nullptr,
    "Plugin library not found",
    "Plugin library has no entry point",
    "Dynamic loading not supported",
};

/// False for an exception, which ends here, for the module that it belongs to is about to go.
bool Enter(void* entryPoint) try {
  reinterpret_cast<PluginEntryFunction>(entryPoint)();
  return true;
} catch (...) {
  return false;
}

}  // namespace

const char* LibraryStatusText(std::uint32_t status) {
  return status < std::size(kStatusTexts) ? kStatusTexts[status] : nullptr;
}

LibraryStatus DynamicLibrary::Take(Platform::Library module) {
  module_ = std::move(module);
  return module_ ? kLibraryOk : RES_LIBRARYNOTFOUND;
}

LibraryStatus DynamicLibrary::Load(const std::string& path, std::string* error) {
  Unload();
  // The system's loader would wait for somebody to write into a pipe.
  Platform::FileInfo file;
  if (!Platform::GetInfo(path, &file) || !file.regular) return RES_LIBRARYNOTFOUND;
  return Take(Platform::Library(path, error));
}

LibraryStatus DynamicLibrary::LoadProgram() { return Take(Platform::Library::Program()); }

LibraryStatus DynamicLibrary::LoadFromLoaderPath(const std::string& name) {
  return Take(Platform::Library::FromLoaderPath(name));
}

LibraryStatus DynamicLibrary::GetSymbol(void*& symbol, const char* name) const {
  symbol = module_.Symbol(name);
  return symbol != nullptr ? kLibraryOk : RES_ENTRYPOINTNOTFOUND;
}

LibraryStatus PluginLibrary::Load() {
  if (state_ == State::Failed) return RES_LIBRARYNOTFOUND;
  std::string loaderText;
  LibraryStatus status = LoadModule(loaderText);
  const char* reason = loaderText.empty() ? LibraryStatusText(status) : loaderText.c_str();
  void* symbol = nullptr;
  if (status == kLibraryOk) {
    status = module_.GetSymbol(symbol, kPluginEntryPoint);
    reason = LibraryStatusText(status);
  }
  if (status == kLibraryOk && !Enter(symbol)) {
    status = RES_ENTRYPOINTNOTFOUND;
    reason = "it raised an exception";
  }
  state_ = status == kLibraryOk ? State::Loaded : State::Failed;
  if (status == kLibraryOk) return status;
  Trace("Plug-in library \"%s\" cannot be loaded: %s", name_.Text(), reason);
  return status;
}

/// Want of memory does not tell whether there is one: the next request asks again.
LibraryStatus PluginLibrary::LoadModule(std::string& reason) {
  state_ = State::Loading;
  try {
    return IsProgram() ? module_.LoadProgram() : LoadFile(reason);
  } catch (...) {
    state_ = State::Unloaded;
    throw;
  }
}

LibraryStatus PluginLibrary::LoadFile(std::string& reason) {
  const std::string program = Platform::ProgramPath();
  const std::string folder = program.substr(0, program.find_last_of(FilePath::kSeparators) + 1);
  for (const std::string& file : PluginFileNames(name_.View())) {
    std::vector<std::string> places = {folder, "./"};
    if (Platform::IsRooted(file)) places = {""};
    for (const std::string& place : places) {
      if (module_.Load(place + file, &reason) == kLibraryOk) return kLibraryOk;
    }
    if (module_.LoadFromLoaderPath(file) == kLibraryOk) return kLibraryOk;
  }
  return RES_LIBRARYNOTFOUND;
}

std::vector<std::string> PluginFileNames(std::string_view name) {
  const FilePath path(name);
  if (path.IsFull()) return {};
  std::string stem(path.View());
  const bool isProgram = path.HasExtension("exe");
  if (isProgram || path.HasExtension("dll")) {
    stem.resize(stem.rfind('.'));
  } else if (path.Extension() != nullptr) {
    return {stem, stem + "." + kNativeExtension};
  }
  stem += kBuildTail;
  return {stem + (isProgram ? "exe" : "dll"), stem + kNativeExtension};
}

}  // namespace Zef
