#include "database/AssetServices.h"

#include "database/AssetUpdate.h"
#include "database/AssetVerify.h"
#include "database/ContentScan.h"
#include "database/Database.h"
#include "kernel/Clock.h"
#include "kernel/standard/Trace.h"

namespace {

ScanOptions OptionsOf(const MUKSettings& settings) {
  ScanOptions options;
  options.archivesOnly = settings.archivesOnly;
  options.stop = &Database::Get().StopRequest();
  const Zef::Clock* const clock = settings.clock;
  options.now = (clock != nullptr ? *clock : Zef::RealClock()).UnixTime();
  if (settings.progress) {
    options.progress = [&settings](const std::string& folder, std::size_t, std::size_t) {
      settings.progress(folder.c_str());
    };
  }
  return options;
}

void TraceSkipped(const ScanReport& report) {
  for (const ScanReport::Message& message : report.messages) {
    Zef::Trace("MUKScan> \"%s\": %s\n", message.path.c_str(), ScanOutcomeText(message.outcome));
  }
  if (report.furtherMessages == 0) return;
  Zef::Trace("MUKScan> and %llu more\n", static_cast<unsigned long long>(report.furtherMessages));
}

}  // namespace

void AssetServices::LoadBaseId(const MUKSettings& settings) {
  configs_ = ConfigReader(settings.productRoot);
  baseId_.LoadBaseId(settings.productRoot);
}

void AssetServices::ReloadBaseId() {
  configs_ = ConfigReader(configs_.Root());
  baseId_.Reload();
}

void AssetServices::RefreshBaseId() { baseId_.GetBaseUser(); }

PLID AssetServices::NextLocalId(const MUKAssetIndex& index) { return baseId_.NextLocalId(index); }

bool AssetServices::Verify(MUKAssetIndex& index, MUKAsset& record) {
  return VerifyAsset(index, configs_, record);
}

void AssetServices::Recover(MUKAssetIndex& index, MUKAsset& record) {
  RecoverAsset(index, configs_, record);
}

void AssetServices::Update(MUKAssetIndex& index, MUKAsset& record) {
  RefreshAsset(index, configs_, record, Database::Get().UnixTime());
}

void AssetServices::Scan(ContentArea area, MUKAssetIndex& index, const MUKSettings& settings) {
  ScanReport report;
  ContentScan(index, configs_, OptionsOf(settings), &report).ScanArea(area);
  TraceSkipped(report);
}

std::vector<PLID> AssetServices::ReadObsoleteList(const MUKAsset& asset) {
  TagContainer config;
  if (configs_.ReadFields(asset, config) != ConfigStatus::Loaded) return {};
  return RelationsOf(asset.id, config).obsolete;
}

void AssetServices::IdleTurn(bool) {}
