// AssetWork: what the commands have in common that change an asset of the running database.
//
// Each starts the database, finds the asset, works, ends the database and then prints: messages
// and result. When the work failed and no message says why, the work itself must.

#pragma once

#include <string>

#include "apps/quarle/AssetSession.h"
#include "apps/quarle/Commands.h"
#include "environment/ResultsLog.h"
#include "tagdata/PLID.h"

struct AssetWork {
  const AssetOptions& options;
  const AssetSession& session;
  PLID id;  ///< of the asset; work that makes another one puts that one's here
  ResultsLog log;
  std::string answer{};   ///< what was asked for; printed when quiet too
  std::string summary{};  ///< of what was done
  std::string failure{};  ///< why not, when no message says so

  /// The asset's record; null once it is gone.
  MUKAsset* Record() const;
};

/// Runs `work` on the asset that the options name, with a bar of this label. The work gives whether
/// it was done.
[[nodiscard]] int RunAssetWork(const AssetOptions& options, const CommonOptions& common,
                               const char* label, bool (*work)(AssetWork&));

/// Prints the messages of work, and `failure` when it was not done and none of them says why.
void PrintOutcome(const ResultsLog& log, bool done, const std::string& failure,
                  const CommonOptions& common);
