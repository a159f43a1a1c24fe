// A host of the plug-in: applies the patch set in one folder to the index in another.

#include <dlfcn.h>
#include <gne_d.h>

#include <cstdio>
#include <string>

#include "database/MUKAssetIndex.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: host ROOT SET\n");
    return 2;
  }
  void* const library = dlopen(PLUGIN, RTLD_NOW);
  void* const symbol = library != nullptr ? dlsym(library, "Patch") : nullptr;
  if (symbol == nullptr) {
    std::fprintf(stderr, "host: %s\n", dlerror());
    return 1;
  }
  const auto patch = reinterpret_cast<decltype(&Patch)>(symbol);
  const std::string root = argv[1];
  const bool done = patch("assets.mkx", root.c_str(), (std::string(argv[2]) + "/").c_str());
  MUKAssetIndex index;
  if (!done || !index.Load(root + "/assets.mkx")) return 1;
  std::printf("%zu records\n", index.Count());
  return 0;
}
