// Corpus: bytes of the kinds that a product's files are made of, for measuring coders.
//
// In equal shares: config texts, index records, meshes (tables of floats and of indices), and
// pictures (photographic textures without compression, and flat ones with a mask). The same for a
// seed on every machine.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// At least `bytes` bytes, in pieces of the size of files, kind after kind.
std::string MixedCorpus(std::uint64_t seed, std::size_t bytes);
