#include "kernel/RandomGenerator.h"

#include <gtest/gtest.h>

using Zef::RandomGenerator;

TEST(RandomGenerator, KeepsItsHistoricConstants) {
  const struct {
    std::uint32_t seed, expected;
  } cases[] = {{0, 0},
               {1, 16807},
               {255546, 4294961622U},                 // the plain product, not reduced
               {255547, 16807 - 5673},                // the first split one
               {2 * 255546U, 0x7FFFFFFF - 2 * 5673},  // below zero, so the modulus is added
               {0xFFFFFFFF, 16807 * (0xFFFFFFFF % 255546) - 5673 * (0xFFFFFFFF / 255546)}};
  for (const auto& c : cases) EXPECT_EQ(RandomGenerator(c.seed).Next(), c.expected) << c.seed;
}
