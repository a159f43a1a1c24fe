// The walks of TagContainer that go down a whole tree, each with a stack of its own.

#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tagdata/Convert.h"
#include "tagdata/TagBudget.h"
#include "tagdata/TagContainer.h"

namespace {

/// Copies may make this many nodes of any tree, some 64 MiB.
constexpr std::uint64_t kNodeAllowance = 0x40000;

/// Calls `visit(key, chunk, depth)` for the first tag of each key at any depth, as long as it gives
/// true. Linear, whatever repeats itself.
template <class Visit>
void WalkFirsts(const HCSChunk& root, const Visit& visit) {
  std::vector<std::unique_ptr<TagCursor>> open;
  open.push_back(root.Tags());
  std::string_view key;
  ChunkRef child;
  while (!open.empty()) {
    if (open.back() == nullptr || !open.back()->Next(key, child)) {
      open.pop_back();
      continue;
    }
    if (!open.back()->IsFirst()) continue;
    if (!visit(key, child, open.size() - 1)) return;
    if (child->GetType() == TagSoup && open.size() <= kMaxTagDepth) open.push_back(child->Tags());
  }
}

/// A container that is being copied, and the key under which the copy will be attached.
struct OpenCopy {
  Zef::PString key;
  ChunkRef target;
  std::unique_ptr<TagCursor> tags;
};

/// Attaches each copy only when it is complete, so that a source that contains its target is
/// copied as it was. Stops when the budget is spent.
bool CopyTags(const ChunkRef& target, std::unique_ptr<TagCursor> tags, TagBudget& budget) {
  std::vector<OpenCopy> open;
  open.push_back({Zef::PString(), target, std::move(tags)});
  bool whole = true;
  std::string_view key;
  ChunkRef child;
  while (!open.empty()) {
    OpenCopy& top = open.back();
    if (top.tags == nullptr || !top.tags->Next(key, child)) {
      const OpenCopy done = std::move(top);
      open.pop_back();
      if (!open.empty()) open.back().target->AddTag(done.key, done.target);
      continue;
    }
    if (!budget.Take(key, *child, open.size() - 1)) return false;
    Zef::PString childKey = key.data() == nullptr ? Zef::PString() : Zef::PString(key);
    const std::int32_t type = child->GetType();
    ChunkRef copy = top.target->CreateTag(type, type != TagNull ? child->GetCore() : nullptr);
    if (type != TagSoup) {
      top.target->AddTag(childKey, copy);
    } else if (open.size() > kMaxTagDepth) {
      whole = false;
    } else {
      open.push_back({std::move(childKey), std::move(copy), child->Tags()});
    }
  }
  return whole;
}

/// Appends identifiers to a list, each once and never the null one.
class IdCollector {
 public:
  explicit IdCollector(std::vector<PLID>& list) : list_(list), known_(list.begin(), list.end()) {}

  void Add(const PLID& id) {
    if (!id.IsNull() && known_.insert(id).second) list_.push_back(id);
  }

 private:
  std::vector<PLID>& list_;
  std::unordered_set<PLID> known_;
};

/// The identifier that a tag holds, as a value or by conversion.
PLID IdOfTag(const ChunkRef& chunk) {
  const CoreRef core = ConvertTagData(chunk->GetType(), chunk->GetCore(), TagPLID);
  return core && core->Size() == PLID::kStoredSize ? PLID::FromStored(core->Data()) : PLID();
}

}  // namespace

std::uint64_t TagBudget::Measure() const {
  std::uint64_t total = 0;
  WalkFirsts(*root_, [&](std::string_view key, const ChunkRef& chunk, std::size_t depth) {
    total += cost_(key, *chunk, depth);
    return total < kMaxMeasure;
  });
  return total;
}

bool TagContainer::CopyFrom(const TagContainer& source) {
  Ensure();
  const ChunkRef from = source.chunk_;
  if (IsSameNode(from, chunk_)) return true;
  const std::int32_t type = from ? from->GetType() : TagNull;
  if (type != TagNull && type != TagSoup) chunk_->SetData(type, from->GetCore());
  std::unique_ptr<TagCursor> tags = from ? from->Tags() : nullptr;
  chunk_->RemoveAllTags();
  TagBudget budget(
      from.Get(), kNodeAllowance,
      [](std::string_view, const HCSChunk&, std::size_t) -> std::uint64_t { return 1; });
  return CopyTags(chunk_, std::move(tags), budget);
}

void TagContainer::CollectPLIDs(std::vector<PLID>& list) const {
  if (!chunk_) return;
  IdCollector ids(list);
  WalkFirsts(*chunk_, [&](std::string_view, const ChunkRef& chunk, std::size_t) {
    const std::int32_t type = chunk->GetType();
    if (type == TagString || type == TagPLID) ids.Add(IdOfTag(chunk));
    return true;
  });
}

void TagContainer::CollectPLIDsFlat(std::vector<PLID>& list) const {
  IdCollector ids(list);
  const std::unique_ptr<TagCursor> tags = chunk_ ? chunk_->Tags() : nullptr;
  std::string_view key;
  ChunkRef chunk;
  while (tags && tags->Next(key, chunk)) {
    if (tags->IsFirst()) ids.Add(IdOfTag(chunk));
  }
}
