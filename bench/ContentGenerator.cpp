#include "bench/ContentGenerator.h"

#include <algorithm>
#include <string_view>

#include "bench/Random.h"
#include "bench/Vocabulary.h"
#include "database/IndexCompanions.h"

namespace {

/// One stream for each aspect of an asset, so that a new aspect leaves the others as they are.
enum class Aspect : std::uint64_t { Ownership, Identity, Content, Prose, Dependencies, Maker };

Random Stream(std::uint64_t seed, Aspect aspect, std::uint32_t number) {
  return Random(seed, (static_cast<std::uint64_t>(aspect) << 32) | number);
}

template <class T, std::size_t N>
const T& PickWeighted(Random& random, const T (&choices)[N]) {
  std::uint32_t total = 0;
  for (const T& choice : choices) total += choice.weight;
  std::uint32_t at = random.Below(total);
  for (const T& choice : choices) {
    if (at < choice.weight) return choice;
    at -= choice.weight;
  }
  return choices[N - 1];
}

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

/// Lower case and underscores, as folders and many names are spelled.
std::string FolderForm(std::string_view text) {
  std::string folder(text);
  for (char& c : folder) c = c == ' ' ? '_' : LowerAscii(c);
  return folder;
}

std::string MakeName(Random& random, const Country& country, NounGroup group) {
  const std::string noun = random.Pick(country.nouns[static_cast<int>(group)]);
  const std::string place = random.Pick(country.places);
  const std::string maker = random.Pick(country.operators);
  const std::string number = std::to_string(random.Between(1, 9999));
  std::string name;
  switch (random.Below(8)) {
    case 0:
      return noun + " " + place;
    case 1:
      return place + " " + noun + " " + number;
    case 2:
      name = maker + " " + noun + " " + number;
      std::transform(name.begin(), name.end(), name.begin(), UpperAscii);
      return name;
    case 3:
      return FolderForm(noun + " " + number);
    case 4:
      return number + " " + noun + " (" + maker + ")";
    case 5:
      return noun + ", " + place + " \xE2\x80\x93 " + maker;
    default:
      return maker + " " + noun + " " + number;
  }
}

std::string MakeProse(Random random, const Country& country, std::uint32_t atLeast) {
  std::string prose;
  while (prose.size() < atLeast) {
    if (!prose.empty()) prose += ' ';
    for (const char* at = random.Pick(kSentences); *at != '\0'; ++at) {
      if (*at != '%') {
        prose += *at;
        continue;
      }
      ++at;
      if (*at == 'p') prose += random.Pick(country.places);
      if (*at == 'o') prose += random.Pick(country.operators);
      if (*at == 'n') prose += std::to_string(random.Between(100, 99999));
    }
  }
  return prose;
}

std::string InstallFolder(const PLID& id) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const std::uint32_t hash = id.Hash();
  std::string folder = "hash-";
  folder += kDigits[(hash >> 4) & 15];
  folder += kDigits[hash & 15];
  return folder + "/plid " + std::to_string(id.user) + " " + std::to_string(id.content) + " " +
         std::to_string(id.version);
}

/// Built-in content lies half in the older layout, half in folders by identifier. A part of the
/// users' is only known from the catalogue, and a little of it is being edited.
void FillPaths(Random& random, const AssetKind& kind, bool builtIn, MUKAsset& asset) {
  const std::uint32_t where = random.Below(100);
  const std::string folder = FolderForm(asset.name.View());
  if (builtIn && where < 45) {
    asset.legacyPath = std::string(kind.legacyFolder) + "/" + folder;
    return;
  }
  if (!builtIn && where < 12) {
    asset.Set(AssetFlag::Listed, true);
    return;
  }
  asset.installPath = InstallFolder(asset.id);
  asset.archiveName = builtIn && where < 70 ? "content-" + std::to_string(random.Between(1, 8))
                                            : std::string("local");
  if (!builtIn && where < 16) asset.editPath = "editing/" + folder;
}

void FillFlags(Random& random, bool builtIn, MUKAsset& asset) {
  asset.Set(AssetFlag::BuiltIn, builtIn);
  asset.Set(AssetFlag::Enabled, !random.Percent(2));
  asset.Set(AssetFlag::IsReskin, random.Percent(4));
  asset.Set(AssetFlag::IsClone, !builtIn && random.Percent(8));
  asset.Set(AssetFlag::Faulty, random.Percent(1));
  const bool known = random.Percent(60);
  asset.Set(AssetFlag::MissingDependencyKnown, known);
  asset.Set(AssetFlag::MissingDependency, known && random.Percent(4));
  asset.Set(AssetFlag::FaultyDependencyKnown, known);
  asset.Set(AssetFlag::FaultyDependency, known && random.Percent(2));
  asset.Set(AssetFlag::PermitEdit, !builtIn || random.Percent(90));
}

