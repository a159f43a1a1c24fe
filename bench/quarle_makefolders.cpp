// Writes the asset folders of a made-up product, for scans to be measured on.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/FolderWriter.h"

namespace {

int Run(int argc, char** argv) {
  ContentGenerator::Options options;
  std::string root;
  CLI::App app("Writes asset folders with configs below ROOT/world and ROOT/local.");
  app.add_option("--folders", options.records, "how many")
      ->required()
      ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{1'000'000}));
  app.add_option("--seed", options.seed, "another seed, another product")->capture_default_str();
  app.add_option("ROOT", root)->required();
  app.footer("Example: quarle_makefolders --folders 20000 product");
  CLI11_PARSE(app, argc, argv);

  FolderWriter writer(options, root);
  for (std::uint32_t number = 0; number < options.records; ++number) writer.Write(number);
  std::printf("%u asset folders\n", options.records);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarle_makefolders: %s\n", error.what());
    return 1;
  }
}
