// Writes the asset indexes of two releases of one product, as large and as different as asked.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "bench/Arguments.h"
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

}  // namespace

int main(int argc, char** argv) {
  ReleasePair::Options options;
  options.content.records = 100'000;
  std::string oldFolder;
  std::string newFolder;
  Arguments arguments(
      "quarle_makeindex",
      "Writes OLDDIR/assets.mkx and NEWDIR/assets.mkx, two releases of a made-up product.",
      "--records 100000 --churn 10 old new");
  arguments.Option("--records", "records in each index", options.content.records, 0, kMostRecords);
  arguments.Option("--churn", "percent of built-in assets that change", options.churnPercent, 0,
                   100);
  arguments.Option("--seed", "another seed, another product", options.content.seed);
  arguments.Option("--user-share", "percent made by users", options.content.userSharePercent, 0,
                   100);
  arguments.Place("OLDDIR", oldFolder);
  arguments.Place("NEWDIR", newFolder);
  return arguments.Run(argc, argv, [&] {
    const ReleasePair pair(options);
    const bool written = Write(pair, &ReleasePair::FillOld, oldFolder) &&
                         Write(pair, &ReleasePair::FillNew, newFolder);
    if (!written) return 1;
    std::printf("%u records, %u of them replaced\n", options.content.records, pair.Vanished());
    return 0;
  });
}
