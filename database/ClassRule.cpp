#include "database/ClassRule.h"

#include <string_view>

#include "database/ClassTables.h"
#include "database/CodeList.h"
#include "tagdata/TagContainer.h"

namespace {

struct Keys {
  const Zef::PString oldCode{"category-class"};
  const Zef::PString kind{"kind"};
  const Zef::PString type{"type"};
  const Zef::PString trackside{"trackside"};
  const Zef::PString isTrack{"istrack"};
  const Zef::PString isRoad{"isroad"};
  const Zef::PString tender{"tender"};
  const Zef::PString engine{"engine"};
};

const Keys& GetKeys() {
  static const Keys keys;
  return keys;
}

/// What the config says of its class beside the old code.
struct Traits {
  std::string_view kind;
  bool isTrackside;
  bool isTrack;
};

std::string_view WayWord(const TagContainer& config, const Traits& traits) {
  const Keys& keys = GetKeys();
  if (traits.isTrack) return ";track";
  if (config.GetBool(keys.isRoad)) return ";road";
  if (traits.isTrackside) return ";trackside";
  // Whoever denies that it is a track says that it is a way.
  return config.HasTag(keys.isTrack) ? ";road" : "";
}

std::string_view VehicleWord(const TagContainer& config) {
  const Keys& keys = GetKeys();
  if (config.GetBool(keys.tender)) return ";tender";
  return config.GetInt(keys.engine, -1) == 1 ? ";locomotive" : ";rollingstock";
}

/// The words by which the table of kinds tells its rows apart.
std::string DetailWords(const TagContainer& config, const Traits& traits) {
  std::string words(config.GetText(GetKeys().type).View());
  if (words == "trackside") words.clear();
  words += WayWord(config, traits);
  if (traits.kind == "traincar") words += VehicleWord(config);
  return words;
}

/// An old code that contradicts the kind or the track tags counts for nothing.
bool Agree(const OldClass& old, const Traits& traits) {
  return (old.kind.empty() || old.kind == traits.kind) &&
         MatchCodes(old.classes, "TO") == traits.isTrackside &&
         MatchCodes(old.classes, "TK") == traits.isTrack;
}

}  // namespace

std::string ConfigCategory(const TagContainer& config) {
  const Keys& keys = GetKeys();
  const Zef::SharedText oldCode = config.GetText(keys.oldCode);
  const Zef::SharedText kindText = config.GetText(keys.kind);
  const std::string_view kind = kindText.View();
  const bool isTrackside = config.HasTag(keys.trackside) || kind == "mojunction" ||
                           kind == "speedboard" || kind == "signal";
  const Traits traits{kind, isTrackside, config.GetBool(keys.isTrack)};

  const OldClass old = FindOldClass(kind, oldCode.View());
  std::string category;
  if (Agree(old, traits)) category = old.classes;
  // Details alone, without a kind, say nothing about an asset.
  if (!kind.empty()) AddCodes(category, KindCodes(kind, DetailWords(config, traits)));
  return category;
}
