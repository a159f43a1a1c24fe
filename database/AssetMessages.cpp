#include "database/AssetMessages.h"

#include "database/MUKAsset.h"
#include "environment/InterfaceText.h"
#include "environment/ResultsLog.h"

namespace {

void Tell(ResultsLog* log, std::int32_t level, const char* key, const PLID& asset,
          std::vector<std::string> parameters) {
  if (log == nullptr) return;
  const Zef::Ref<Zef::ReferenceCountMP> message(new AssetMessage(asset, std::move(parameters)));
  log->Add(level, message, "%s", key);
}

}  // namespace

void TellOfAsset(ResultsLog* log, std::int32_t level, const char* key, const MUKAsset& asset,
                 std::string_view extra) {
  TellOfAsset(log, level, key, asset.id, asset.ShownName().View(), extra);
}

void TellOfAsset(ResultsLog* log, std::int32_t level, const char* key, const PLID& id,
                 std::string_view shownName, std::string_view extra) {
  std::vector<std::string> parameters{id.TagText(), std::string(shownName)};
  if (!extra.empty()) parameters.emplace_back(extra);
  Tell(log, level, key, id, std::move(parameters));
}

void TellOfFile(ResultsLog* log, std::int32_t level, const char* key, std::string_view path,
                std::string_view extra) {
  std::vector<std::string> parameters{std::string(path)};
  if (!extra.empty()) parameters.emplace_back(extra);
  Tell(log, level, key, PLID(), std::move(parameters));
}

std::string ResultText(const ResultEntry& entry, const InterfaceTextDB* texts) {
  const auto* const message = dynamic_cast<const AssetMessage*>(entry.reference.Get());
  if (message == nullptr) return entry.text;
  return ResolveMessage(texts, Zef::PString(entry.text), message->parameters);
}
