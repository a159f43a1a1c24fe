// Writes one file of the bytes that a product's files are made of.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include "bench/Corpus.h"

int main(int argc, char** argv) {
  try {
    std::uint64_t seed = 1;
    std::size_t megabytes = 0;
    std::string path;
    CLI::App app("Writes FILE: config texts, index records, meshes and pictures in equal shares.");
    app.add_option("--megabytes", megabytes, "size of the file, in 1,000,000 bytes")
        ->required()
        ->check(CLI::Range(1, 2000));
    app.add_option("--seed", seed, "another seed, other content")->capture_default_str();
    app.add_option("FILE", path)->required();
    app.footer("Example: quarle_makecorpus --megabytes 64 corpus");
    CLI11_PARSE(app, argc, argv);
    const std::string corpus = MixedCorpus(seed, megabytes * 1'000'000);
    std::ofstream file(path, std::ios::binary);
    file.write(corpus.data(), static_cast<std::streamsize>(corpus.size()));
    file.close();
    if (file) return 0;
    std::fprintf(stderr, "quarle_makecorpus: cannot write %s\n", path.c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarle_makecorpus: %s\n", error.what());
  }
  return 1;
}
