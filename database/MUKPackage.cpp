#include "database/MUKPackage.h"

#include <memory>
#include <new>
#include <span>

#include "database/PackageFiles.h"
#include "database/PackageTables.h"
#include "kernel/ByteWriter.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/Subst.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/TagFiles.h"

namespace {

constexpr std::string_view kExtension = ".kpx";

constexpr const char* kNoPackage = "Content could not be read, as the file is not a valid KPX";
constexpr const char* kDamaged = "Content could not be read, as the KPX file is damaged";
constexpr const char* kNewer = "This content requires a newer Quarle version";
constexpr const char* kOtherExtension =
    "Unable to write archive file. Needs to be .kpx file extension";
constexpr const char* kNotSaved = "Unable to write archive file";
constexpr const char* kNoId = "Unable to add content as it doesnt not contain a valid PLID";
constexpr const char* kNothingToRemove = "Unable to remove specified asset";

struct Keys {
  const Zef::PString assets{"assets"};
  const Zef::PString compression{"compression"};
  const Zef::PString contents{"contents-table"};
  const Zef::PString id{"plid"};
  const Zef::PString kind{"kind"};
  const Zef::PString version{"package-version"};
};

const Keys& TheKeys() {
  static const Keys keys;
  return keys;
}

/// Whether two tags have one key: a change to the first would bring out the second.
bool HasRepeats(const TagContainer& tags) {
  const std::unique_ptr<TagCursor> cursor = tags.IsEmptyHandle() ? nullptr : tags.Chunk()->Tags();
  std::string_view key;
  ChunkRef chunk;
  while (cursor && cursor->Next(key, chunk)) {
    if (!cursor->IsFirst()) return true;
  }
  return false;
}

const char* FaultOf(const TagContainer& tags) {
  const Keys& keys = TheKeys();
  if (tags.GetText(keys.kind).View() != "archive") return kNoPackage;
  const TagContainer assets = tags.GetSubContainer(keys.assets);
  if (HasRepeats(tags) || HasRepeats(assets)) return kDamaged;
  if (tags.GetSubContainer(keys.contents).GetCount() != assets.GetCount()) return kDamaged;
  return tags.GetInt(keys.version) != 1 ? kNewer : nullptr;
}

/// The container itself if it is a heap tree, else one with the same nodes.
TagContainer Own(const TagContainer& tags) {
  if (!tags.IsEmptyHandle() && tags.Chunk()->Identity() == nullptr) return tags;
  TagContainer own;
  own.Ensure();
  tags.ForEach([&](std::string_view key, const ChunkRef& chunk) {
    own.Chunk()->AddTag(key.data() == nullptr ? Zef::PString() : Zef::PString(key), chunk);
  });
  return own;
}

bool Write(const TagContainer& tags, const std::string& path) {
  Zef::PString name;
  std::string_view rest;
  if (Zef::FindSubst(path, &name, &rest)) return SaveTagFileSafe(tags, name, rest);
  Zef::ByteWriter out;
  if (!AppendBinaryTags(out, tags)) return false;
  Zef::NewFile file(path);
  return file.IsPending() && file.Append(out.View().data(), out.Size()) && file.Flush() &&
         file.Keep();
}

}  // namespace

MUKPackage::MUKPackage() { tags_.SetString(TheKeys().compression, "LZSS"); }

std::string MUKPackage::Open(const std::string& path, std::string_view extension) try {
  TagContainer tags;
  // One that does not load leaves no tags, and those are no package.
  static_cast<void>(LoadTagFile(tags, Zef::PString(), path, extension));
  return OpenTags(tags);
} catch (const std::bad_alloc&) {
  return PackageText::kOutOfMemory;
}

std::string MUKPackage::OpenTags(const TagContainer& tags) {
  const char* const fault = FaultOf(tags);
  listing_.reset();
  tags_ = fault == nullptr ? tags : TagContainer();
  tags_.Ensure();
  tablesStale_ = false;
  changed_ = false;
  return fault == nullptr ? "" : fault;
}

