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

LibraryStatus PluginLibrary::LoadModule() {
  if (hasFailed_) return RES_LIBRARYNOTFOUND;
  isLoaded_ = IsProgram() ? module_.LoadProgram() == kLibraryOk : LoadFile();
  hasFailed_ = !isLoaded_;
  return isLoaded_ ? kLibraryOk : RES_LIBRARYNOTFOUND;
}

// The reason that counts is that of a file which is there.
bool PluginLibrary::LoadFile() {
  const std::string documented = PluginFileName(name_.View());
  const std::string native = documented.substr(0, documented.rfind('.') + 1) + kNativeExtension;
  if (documented.empty()) return false;
  const std::string program = Platform::ProgramPath();
  const std::string folder = program.substr(0, program.find_last_of(FilePath::kSeparators) + 1);
  std::string reason = "no such file";
  for (const std::string& file : {documented, native}) {
    const bool isRooted = Platform::IsRooted(file);
    for (const std::string& place : {folder, std::string("./")}) {
      const std::string path = isRooted ? file : place + file;
      std::string error;
      if (module_.Load(path, &error) == kLibraryOk) return true;
      if (Platform::Exists(path)) reason = error;
    }
    if (module_.LoadFromLoaderPath(file) == kLibraryOk) return true;
  }
  Trace("Plug-in library \"%s\" cannot be loaded: %s", name_.Text(), reason.c_str());
  return false;
}

LibraryStatus PluginLibrary::CallEntryPoint() {
  void* symbol = nullptr;
  const LibraryStatus status = module_.GetSymbol(symbol, kPluginEntryPoint);
  hasFailed_ = status != kLibraryOk;
  if (!hasFailed_) reinterpret_cast<PluginEntryFunction>(symbol)();
  return status;
}

void PluginLibrary::Unload() {
  module_.Unload();
  isLoaded_ = false;
}

std::string PluginFileName(std::string_view name) {
  const FilePath path(name);
  const char* const extension = path.Extension();
  if (path.IsFull()) return {};
  if (extension == nullptr) return std::string(name).append(kBuildTail).append("dll");
  for (const char* const known : {"exe", "dll"}) {
    if (!path.HasExtension(known)) continue;
    const auto dot = static_cast<std::size_t>(extension - path.Text()) - 1;
    return std::string(name.substr(0, dot)).append(kBuildTail).append(known);
  }
  return std::string(name);
}

}  // namespace Zef
