#include "plugin/PatchSet.h"
#include "plugin/gne_d.h"

// No exception may cross into a host that can be written in any language.

bool Diff(const char* indexName, const char* oldRoot, const char* newRoot, const char* outputRoot) {
  if (indexName == nullptr || oldRoot == nullptr || newRoot == nullptr || outputRoot == nullptr) {
    return false;
  }
  try {
    return MakePatchSet(indexName, oldRoot, newRoot, outputRoot);
  } catch (...) {
    return false;
  }
}

bool Patch(const char* indexName, const char* indexRoot, const char* patchRoot) {
  if (indexName == nullptr || indexRoot == nullptr || patchRoot == nullptr) return false;
  try {
    return ApplyPatchSet(indexName, indexRoot, patchRoot);
  } catch (...) {
    return false;
  }
}

const char* GetName(void) {
  static constexpr char kName[] = "gne_d";
  return kName;
}
