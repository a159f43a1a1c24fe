// FolderWriter: writes generated assets as the folders that a content scan finds.
//
// One folder an asset, with a config of 0.5 to 4 KB in the style of its age (older ones in the
// code page, newer ones UTF-8 with its mark) and a few other files. What an asset's folder holds
// follows from the seed and the asset's number alone.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "bench/ContentGenerator.h"
#include "bench/Random.h"

struct AssetKind;

class FolderWriter {
 public:
  FolderWriter(const ContentGenerator::Options& options, std::filesystem::path root);

  /// Writes one asset below the root. Throws std::runtime_error when a file cannot be written.
  void Write(std::uint32_t number);

 private:
  std::string Config(std::uint32_t number, const MUKAsset& asset, bool oldStyle,
                     Random& random) const;
  void WriteFile(const std::filesystem::path& path, const std::string& bytes) const;

  std::uint64_t seed_;
  ContentGenerator content_;
  std::filesystem::path root_;
};
