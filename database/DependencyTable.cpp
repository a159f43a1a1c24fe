#include "database/DependencyTable.h"

#include <algorithm>

#include "database/StoredText.h"
#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"

void DependencyTable::Clear() { *this = DependencyTable(); }

void DependencyTable::Replace(const PLID& asset, const std::vector<PLID>& dependencies) {
  if (asset.IsNull() || asset.PacksToNull()) return;
  BuildIndex();
  std::vector<std::uint32_t>& own = byAsset_[asset];
  for (const std::uint32_t at : own) {
    std::vector<std::uint32_t>& back = byDependency_[pairs_[at].dependency];
    back.erase(std::find(back.begin(), back.end(), at));
    pairs_[at].asset = PLID();
  }
  live_ -= own.size();
  own.clear();
  for (const PLID& dependency : dependencies) {
    if (dependency.IsNull() || dependency.PacksToNull()) continue;
    const auto at = static_cast<std::uint32_t>(pairs_.size());
    pairs_.push_back({asset, dependency});
    own.push_back(at);
    byDependency_[dependency].push_back(at);
    ++live_;
  }
  if (pairs_.size() > 2 * live_ + 1024) Squeeze();
}

std::vector<PLID> DependencyTable::DependenciesOf(const PLID& asset) {
  BuildIndex();
  std::vector<PLID> ids;
  const auto found = byAsset_.find(asset);
  if (found == byAsset_.end()) return ids;
  for (const std::uint32_t at : found->second) ids.push_back(pairs_[at].dependency);
  return ids;
}

std::vector<PLID> DependencyTable::DependentsOf(const PLID& dependency) {
  BuildIndex();
  std::vector<PLID> ids;
  const auto found = byDependency_.find(dependency);
  if (found == byDependency_.end()) return ids;
  for (const std::uint32_t at : found->second) ids.push_back(pairs_[at].asset);
  return ids;
}

std::vector<DependencyTable::Pair> DependencyTable::Pairs() const {
  std::vector<Pair> pairs;
  pairs.reserve(live_);
  std::copy_if(pairs_.begin(), pairs_.end(), std::back_inserter(pairs),
               [](const Pair& pair) { return !pair.asset.IsNull(); });
  return pairs;
}

bool DependencyTable::Read(Zef::ByteReader& in) {
  Clear();
  const std::uint32_t mode = in.U32();
  const std::uint32_t count = in.U32();
  if (mode != 0 || in.Failed() || count > in.Remaining() / (2 * PLID::kStoredSize)) return false;
  pairs_.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const PLID asset = ReadStoredId(in);
    const PLID dependency = ReadStoredId(in);
    if (asset.IsNull() || dependency.IsNull()) {
      Clear();
      return false;
    }
    pairs_.push_back({asset, dependency});
  }
  live_ = count;
  return true;
}

void DependencyTable::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  out.U32(static_cast<std::uint32_t>(live_));
  for (const Pair& pair : pairs_) {
    if (pair.asset.IsNull()) continue;
    PutStoredId(out, pair.asset);
    PutStoredId(out, pair.dependency);
  }
}

void DependencyTable::BuildIndex() {
  if (indexed_) return;
  for (std::uint32_t at = 0; at < pairs_.size(); ++at) {
    byAsset_[pairs_[at].asset].push_back(at);
    byDependency_[pairs_[at].dependency].push_back(at);
  }
  indexed_ = true;
}

void DependencyTable::Squeeze() {
  std::vector<Pair> pairs = Pairs();
  Clear();
  live_ = pairs.size();
  pairs_ = std::move(pairs);
}
