// Writes the asset indexes of two releases of one product, as large and as different as asked.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "bench/ReleasePair.h"
#include "database/MUKAssetIndex.h"

namespace {

constexpr std::uint32_t kMostRecords = 7'000'000;  // about where an index reaches 4 GiB
constexpr const char* kIndexName = "assets.mkx";

bool Write(const ReleasePair& pair, void (ReleasePair::*fill)(MUKAssetIndex&) const,
           const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const std::string path = folder + "/" + kIndexName;
  MUKAssetIndex index;
  (pair.*fill)(index);
  if (index.Save(path)) return true;
  std::fprintf(stderr, "quarle_makeindex: cannot write %s\n", path.c_str());
  return false;
}

int Run(int argc, char** argv) {
  ReleasePair::Options options;
  std::string oldFolder;
  std::string newFolder;
  CLI::App app(
      "Writes OLDDIR/assets.mkx and NEWDIR/assets.mkx, two releases of a made-up product.");
  app.add_option("--records", options.content.records, "records in each index")
      ->required()
      ->check(CLI::Range(std::uint32_t{0}, kMostRecords));
  app.add_option("--churn", options.churnPercent, "percent of built-in assets that change")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  app.add_option("--seed", options.content.seed, "another seed, another product")
      ->capture_default_str();
  app.add_option("--user-share", options.content.userSharePercent, "percent made by users")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  app.add_option("OLDDIR", oldFolder)->required();
  app.add_option("NEWDIR", newFolder)->required();
  app.footer("Example: quarle_makeindex --records 100000 --churn 10 old new");
  CLI11_PARSE(app, argc, argv);

  const ReleasePair pair(options);
  const bool written = Write(pair, &ReleasePair::FillOld, oldFolder) &&
                       Write(pair, &ReleasePair::FillNew, newFolder);
  if (!written) return 1;
  std::printf("%u records, %u of them replaced\n", options.content.records, pair.Vanished());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarle_makeindex: %s\n", error.what());
    return 1;
  }
}
