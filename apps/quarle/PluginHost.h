// PluginHost: the content plug-in, loaded at run time as any host loads it.
//
// The library stays loaded as long as the object lives. Calls block until the plug-in is done.

#pragma once

#include <string>

#include "kernel/platform/System.h"

class PluginHost {
 public:
  /// Loads `file`, or the plug-in that belongs to this program when `file` is empty. False, with
  /// the failure's line printed, when there is none or it is not the content plug-in.
  [[nodiscard]] bool Load(const std::string& file);

  [[nodiscard]] bool Diff(const std::string& indexName, const std::string& oldRoot,
                          const std::string& newRoot, const std::string& outputRoot) const;
  [[nodiscard]] bool Patch(const std::string& indexName, const std::string& indexRoot,
                           const std::string& patchRoot) const;

 private:
  using DiffFunction = bool (*)(const char*, const char*, const char*, const char*);
  using PatchFunction = bool (*)(const char*, const char*, const char*);

  Zef::Platform::Library library_;
  DiffFunction diff_ = nullptr;
  PatchFunction patch_ = nullptr;
};
