// AssetMessages: what operations on assets tell their user.
//
// Each entry of a results log has the key of an interface text as its text, and an AssetMessage as
// its reference, which names the asset and holds what the text's "%s" stand for. The text is looked
// up when the entry is shown, so this layer loads no texts.
//
// A null log takes everything and keeps nothing. Any thread may call.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/Containers.h"
#include "tagdata/PLID.h"

class InterfaceTextDB;
class MUKAsset;
class ResultsLog;
struct ResultEntry;

/// What an entry is about. Never changes.
class AssetMessage final : public Zef::ReferenceCountMP {
 public:
  AssetMessage(const PLID& about, std::vector<std::string> values)
      : asset(about), parameters(std::move(values)) {}

  const PLID asset;  ///< null for an entry about a file
  const std::vector<std::string> parameters;
};

/// Tells of an asset: the parameters are its tag form and shown name, and `extra` unless empty.
void TellOfAsset(ResultsLog* log, std::int32_t level, const char* key, const MUKAsset& asset,
                 std::string_view extra = {});
/// The same for an asset without a record. The name may be empty.
void TellOfAsset(ResultsLog* log, std::int32_t level, const char* key, const PLID& id,
                 std::string_view shownName, std::string_view extra = {});
/// Tells of a file or folder; the parameters are its path, and `extra` unless empty.
void TellOfFile(ResultsLog* log, std::int32_t level, const char* key, std::string_view path,
                std::string_view extra = {});

/// The entry as its user reads it; with its key for a text that `texts` has not, or if it is null.
[[nodiscard]] std::string ResultText(const ResultEntry& entry, const InterfaceTextDB* texts);
