#include "database/DependencyTable.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>

#include "kernel/ByteReader.h"
#include "kernel/ByteWriter.h"

namespace {
constexpr auto kNullStored = std::bit_cast<std::uint64_t>(PLID().Stored());
}

void DependencyTable::Clear() { *this = DependencyTable(); }

void DependencyTable::Replace(const PLID& asset, const std::vector<PLID>& dependencies) {
  if (!asset.IsStorable()) return;
  BuildIndex();
  for (std::uint32_t link = byAsset_.Find(asset).first; link != 0;
       link = links_[link - 1].nextOfAsset) {
    pairs_[link - 1].asset = StoredId();  // byDependency_ still leads there: see DependentsOf
    --live_;
  }
  byAsset_.Remove(asset);
  Chain own;
  for (const PLID& dependency : dependencies) {
    if (!dependency.IsStorable()) continue;
    pairs_.push_back({{asset.Stored()}, {dependency.Stored()}});
    links_.emplace_back();
    const auto link = static_cast<std::uint32_t>(pairs_.size());
    Append(own, &Links::nextOfAsset, link);
    Append(byDependency_.Insert(dependency), &Links::nextOfDependency, link);
    ++live_;
  }
  if (own.first != 0) byAsset_.Insert(asset) = own;
  if (pairs_.size() > 2 * live_ + 1024) Squeeze();
}

std::vector<PLID> DependencyTable::DependenciesOf(const PLID& asset) {
  BuildIndex();
  std::vector<PLID> ids;
  for (std::uint32_t link = byAsset_.Find(asset).first; link != 0;
       link = links_[link - 1].nextOfAsset) {
    ids.push_back(pairs_[link - 1].dependency.Id());
  }
  return ids;
}

std::vector<PLID> DependencyTable::DependentsOf(const PLID& dependency) {
  BuildIndex();
  std::vector<PLID> ids;
  for (std::uint32_t link = byDependency_.Find(dependency).first; link != 0;
       link = links_[link - 1].nextOfDependency) {
    if (!pairs_[link - 1].asset.IsNull()) ids.push_back(pairs_[link - 1].asset.Id());
  }
  return ids;
}

std::vector<DependencyTable::Pair> DependencyTable::Pairs() const {
  std::vector<Pair> pairs;
  pairs.reserve(live_);
  for (const StoredPair& pair : pairs_) {
    if (!pair.asset.IsNull()) pairs.push_back({pair.asset.Id(), pair.dependency.Id()});
  }
  return pairs;
}

bool DependencyTable::Read(Zef::ByteReader& in) {
  Clear();
  const std::uint32_t mode = in.U32();
  const std::uint32_t count = in.U32();
  if (mode != 0 || in.Failed() || count > in.Remaining() / sizeof(StoredPair)) return false;
  const auto bytes = in.Bytes(count * sizeof(StoredPair));
  pairs_.resize(count);
  if (count != 0) std::memcpy(pairs_.data(), bytes.data(), bytes.size());
  const bool damaged = std::any_of(pairs_.begin(), pairs_.end(), [](const StoredPair& pair) {
    return pair.asset.IsNull() || pair.dependency.IsNull();
  });
  if (damaged) {
    Clear();
    return false;
  }
  live_ = count;
  return true;
}

bool DependencyTable::Skip(Zef::ByteReader& in) {
  const std::uint32_t mode = in.U32();
  const std::uint32_t count = in.U32();
  if (mode != 0 || in.Failed() || count > in.Remaining() / sizeof(StoredPair)) return false;
  for (std::uint64_t left = std::uint64_t{count} * 2; left != 0; --left) {
    if (in.U64() == kNullStored) return false;
  }
  return true;
}

void DependencyTable::Write(Zef::ByteWriter& out) const {
  out.U32(0);
  out.U32(static_cast<std::uint32_t>(live_));
  if (live_ == pairs_.size()) {
    out.Bytes(std::as_bytes(std::span(pairs_)));
    return;
  }
  for (const StoredPair& pair : pairs_) {
    if (!pair.asset.IsNull()) out.Bytes(std::as_bytes(std::span(&pair, 1)));
  }
}

void DependencyTable::Append(Chain& chain, std::uint32_t Links::*next, std::uint32_t link) {
  (chain.first == 0 ? chain.first : links_[chain.last - 1].*next) = link;
  chain.last = link;
}

void DependencyTable::BuildIndex() {
  if (indexed_) return;
  links_.assign(pairs_.size(), Links());
  for (std::uint32_t link = 1; link <= pairs_.size(); ++link) {
    const StoredPair& pair = pairs_[link - 1];
    Append(byAsset_.Insert(pair.asset.Id()), &Links::nextOfAsset, link);
    Append(byDependency_.Insert(pair.dependency.Id()), &Links::nextOfDependency, link);
  }
  indexed_ = true;
}

void DependencyTable::Squeeze() {
  std::vector<StoredPair> pairs = std::move(pairs_);
  Clear();
  std::erase_if(pairs, [](const StoredPair& pair) { return pair.asset.IsNull(); });
  live_ = pairs.size();
  pairs_ = std::move(pairs);
}