std::string MUKPackage::CheckName(std::string_view path) {
  const bool isNamed = path.size() > kExtension.size() &&
                       Zef::EqualFolded(path.substr(path.size() - kExtension.size()), kExtension);
  return isNamed ? "" : kOtherExtension;
}

std::string MUKPackage::Save(const std::string& path) try {
  if (std::string error = CheckName(path); !error.empty()) return error;
  RebuildTables();
  if (!Write(tags_, path)) return kNotSaved;
  changed_ = false;
  return {};
} catch (const std::bad_alloc&) {
  return PackageText::kOutOfMemory;
}

PackageCompression MUKPackage::Compression() const {
  return PackageCompressionOf(tags_.GetText(TheKeys().compression).View());
}

TagContainer MUKPackage::Get(std::uint32_t index) const {
  return index < Count() ? Listed().assets[index] : TagContainer();
}

std::int32_t MUKPackage::Find(const PLID& id) const {
  const Listing& listing = Listed();
  const auto place = listing.places.find(id);
  return place == listing.places.end() ? -1 : static_cast<std::int32_t>(place->second);
}

std::string MUKPackage::Add(const TagContainer& asset) {
  const PLID id = asset.GetPLID(TheKeys().id);
  if (id.IsNull()) return kNoId;
  TagContainer held = OwnAssets();
  const std::string name = id.TagText();
  // A key may stand for another identifier than that of its asset.
  if (Find(id) >= 0 || !IsNullChunk(held.FindTag(name).Get())) {
    return "Unable to add content as an item with PLID " + name + " is already present";
  }
  held.SetSubContainer(Zef::PString(name), asset);
  listing_->Append(asset);
  tablesStale_ = true;
  changed_ = true;
  return {};
}

std::string MUKPackage::Remove(std::uint32_t index) {
  TagContainer held = OwnAssets();
  if (index >= held.GetCount()) return kNothingToRemove;
  held.RemoveTag(held.GetTagName(index));
  listing_.reset();
  tablesStale_ = true;
  changed_ = true;
  return {};
}

TagContainer& MUKPackage::Tags() {
  if (tablesStale_) RebuildTables();
  listing_.reset();
  changed_ = true;
  return tags_;
}

const TagContainer& MUKPackage::Tags() const {
  if (tablesStale_) RebuildTables();
  return tags_;
}

/// The assets in a container that is no view of a file: there a change costs the same however many
/// there are. The root is none either, as a file that came to hold views of itself would never die.
TagContainer MUKPackage::OwnAssets() {
  tags_ = Own(tags_);
  const TagContainer held = tags_.GetSubContainer(TheKeys().assets);
  TagContainer own = Own(held);
  if (own.Chunk().Get() != held.Chunk().Get()) tags_.SetSubContainer(TheKeys().assets, own);
  return own;
}

void MUKPackage::Listing::Append(TagContainer asset) {
  const PLID id = asset.GetPLID(TheKeys().id);
  if (!id.IsNull()) places.emplace(id, static_cast<std::uint32_t>(assets.size()));
  assets.push_back(std::move(asset));
}

const MUKPackage::Listing& MUKPackage::Listed() const {
  if (listing_) return *listing_;
  Listing listing;
  tags_.GetSubContainer(TheKeys().assets).ForEach([&](std::string_view, const ChunkRef& chunk) {
    listing.Append(chunk->GetType() == TagSoup ? TagContainer(chunk) : TagContainer());
  });
  return listing_.emplace(std::move(listing));
}

void MUKPackage::RebuildTables() const {
  // An empty package has its containers too.
  if (tags_.GetSubContainer(TheKeys().assets).IsEmptyHandle()) {
    TagContainer none;
    none.Ensure();
    tags_.SetSubContainer(TheKeys().assets, none);
  }
  // What a caller of Tags changed since.
  listing_.reset();
  RebuildPackageTables(tags_, Listed().assets);
  tablesStale_ = false;
}
