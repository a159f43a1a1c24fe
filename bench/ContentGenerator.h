// ContentGenerator: makes one asset after the other as a released product would hold them.
//
// Assets are numbered. Everything about a number follows from the seed alone, so two indexes
// that hold the same number hold the same asset, and nothing has to be remembered between them.
// About 500 stored bytes an asset, with its share of the side tables.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "database/MUKAsset.h"

struct UserNameTable;

class ContentGenerator {
 public:
  struct Options {
    std::uint64_t seed = 1;
    std::uint32_t records = 0;           ///< of the older release; higher numbers are built in
    std::uint32_t userSharePercent = 5;  ///< content of users: not built in
  };
  explicit ContentGenerator(const Options& options);

  bool IsBuiltIn(std::uint32_t number) const;
  /// Identifier in the older release.
  PLID Identity(std::uint32_t number) const;
  /// The asset, as it is `versionsAhead` versions after the older release.
  MUKAsset Asset(std::uint32_t number, std::int32_t versionsAhead) const;
  /// What it depends on: none to six assets of the older release.
  std::vector<PLID> Dependencies(std::uint32_t number) const;
  /// Makers of the content. Texts are the entries' own.
  UserNameTable Users() const;
  /// A description in the style of this content, of `atLeast` bytes and one sentence more.
  std::string Prose(std::uint32_t number, std::uint32_t atLeast) const;

 private:
  std::int32_t UserId(std::uint32_t maker) const;
  std::uint32_t Makers() const;

  Options options_;
};
