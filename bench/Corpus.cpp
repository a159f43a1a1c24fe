#include "bench/Corpus.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bench/ConfigText.h"
#include "bench/ContentGenerator.h"
#include "bench/Random.h"
#include "database/AssetRecord.h"
#include "kernel/ByteWriter.h"

namespace {

constexpr std::uint32_t kRecords = 200;  // of one index
constexpr std::uint32_t kSide = 128;     // of a picture

void Append(std::string& to, const Zef::ByteWriter& bytes) {
  to.append(reinterpret_cast<const char*>(bytes.View().data()), bytes.Size());
}

void AddConfigs(std::string& corpus, const ContentGenerator& content, std::uint32_t file) {
  constexpr std::uint32_t kConfigs = 40;
  for (std::uint32_t i = 0; i < kConfigs; ++i) corpus += ConfigText(content, file * kConfigs + i);
}

void AddIndex(std::string& corpus, const ContentGenerator& content, std::uint32_t file) {
  Zef::ByteWriter out;
  for (std::uint32_t i = 0; i < kRecords; ++i) {
    AppendRecord(out, content.Asset(file * kRecords + i, 0));
  }
  Append(corpus, out);
}

/// A shape of revolution with some roughness: positions, normals, texture places, triangles.
void AddMesh(std::string& corpus, Random random) {
  const std::uint32_t rings = random.Between(12, 40);
  const std::uint32_t sides = random.Between(8, 48);
  Zef::ByteWriter out;
  for (std::uint32_t ring = 0; ring <= rings; ++ring) {
    for (std::uint32_t side = 0; side <= sides; ++side) {
      const float angle = 6.2831853F * static_cast<float>(side) / static_cast<float>(sides);
      const float height = static_cast<float>(ring) / static_cast<float>(rings);
      const float rough = static_cast<float>(random.Below(64)) / 1024.0F;
      const float radius = 1.0F + 0.25F * std::sin(height * 9.0F) + rough;
      for (const float value :
           {radius * std::cos(angle), 4.0F * height, radius * std::sin(angle), std::cos(angle),
            0.0F, std::sin(angle), static_cast<float>(side) / static_cast<float>(sides), height}) {
        out.F32(value);
      }
    }
  }
  for (std::uint32_t ring = 0; ring < rings; ++ring) {
    for (std::uint32_t side = 0; side < sides; ++side) {
      const std::uint32_t first = ring * (sides + 1) + side;
      for (const std::uint32_t step : {0u, 1u, sides + 1, 1u, sides + 2, sides + 1}) {
        out.U16(static_cast<std::uint16_t>(first + step));
      }
    }
  }
  Append(corpus, out);
}

/// Three bytes a pixel: soft shades of one colour, and grain.
void AddPhoto(std::string& corpus, Random random) {
  const std::uint32_t tint = random.Below(128);
  const float wave = 0.02F + static_cast<float>(random.Below(40)) / 400.0F;
  for (std::uint32_t y = 0; y < kSide; ++y) {
    for (std::uint32_t x = 0; x < kSide; ++x) {
      const float shade = 60.0F + 30.0F * std::sin(static_cast<float>(x) * wave) +
                          30.0F * std::cos(static_cast<float>(y) * wave * 0.7F);
      const std::uint32_t base = static_cast<std::uint32_t>(shade) + random.Below(6);
      for (const std::uint32_t part : {base, base + tint / 2, base + tint}) {
        corpus += static_cast<char>(std::min(part, 255u));
      }
    }
  }
}

/// Four bytes a pixel: rectangles of one colour on a clear ground, as signs and panels are drawn.
void AddPanel(std::string& corpus, Random random) {
  std::string picture(std::size_t{4} * kSide * kSide, '\0');
  for (int shape = 0; shape < 24; ++shape) {
    const std::uint32_t left = random.Below(kSide);
    const std::uint32_t top = random.Below(kSide);
    const std::uint32_t right = std::min(kSide, left + random.Between(4, 40));
    const std::uint32_t bottom = std::min(kSide, top + random.Between(4, 40));
    const auto colour = static_cast<std::uint32_t>(random.Next()) | 0xFF000000u;
    for (std::uint32_t y = top; y < bottom; ++y) {
      for (std::uint32_t x = left; x < right; ++x) {
        std::memcpy(&picture[std::size_t{4} * (y * kSide + x)], &colour, sizeof colour);
      }
    }
  }
  corpus += picture;
}

}  // namespace

std::string MixedCorpus(std::uint64_t seed, std::size_t bytes) {
  ContentGenerator::Options options;
  options.seed = seed;
  options.records = 1'000'000;
  const ContentGenerator content(options);
  // Each kind is added to until it has its share.
  std::string corpus;
  std::size_t shares[4] = {};
  for (std::uint32_t file = 0; corpus.size() < bytes; ++file) {
    const auto kind = std::min_element(std::begin(shares), std::end(shares)) - std::begin(shares);
    const std::size_t before = corpus.size();
    const Random random(seed, file);
    if (kind == 0) AddConfigs(corpus, content, file % 10'000);
    if (kind == 1) AddIndex(corpus, content, file % 4'000);
    if (kind == 2) AddMesh(corpus, random);
    if (kind == 3) (file % 3 == 0 ? AddPanel : AddPhoto)(corpus, random);
    shares[kind] += corpus.size() - before;
  }
  return corpus;
}
