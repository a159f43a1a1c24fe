// ReleasePair: the indexes of two releases of one product, the newer made from the older by a
// churn of its built-in content.
//
// A share of the older built-in assets vanishes. Half of these come back under a higher version,
// which is a new identifier, in the place of the old one; for the other half as many new assets
// arrive behind the rest. Users' content stays. The order of arrival differs a little between
// the two, as folder scans do. Fills are independent: one index in memory at a time is enough.

#pragma once

#include <cstdint>
#include <vector>

#include "bench/ContentGenerator.h"

class MUKAssetIndex;

class ReleasePair {
 public:
  struct Options {
    ContentGenerator::Options content;
    std::uint32_t churnPercent = 10;
  };
  explicit ReleasePair(const Options& options);

  /// Fills an empty index with records and every side table.
  void FillOld(MUKAssetIndex& index) const;
  void FillNew(MUKAssetIndex& index) const;

  std::uint32_t Vanished() const { return vanished_; }

 private:
  struct Place {
    std::uint32_t number;
    std::int32_t versionsAhead;
  };

  void Fill(MUKAssetIndex& index, const std::vector<Place>& places) const;
  void FillCompanions(MUKAssetIndex& index, const std::vector<Place>& places) const;

  Options options_;
  ContentGenerator content_;
  std::uint32_t vanished_ = 0;
  std::vector<Place> old_;
  std::vector<Place> new_;
};
