#include "bench/ReleasePair.h"

#include <algorithm>
#include <span>
#include <string>

#include "bench/Random.h"
#include "database/MUKAssetIndex.h"

namespace {

enum class Fate : std::uint8_t { Stays, Returns, Goes };

// Streams beyond those that single assets use.
constexpr std::uint64_t kChurnStream = 1ull << 60;
constexpr std::uint64_t kOldOrderStream = kChurnStream + 1;
constexpr std::uint64_t kNewOrderStream = kChurnStream + 2;
constexpr std::uint64_t kArchiveStream = kChurnStream + 3;

constexpr std::uint32_t kOrderWindow = 6;
constexpr std::uint32_t kArchives = 4;
constexpr std::uint32_t kCachedConfigs = 400;
constexpr std::uint32_t kQueuedLists = 3;

/// Moves `count` random entries to the front.
void DrawToFront(Random& random, std::vector<std::uint32_t>& entries, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto left = static_cast<std::uint32_t>(entries.size() - i);
    std::swap(entries[i], entries[i + random.Below(left)]);
  }
}

/// Every lower version of an asset is obsolete by its existence.
void AddLowerVersions(MUKAssetIndex& index, const PLID& id) {
  for (std::int32_t version = 0; version < id.version; ++version) {
    index.AddObsoleteRow(PLID(id.user, id.content, version), id);
  }
}

}  // namespace

ReleasePair::ReleasePair(const Options& options) : options_(options), content_(options.content) {
  const std::uint32_t records = options.content.records;
  std::vector<std::uint32_t> builtIn;
  for (std::uint32_t number = 0; number < records; ++number) {
    if (content_.IsBuiltIn(number)) builtIn.push_back(number);
  }
  vanished_ =
      static_cast<std::uint32_t>(builtIn.size() * std::uint64_t{options.churnPercent} / 100);
  Random churn(options.content.seed, kChurnStream);
  DrawToFront(churn, builtIn, vanished_);
  const std::uint32_t returning = vanished_ / 2;
  std::vector<Fate> fates(records, Fate::Stays);
  for (std::uint32_t i = 0; i < vanished_; ++i) {
    fates[builtIn[i]] = i < returning ? Fate::Returns : Fate::Goes;
  }

  for (std::uint32_t number = 0; number < records; ++number) {
    old_.push_back({number, 0});
    if (fates[number] != Fate::Goes) new_.push_back({number, fates[number] == Fate::Returns});
  }
  for (std::uint32_t i = 0; i < vanished_ - returning; ++i) new_.push_back({records + i, 0});
  Random(options.content.seed, kOldOrderStream).ShuffleNearby(std::span(old_), kOrderWindow);
  Random(options.content.seed, kNewOrderStream).ShuffleNearby(std::span(new_), kOrderWindow);
}

void ReleasePair::FillOld(MUKAssetIndex& index) const { Fill(index, old_); }

void ReleasePair::FillNew(MUKAssetIndex& index) const { Fill(index, new_); }

void ReleasePair::Fill(MUKAssetIndex& index, const std::vector<Place>& places) const {
  for (const Place& place : places) {
    const MUKAsset& asset = index.Add(content_.Asset(place.number, place.versionsAhead));
    if (asset.IsPresent()) AddLowerVersions(index, asset.id);
    index.Companions().dependencies.Replace(asset.id, content_.Dependencies(place.number));
  }
  FillCompanions(index, places);
}

void ReleasePair::FillCompanions(MUKAssetIndex& index, const std::vector<Place>& places) const {
  IndexCompanions& companions = index.Companions();
  companions.users = content_.Users();

  Random random(options_.content.seed, kArchiveStream);
  for (std::uint32_t id = 1; id <= kArchives; ++id) {
    ArchiveList::Archive archive;
    archive.flag = 1;
    archive.id = id;
    archive.name = "content-" + std::to_string(id);
    archive.path = "archives/" + archive.name.String() + ".ja";
    archive.stamp = 0x5F000000u + id;
    for (std::size_t at = id; at < places.size(); at += random.Between(20, 60)) {
      archive.assets.push_back(content_.Identity(places[at].number));
    }
    companions.archives.Add(std::move(archive));
  }

  TagContainer configs;
  configs.Ensure();
  const std::size_t step = std::max<std::size_t>(1, places.size() / kCachedConfigs);
  for (std::size_t at = 0; at < places.size(); at += step) {
    const std::uint32_t number = places[at].number;
    const MUKAsset asset = content_.Asset(number, 0);
    TagContainer config;
    config.SetPLID("plid", asset.id);
    config.SetString("username", asset.name.String().c_str());
    config.SetString("category-class", asset.category.String().c_str());
    config.SetString("category-region", asset.region.String().c_str());
    config.SetFloat("quarle-build", asset.build);
    config.SetString("description", content_.Prose(number, 300).c_str());
    TagContainer needs;
    needs.Ensure();
    for (const PLID& dependency : content_.Dependencies(number)) {
      needs.SetPLID(std::to_string(dependency.content).c_str(), dependency);
    }
    config.SetSubContainer("plid-table", needs);
    configs.SetSubContainer(asset.id.TagText().c_str(), config);
  }
  companions.configCache.Set(configs);

  companions.station.lastReceivedFile = "2023-11-06T04:12:55";
  companions.station.lastSearchTime = 1'699'243'975;
  for (std::uint32_t i = 0; i < kQueuedLists; ++i) {
    companions.station.urlQueue.emplace_back() =
        "https://station.example.org/lists/" + std::to_string(random.Below(100000)) + ".txt";
  }
  index.SetStoredValues(1 + random.Below(1000), 0.25f);
}