std::int32_t FirstVersion(Random& random) {
  const std::uint32_t share = random.Below(100);
  if (share < 72) return 0;
  if (share < 92) return 1;
  return static_cast<std::int32_t>(random.Between(2, 6));
}

constexpr std::uint32_t kProductMakers = 12;
constexpr std::uint32_t kFirstTime = 1'150'000'000;  // in 2006
constexpr std::uint32_t kTimeSpan = 550'000'000;     // up to 2023
constexpr std::uint32_t kVersionTime = 9'000'000;
constexpr std::uint32_t kReleaseEvery = 250;  // one asset in so many of a user has no user id yet

}  // namespace

ContentGenerator::ContentGenerator(const Options& options) : options_(options) {}

bool ContentGenerator::IsBuiltIn(std::uint32_t number) const {
  if (number >= options_.records) return true;
  return !Stream(options_.seed, Aspect::Ownership, number).Percent(options_.userSharePercent);
}

std::uint32_t ContentGenerator::Makers() const { return kProductMakers + options_.records / 200; }

std::int32_t ContentGenerator::UserId(std::uint32_t maker) const {
  Random random = Stream(options_.seed, Aspect::Maker, maker);
  const std::uint32_t step = random.Below(700);
  return static_cast<std::int32_t>(maker < kProductMakers ? 400 + maker * 15 + step % 15
                                                          : 20000 + maker * 700 + step);
}

PLID ContentGenerator::Identity(std::uint32_t number) const {
  Random random = Stream(options_.seed, Aspect::Identity, number);
  const auto content = static_cast<std::int32_t>(100000 + number * 3 + random.Below(3));
  if (!IsBuiltIn(number) && random.Below(kReleaseEvery) == 0) {
    return PLID(PLID::kUnassignedUser, content, PLID::kNullVersion);
  }
  // A few makers made half of it, the others share the rest.
  const std::uint32_t maker =
      random.Percent(50) ? random.Below(kProductMakers) : random.Below(Makers());
  return PLID(UserId(maker), content, FirstVersion(random));
}

MUKAsset ContentGenerator::Asset(std::uint32_t number, std::int32_t versionsAhead) const {
  Random random = Stream(options_.seed, Aspect::Content, number);
  const bool builtIn = IsBuiltIn(number);
  const AssetKind& kind = PickWeighted(random, kAssetKinds);
  const Country& country = PickWeighted(random, kCountries);

  MUKAsset asset;
  asset.id = Identity(number);
  asset.id.version += versionsAhead;
  asset.name = MakeName(random, country, kind.nouns);
  asset.category = kind.category;
  asset.region = random.Percent(15) ? std::string(country.code) + ";00" : country.code;
  const char* era = random.Pick(kEras);
  if (*era != '\0') asset.era = era;
  asset.keywords = std::string(kind.keywords) + ";" + FolderForm(random.Pick(country.operators));
  asset.sizeBytes = random.Between(20000, kind.largestSize);
  asset.build = static_cast<float>(random.Between(13, 47)) / 10.0f;
  if (random.Percent(30)) asset.rating = static_cast<std::uint8_t>(random.Below(6));
  asset.uploadTime = kFirstTime + random.Below(kTimeSpan);
  asset.modifyTime = asset.uploadTime + random.Below(kVersionTime) +
                     static_cast<std::uint64_t>(versionsAhead) * kVersionTime;
  if (kind.category == std::string_view("SS")) {
    asset.mapId = Identity(random.Below(options_.records));
  }
  if (random.Percent(2)) asset.userName = "My " + asset.name.String();
  FillPaths(random, kind, builtIn, asset);
  FillFlags(random, builtIn, asset);
  if (!random.Percent(3)) {
    asset.description =
        MakeProse(Stream(options_.seed, Aspect::Prose, number), country, random.Between(150, 235));
  }
  return asset;
}

std::vector<PLID> ContentGenerator::Dependencies(std::uint32_t number) const {
  Random random = Stream(options_.seed, Aspect::Dependencies, number);
  std::vector<PLID> dependencies(random.Percent(35) ? 0 : random.Between(1, 6));
  for (PLID& dependency : dependencies) dependency = Identity(random.Below(options_.records));
  return dependencies;
}

UserNameTable ContentGenerator::Users() const {
  UserNameTable users;
  for (std::uint32_t maker = 0; maker < Makers(); ++maker) {
    Random random = Stream(options_.seed, Aspect::Maker, maker);
    const Country& country = PickWeighted(random, kCountries);
    UserNameTable::Entry& entry = users.entries.emplace_back();
    entry.name = FolderForm(random.Pick(country.places)) + std::to_string(random.Below(1000));
    entry.profileId = 1000 + maker;
    entry.userId = UserId(maker);
  }
  return users;
}

std::string ContentGenerator::Prose(std::uint32_t number, std::uint32_t atLeast) const {
  Random random = Stream(options_.seed, Aspect::Prose, number);
  const Country& country = PickWeighted(random, kCountries);
  return MakeProse(random, country, atLeast);
}
