// ScanFixture: a product root with asset folders, and what a scan makes of it.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "database/ContentScan.h"
#include "database/MUKAssetIndex.h"
#include "tests/support/TestFiles.h"

namespace Test {

class ScanTest : public testing::Test {
 protected:
  std::string Root() const { return folder_.Path().string(); }
  /// Writes a config, by default config.txt in an asset's folder.
  void Put(std::string_view folder, std::string_view config,
           std::string_view name = "config.txt") const {
    WriteWholeFile(folder_ / (std::string(folder) + "/" + std::string(name)), config);
  }
  ScanReport Scan() {
    options_.now = kNow;
    return ScanProduct(index_, Root(), options_);
  }
  /// "plid-triple legacy|install@archive|edit" of each record in file order, ';' behind each.
  std::string Places() const {
    std::string places;
    for (const MUKAsset* record : index_.AllRecords()) {
      places += record->id.ToDelimited(':') + ' ' + record->legacyPath.String() + '|' +
                record->installPath.String() + '@' + record->archiveName.String() + '|' +
                record->editPath.String() + ';';
    }
    return places;
  }
  /// "name path;" of each message.
  static std::string Told(const ScanReport& report) {
    std::string told;
    for (const auto& message : report.messages) {
      told += std::string(ScanOutcomeName(message.outcome)) + ' ' + message.path + ';';
    }
    return told;
  }

  static constexpr std::int64_t kNow = 1'600'000'000;

  TempFolder folder_;
  MUKAssetIndex index_;
  ScanOptions options_;
};

}  // namespace Test
