#include "apps/quarle/TagChanges.h"

#include <memory>
#include <string>
#include <vector>

#include "apps/quarle/Output.h"
#include "apps/quarle/TagJson.h"
#include "apps/quarle/TagShown.h"
#include "apps/quarle/Utf8.h"
#include "tagdata/TagContainer.h"
#include "tagdata/TagTextWriter.h"

namespace {

bool IsText(const HCSChunk& chunk) {
  return chunk.GetType() == TagString || chunk.GetType() == TagStringAlt;
}

std::string_view BytesOf(const HCSChunk& chunk) {
  if (chunk.GetDataSize() == 0) return {};
  return {reinterpret_cast<const char*>(chunk.GetData()), chunk.GetDataSize()};
}

/// A text without the zeros that close it; it may hold others.
std::string_view TextOf(const HCSChunk& chunk) {
  const std::string_view bytes = BytesOf(chunk);
  return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

bool IsSame(const HCSChunk& a, const HCSChunk& b) {
  if (IsText(a) && IsText(b)) return TextOf(a) == TextOf(b);
  if (a.GetType() != b.GetType()) return false;
  return a.GetType() == TagNull || BytesOf(a) == BytesOf(b);
}

std::string Described(const HCSChunk& chunk) {
  const std::string value = TagValueText(chunk);
  return std::string(TagTypeName(chunk.GetType())) + (value.empty() ? "" : " ") + value;
}

class Comparison {
 public:
  explicit Comparison(const TagChangeFound& found) : found_(found) {}

  std::size_t Run(const TagContainer& before, const TagContainer& after) {
    Open(before.Chunk(), after.Chunk());
    while (!open_.empty()) {
      if (!Step()) {
        path_.resize(open_.back().pathSize);
        open_.pop_back();
      }
    }
    return count_;
  }

 private:
  struct Pair {
    std::unique_ptr<TagCursor> before;
    TagContainer after;
    std::size_t pathSize;  ///< of the path around the container
  };

  void Open(const ChunkRef& before, const ChunkRef& after) {
    open_.push_back({before ? before->Tags() : nullptr, TagContainer(after), path_.size()});
  }
  void Tell(std::string_view key, std::string_view change) {
    ++count_;
    const std::size_t size = path_.size();
    Enter(key);
    found_(TagPathText(path_), change);
    path_.resize(size);
  }
  void Enter(std::string_view key) {
    if (!path_.empty()) path_ += '/';
    path_ += Printable(key);
  }

  bool Step();
  void Compare(std::string_view key, const ChunkRef& before);

  const TagChangeFound& found_;
  std::vector<Pair> open_;
  std::string path_;
  std::size_t count_ = 0;
};

/// Looks at the next tag of the innermost container; false at its end.
bool Comparison::Step() {
  std::string_view key;
  ChunkRef before;
  TagCursor* const tags = open_.back().before.get();
  if (tags == nullptr || !tags->Next(key, before)) return false;
  if (tags->IsFirst()) {
    Compare(key, before);
  } else {
    Tell(key, "repeats the key of an earlier tag, and its own value is lost");
  }
  return true;
}

void Comparison::Compare(std::string_view key, const ChunkRef& before) {
  const TagContainer& within = open_.back().after;
  ChunkRef after = within.FindTag(key);
  if (IsNullChunk(after.Get())) {
    const std::string clean = CleanTagKey(key);
    after = clean == key ? after : within.FindTag(clean);
    if (IsNullChunk(after.Get())) return Tell(key, Described(*before) + " is lost");
    Tell(key, "its key becomes " + Quoted(clean));
  }
  if (before->GetType() == TagSoup && after->GetType() == TagSoup) {
    Open(before, after);
    Enter(key);
  } else if (!IsSame(*before, *after)) {
    const bool isLonger = IsText(*before) && TextOf(*before).find('\0') != std::string_view::npos;
    Tell(key, Described(*before) + (isLonger ? " and what follows its zero byte" : "") +
                  " becomes " + Described(*after));
  }
}

}  // namespace

std::size_t FindTagChanges(const TagContainer& before, const TagContainer& after,
                           const TagChangeFound& found) {
  return Comparison(found).Run(before, after);
}
