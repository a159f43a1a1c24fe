// Writes the asset folders of a made-up product, for scans to be measured on.

#include <cstdint>
#include <cstdio>
#include <string>

#include "bench/Arguments.h"
#include "bench/FolderWriter.h"

int main(int argc, char** argv) {
  ContentGenerator::Options options;
  options.records = 20'000;
  std::string root;
  Arguments arguments("quarle_makefolders",
                      "Writes asset folders with configs below ROOT/world and ROOT/local.",
                      "--folders 20000 product");
  arguments.Option("--folders", "how many", options.records, 1, 1'000'000);
  arguments.Option("--seed", "another seed, another product", options.seed);
  arguments.Place("ROOT", root);
  return arguments.Run(argc, argv, [&] {
    FolderWriter writer(options, root);
    for (std::uint32_t number = 0; number < options.records; ++number) writer.Write(number);
    std::printf("%u asset folders\n", options.records);
    return 0;
  });
}
