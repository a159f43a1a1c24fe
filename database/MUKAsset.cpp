#include "database/MUKAsset.h"

#include <array>

const char* AssetFlagName(AssetFlag flag) {
  static constexpr std::array<const char*, kAssetFlagCount> kNames = {"marked",
                                                                      "enabled",
                                                                      "isClone",
                                                                      "isReskin",
                                                                      "inArchive",
                                                                      "inArchiveKnown",
                                                                      "listed",
                                                                      "patched",
                                                                      "builtIn",
                                                                      "missingDependency",
                                                                      "missingDependencyKnown",
                                                                      "faulty",
                                                                      "faultyDependency",
                                                                      "faultyDependencyKnown",
                                                                      "permitCommit",
                                                                      "permitEdit",
                                                                      "permitListing"};
  return kNames[static_cast<std::size_t>(flag)];
}
