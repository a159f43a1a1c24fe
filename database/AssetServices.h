// AssetServices: what the running database knows about asset folders, and where it has its base
// identifier from.
//
// What a host that brings no services of its own runs with. Scans say in the trace which folders
// they skipped. Keeps the config that was read last, as questions about one asset come together.

#pragma once

#include <vector>

#include "database/BaseId.h"
#include "database/ConfigReader.h"
#include "database/ContentServices.h"

class AssetServices final : public ContentServices {
 public:
  void LoadBaseId(const MUKSettings& settings) override;
  void ReloadBaseId() override;
  void RefreshBaseId() override;
  PLID NextLocalId(const MUKAssetIndex& index) override;
  bool Verify(MUKAssetIndex& index, MUKAsset& record) override;
  void Recover(MUKAssetIndex& index, MUKAsset& record) override;
  void Update(MUKAssetIndex& index, MUKAsset& record) override;
  void Scan(ContentArea area, MUKAssetIndex& index, const MUKSettings& settings) override;
  std::vector<PLID> ReadObsoleteList(const MUKAsset& asset) override;
  void IdleTurn(bool enableStation) override;

 private:
  BaseIdSettings baseId_;
  ConfigReader configs_;
};
