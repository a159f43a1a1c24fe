#include "database/AssetConfig.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "database/ClassRule.h"
#include "database/CodeList.h"
#include "database/EraRule.h"
#include "database/MUKAsset.h"
#include "database/NameRule.h"
#include "database/RegionRule.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/TStream.h"
#include "tagdata/TagContainer.h"

namespace {

constexpr float kOldestBuild = 1.3f;     // of a config that says nothing
constexpr float kMeshTableBuild = 2.0f;  // the first with mesh tables and scripts
constexpr float kPrivilegeBuild = 2.5f;  // the first that means what it says of privileges

constexpr std::string_view kPrivileges = "privileges";
constexpr std::string_view kPermits[] = {"permit-commit", "permit-edit", "permit-listing"};
constexpr std::string_view kTables[] = {"plid-table", "obsolete-table"};

/// Outermost tags that count by themselves.
constexpr std::string_view kUsedKeys[] = {"category-class",
                                          "category-era",
                                          "category-keyword",
                                          "category-region",
                                          "class",
                                          "company",
                                          "engine",
                                          "isroad",
                                          "istrack",
                                          "kind",
                                          "map-plid",
                                          "mesh-table",
                                          "name",
                                          "origin",
                                          "plid",
                                          "product-type",
                                          "quarle-build",
                                          "region",
                                          "scriptclass",
                                          "secret",
                                          "tender",
                                          "trackside",
                                          "type",
                                          "username"};
constexpr std::string_view kNumberedKeys[] = {"category-region-", "category-era-"};
constexpr std::size_t kMostDigits = 4;

template <std::size_t N>
bool IsOneOf(std::string_view key, const std::string_view (&keys)[N]) {
  return std::find(std::begin(keys), std::end(keys), key) != std::end(keys);
}

bool IsNumbered(std::string_view key) {
  for (const std::string_view stem : kNumberedKeys) {
    if (!key.starts_with(stem)) continue;
    const std::string_view digits = key.substr(stem.size());
    return digits.size() <= kMostDigits &&
           digits.find_first_not_of("0123456789") == std::string_view::npos;
  }
  return false;
}

struct Keys {
  const Zef::PString id{"plid"};
  const Zef::PString keywords{"category-keyword"};
  const Zef::PString company{"company"};
  const Zef::PString map{"map-plid"};
  const Zef::PString build{"quarle-build"};
  const Zef::PString meshTable{"mesh-table"};
  const Zef::PString scriptClass[2]{"class", "scriptclass"};
  const Zef::PString productType{"product-type"};
  const Zef::PString privileges{kPrivileges};
  const Zef::PString permitCommit{kPermits[0]};
  const Zef::PString permitEdit{kPermits[1]};
  const Zef::PString permitListing{kPermits[2]};
  const Zef::PString secret{"secret"};
};

const Keys& GetKeys() {
  static const Keys keys;
  return keys;
}

/// As much of a text as index files hold: of a list whole words, of any other whole characters.
std::string_view Storable(std::string_view text, bool isList) {
  constexpr std::size_t kMost = Zef::TStream::kMaxTextLength - 1;
  if (text.size() <= kMost) return text;
  std::size_t end = isList ? text.rfind(';', kMost) : std::string_view::npos;
  if (end == std::string_view::npos) {
    constexpr std::size_t kMostBack = 3;  // bytes of one character behind its first
    end = kMost;
    while (kMost - end < kMostBack && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  }
  return text.substr(0, end);
}

/// A field without characters is stored without storage, as in a new record.
void SetText(AssetText& field, std::string_view text, bool isList = true) {
  text = Storable(text, isList);
  if (text.empty()) {
    field.Clear();
  } else {
    field = text;
  }
}

bool IsProductType(const TagContainer& config, std::string_view type) {
  return Zef::EqualFolded(config.GetText(GetKeys().productType).View(), type);
}

std::string ConfigKeywords(const TagContainer& config) {
  const Keys& keys = GetKeys();
  const Zef::SharedText words = config.GetText(keys.keywords);
  if (words.View().empty()) return KeywordForm(config.GetText(keys.company).View());
  return Zef::Folded(words.View());
}

std::uint32_t MeasuredSize(const MUKAsset& record, const MeasureFolder& measure) {
  if (record.legacyPath.IsEmpty()) {
    if (record.Has(AssetFlag::BuiltIn)) return 0;
    if (record.installPath.IsEmpty()) return MUKAsset::kSizeUnknown;
  }
  return measure ? measure(record) : MUKAsset::kSizeUnknown;
}

}  // namespace

TagUse UseOfConfigTag(std::string_view block, std::string_view key) {
  if (IsOneOf(block, kTables)) return TagUse::Number;
  bool isUsed = false;
  if (block.empty()) {
    isUsed =
        key == kPrivileges || IsOneOf(key, kTables) || IsOneOf(key, kUsedKeys) || IsNumbered(key);
  } else if (block == kPrivileges) {
    isUsed = IsOneOf(key, kPermits);
  }
  return isUsed ? TagUse::Keep : TagUse::Drop;
}

float ConfigBuild(const TagContainer& config) {
  const Keys& keys = GetKeys();
  const float build = config.GetFloat(keys.build);
  if (build >= 1.0f && build < 100.0f) return build;
  const bool hasLaterTags = config.HasTag(keys.meshTable) || config.HasTag(keys.scriptClass[0]) ||
                            config.HasTag(keys.scriptClass[1]);
  return hasLaterTags ? kMeshTableBuild : kOldestBuild;
}

void ReadPrivileges(MUKAsset& record, const TagContainer& config) {
  const Keys& keys = GetKeys();
  const TagContainer privileges = config.GetSubContainer(keys.privileges);
  bool commit = true;
  bool edit = true;
  bool listing = true;
  if (record.build < kPrivilegeBuild && privileges.IsEmptyHandle()) {
    listing = !(config.GetBool(keys.secret) && IsProductType(config, "template"));
  } else {
    if (record.Has(AssetFlag::BuiltIn)) {
      commit = privileges.GetBool(keys.permitCommit, true);
      edit = privileges.GetBool(keys.permitEdit, true);
    }
    listing = privileges.GetBool(keys.permitListing, true);
    if (config.HasTag(keys.secret)) listing = !config.GetBool(keys.secret);
  }
  record.Set(AssetFlag::PermitCommit, commit);
  record.Set(AssetFlag::PermitEdit, edit);
  record.Set(AssetFlag::PermitListing, listing);
}

bool FillFromConfig(MUKAsset& record, const TagContainer& config, bool readId,
                    const MeasureFolder& measure) {
  if (config.IsEmptyHandle() || config.Chunk()->GetType() != TagSoup) return false;
  const Keys& keys = GetKeys();
  if (readId) {
    const PLID id = config.GetPLID(keys.id);
    if (id.IsNull()) return false;
    record.id = id;
  }
  if (!(record.build > 0.0f)) record.build = ConfigBuild(config);
  SetText(record.category, ConfigCategory(config));
  SetText(record.name, ConfigName(record, config), /*isList=*/false);
  SetText(record.region, ConfigRegion(config, record.build));
  SetText(record.era, ConfigEra(config));
  SetText(record.keywords, ConfigKeywords(config));
  const bool isSession = MatchCodes(record.category.View(), "SS");
  record.mapId = isSession ? config.GetPLID(keys.map) : PLID();
  if (record.sizeBytes == MUKAsset::kSizeUnknown) record.sizeBytes = MeasuredSize(record, measure);
  record.Set(AssetFlag::IsReskin, IsProductType(config, "reskin"));
  record.Set(AssetFlag::InArchiveKnown, false);
  ReadPrivileges(record, config);
  return true;
}
