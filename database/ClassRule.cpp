#include "database/ClassRule.h"

#include <string_view>

#include "database/ClassTables.h"
#include "database/CodeList.h"
#include "tagdata/TagContainer.h"

namespace {

struct Keys {
  const Zef::PString oldClass{"category-class"};
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

/// The words by which the table of kinds tells its rows apart.
std::string DetailWords(const TagContainer& config, const Traits& traits) {
  const Keys& keys = GetKeys();
  std::string words(config.GetText(keys.type).View());
  if (words == "trackside") words.clear();
  if (traits.isTrack) {
    words += ";track";
  } else if (config.GetBool(keys.isRoad)) {
    words += ";road";
  } else if (traits.isTrackside) {
    words += ";trackside";
  } else if (config.HasTag(keys.isTrack)) {
    words += ";road";
  }
  if (traits.kind != "traincar") return words;
  if (config.GetBool(keys.tender)) {
    words += ";tender";
  } else if (config.GetInt(keys.engine, -1) == 1) {
    words += ";locomotive";
  } else {
    words += ";rollingstock";
  }
  return words;
}

/// An old code was often copied along with a config of another kind: then the kind is right.
bool Agree(std::string_view oldClasses, const Traits& traits) {
  const std::string_view kind = KindOfCodes(oldClasses);
  return (kind.empty() || kind == traits.kind) &&
         MatchCodes(oldClasses, "TO") == traits.isTrackside &&
         MatchCodes(oldClasses, "TK") == traits.isTrack;
}

}  // namespace

std::string ConfigCategory(const TagContainer& config) {
  const Keys& keys = GetKeys();
  const Zef::SharedText oldClass = config.GetText(keys.oldClass);
  const Zef::SharedText kindText = config.GetText(keys.kind);
  const std::string_view kind = kindText.View();
  const bool isTrackside = config.HasTag(keys.trackside) || kind == "mojunction" ||
                           kind == "speedboard" || kind == "signal";
  const Traits traits{kind, isTrackside, config.GetBool(keys.isTrack)};

  std::string category(OldClassCodes(kind, oldClass.View()));
  if (!category.empty() && !Agree(category, traits)) category.clear();
  // Details alone, without a kind, say nothing about an asset.
  if (!kind.empty()) AddCodes(category, KindCodes(kind, DetailWords(config, traits)));
  return category;
}
