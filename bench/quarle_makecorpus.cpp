// Writes one file of the bytes that a product's files are made of.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "bench/Arguments.h"
#include "bench/Corpus.h"

int main(int argc, char** argv) {
  std::uint64_t seed = 1;
  std::size_t megabytes = 64;
  std::string path;
  Arguments arguments(
      "quarle_makecorpus",
      "Writes FILE: config texts, index records, meshes and pictures in equal shares.",
      "--megabytes 64 corpus");
  arguments.Option("--megabytes", "size of the file, in 1,000,000 bytes", megabytes, 1, 2000);
  arguments.Option("--seed", "another seed, other content", seed);
  arguments.Place("FILE", path);
  return arguments.Run(argc, argv, [&] {
    const std::string corpus = MixedCorpus(seed, megabytes * 1'000'000);
    std::ofstream file(path, std::ios::binary);
    file.write(corpus.data(), static_cast<std::streamsize>(corpus.size()));
    file.close();
    if (file) return 0;
    std::fprintf(stderr, "quarle_makecorpus: cannot write %s\n", path.c_str());
    return 1;
  });
}
