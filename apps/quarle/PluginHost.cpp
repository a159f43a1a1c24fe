#include "apps/quarle/PluginHost.h"

#include <string_view>

#include "apps/quarle/Output.h"
#include "apps/quarle/Utf8.h"
#include "kernel/platform/FileSystem.h"

namespace {

constexpr std::string_view kPluginName = "gne_d";

/// Where the plug-in lies, seen from the folder of the program: beside it, where both are
/// installed, where both are built.
constexpr const char* kPlaces[] = {
    "gne_d.so",
    QUARLE_INSTALLED_PLUGIN,  // NOLINT(bugprone-suspicious-missing-comma): one literal of two
    "../lib/quarle/gne_d.so",
    "../lib64/quarle/gne_d.so",
    "../../plugin/gne_d.so",
};

std::string FindPlugin() {
  const std::string program = Zef::Platform::ModulePath();
  const std::string folder = program.substr(0, program.find_last_of('/') + 1);
  for (const char* place : kPlaces) {
    if (Zef::Platform::Exists(folder + place)) return folder + place;
  }
  return {};
}

template <class Function>
Function SymbolAs(const Zef::Platform::Library& library, const char* name) {
  return reinterpret_cast<Function>(library.Symbol(name));
}

}  // namespace

bool PluginHost::Load(const std::string& file) {
  const std::string path = file.empty() ? FindPlugin() : file;
  if (path.empty()) {
    static_cast<void>(
        Fail("cannot find the plug-in gne_d.so beside this program or where it is "
             "installed; name it with --plugin"));
    return false;
  }
  std::string error;
  library_ = Zef::Platform::Library(path, &error);
  if (!library_) {
    static_cast<void>(Fail("cannot load the plug-in " + Quoted(path) + " (" + Printable(error) +
                           "); name another with --plugin"));
    return false;
  }
  const auto name = SymbolAs<const char* (*)()>(library_, "GetName");
  diff_ = SymbolAs<DiffFunction>(library_, "Diff");
  patch_ = SymbolAs<PatchFunction>(library_, "Patch");
  const char* const given = name != nullptr ? name() : nullptr;
  if (given == nullptr || given != kPluginName || diff_ == nullptr || patch_ == nullptr) {
    static_cast<void>(
        Fail(Quoted(path) + " is not the content plug-in; name gne_d.so with --plugin"));
    return false;
  }
  return true;
}

bool PluginHost::Diff(const std::string& indexName, const std::string& oldRoot,
                      const std::string& newRoot, const std::string& outputRoot) const {
  return diff_(indexName.c_str(), oldRoot.c_str(), newRoot.c_str(), outputRoot.c_str());
}

bool PluginHost::Patch(const std::string& indexName, const std::string& indexRoot,
                       const std::string& patchRoot) const {
  return patch_(indexName.c_str(), indexRoot.c_str(), patchRoot.c_str());
}
