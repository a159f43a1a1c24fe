#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "database/MUKAssetIndex.h"
#include "kernel/platform/System.h"
#include "tests/support/TestFiles.h"

namespace {

using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

using DiffFunction = bool (*)(const char*, const char*, const char*, const char*);
using PatchFunction = bool (*)(const char*, const char*, const char*);
using NameFunction = const char* (*)();

// The working folder holds decoys of everything a running database would look at.
TEST(PluginExports, WorkThroughTheLoaderAndTouchNothingInTheWorkingFolder) {
  namespace fs = std::filesystem;
  const TempFolder temp, decoys;
  const fs::path before = fs::current_path();
  fs::current_path(decoys.Path());
  for (const char* folder : {"cache", "Settings", "world", "local"}) fs::create_directory(folder);
  for (const char* file : {"assets.mkx", "cache/assets.mkx", "Settings/plid.txt"}) {
    WriteWholeFile(decoys / file, "decoy");
  }

  std::string error;
  const Zef::Platform::Library library(GNE_D_PATH, &error);
  ASSERT_TRUE(library) << error;
  const auto diff = reinterpret_cast<DiffFunction>(library.Symbol("Diff"));
  const auto patch = reinterpret_cast<PatchFunction>(library.Symbol("Patch"));
  const auto name = reinterpret_cast<NameFunction>(library.Symbol("GetName"));
  ASSERT_TRUE(diff != nullptr && patch != nullptr && name != nullptr);
  EXPECT_STREQ(name(), "gne_d");
  EXPECT_EQ(name(), name());
  const std::string root = temp / "";
  fs::create_directory(root + "data");
  ASSERT_TRUE(MUKAssetIndex().Save(root + "i"));
  EXPECT_TRUE(diff("i", root.c_str(), root.c_str(), root.c_str()));
  EXPECT_TRUE(patch("i", temp.Path().string().c_str(), root.c_str()));
  EXPECT_FALSE(diff("missing", root.c_str(), root.c_str(), root.c_str()));
  EXPECT_FALSE(diff(nullptr, root.c_str(), root.c_str(), root.c_str()));
  EXPECT_FALSE(patch("i", nullptr, root.c_str()));

  std::size_t entries = 0;
  for (const auto& entry : fs::recursive_directory_iterator(decoys.Path())) {
    ++entries;
    EXPECT_TRUE(entry.is_directory() || ReadWholeFile(entry.path()) == "decoy") << entry.path();
  }
  EXPECT_EQ(entries, 7u);
  fs::current_path(before);
}

TEST(PluginExports, NothingElseIsVisible) {
  std::FILE* listing = popen("nm -D --defined-only " GNE_D_PATH " | awk '{print $3}' | sort", "r");
  ASSERT_NE(listing, nullptr);
  char names[256] = {};
  static_cast<void>(std::fread(names, 1, sizeof names - 1, listing));
  pclose(listing);
  EXPECT_STREQ(names, "Diff\nGetName\nPatch\n");
}

}  // namespace
