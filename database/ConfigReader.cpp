#include "database/ConfigReader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/MUKAsset.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"
#include "tagdata/NOLBinaryFile.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;
using Zef::Platform::OwnedFile;

struct ConfigName {
  const char* name;
  bool isText;
};
constexpr std::array<ConfigName, 2> kConfigNames = {{{kTextConfig, true}, {kBinaryConfig, false}}};

constexpr std::string_view kPackedMagic = "CFIL";
constexpr std::size_t kFirstBuffer = 16384;

struct FoundConfig {
  std::size_t at = FolderListing::kNone;
  bool isText = false;
};

/// Folders may have those names too, and hold what they like.
FoundConfig FindConfig(const FolderListing& listing) {
  for (const ConfigName& config : kConfigNames) {
    const std::size_t at = listing.Find(config.name, /*passFolders=*/true);
    if (at != FolderListing::kNone) return {at, config.isText};
  }
  return {listing.Find(kTextConfig), true};  // a folder at best, as the status says then
}

/// What tells one place of a record from another.
std::string PlaceKey(const MUKAsset& record) {
  if (!record.legacyPath.IsEmpty()) return "l" + record.legacyPath.String();
  if (record.installPath.IsEmpty()) return "e" + record.editPath.String();
  return "i" + record.archiveName.String() + ":" + record.installPath.String();
}

/// Makes room for more than `size` bytes; false when that would be too many.
bool Grow(std::string& buffer, std::size_t size) {
  if (size < buffer.size()) return true;
  if (size > kLargestConfig) return false;
  buffer.resize(std::max(kFirstBuffer, 2 * size));
  return true;
}

}  // namespace

bool IsConfigName(std::string_view name) {
  return Zef::EqualFolded(name, kTextConfig) || Zef::EqualFolded(name, kBinaryConfig);
}

int CountConfigs(const AssetPlace& place) try {
  int configs = 0;
  if (!place.subst.IsNull()) {
    Zef::File::Find find;
    if (!find.Open(place.subst, (place.path + "/*").c_str())) return IsFolderGone(place) ? 0 : -1;
    while (find.Next()) configs += !find.Entry().IsFolder() && IsConfigName(find.Entry().name);
    return configs;
  }
  const FolderReader folder(place.path);
  FolderListing listing;
  if (!folder.IsOpen() || !folder.List(&listing)) return IsFolderGone(place) ? 0 : -1;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    configs += listing.Kind(at) == EntryKind::File && IsConfigName(listing.NameView(at));
  }
  return configs;
} catch (const Zef::Exception&) {  // the substitution went meanwhile
  return -1;
}

ConfigStatus ConfigReader::Read(const MUKAsset& record, TagContainer& out) {
  if (IsKept(record)) {
    out = kept_;
    return ConfigStatus::Loaded;
  }
  const ConfigStatus status = ReadPlace(AssetPlaceOf(root_, record), out, nullptr);
  if (status == ConfigStatus::Loaded) Keep(record, out);
  return status;
}

ConfigStatus ConfigReader::ReadFields(const MUKAsset& record, TagContainer& out) {
  if (!IsKept(record)) return ReadPlace(AssetPlaceOf(root_, record), out, UseOfConfigTag);
  out = kept_;
  return ConfigStatus::Loaded;
}

bool ConfigReader::IsKept(const MUKAsset& record) const {
  return keptId_ == record.id && !kept_.IsEmptyHandle() && keptPlace_ == PlaceKey(record);
}

void ConfigReader::Keep(const MUKAsset& record, const TagContainer& config) {
  keptId_ = record.id;
  keptPlace_ = PlaceKey(record);
  kept_ = config;
}

void ConfigReader::Drop(const PLID& id) {
  if (keptId_ == id) kept_.Clear();
}

ConfigStatus ConfigReader::ReadPlace(const AssetPlace& place, TagContainer& out, TagFilter filter) {
  out.Clear();
  if (place.IsNowhere()) return ConfigStatus::NoConfig;
  if (place.subst.IsNull()) {
    const FolderReader folder(place.path);
    FolderListing listing;
    if (!folder.IsOpen() || !folder.List(&listing)) {
      return FolderExists(place) ? ConfigStatus::Unreadable : ConfigStatus::NoConfig;
    }
    return ReadIn(folder, listing, place.path, out, filter);
  }
  for (const ConfigName& config : kConfigNames) {
    const AssetPlace file{place.subst, place.path + "/" + config.name};
    if (!FileExists(file)) continue;
    std::size_t size = 0;
    const ConfigStatus status = ReadThroughFile(file, &size);
    return status == ConfigStatus::Loaded ? Parse(size, config.isText, filter, out) : status;
  }
  return ConfigStatus::NoConfig;
}

ConfigStatus ConfigReader::ReadIn(const FolderReader& folder, const FolderListing& listing,
                                  const std::string& path, TagContainer& out, TagFilter filter) {
  out.Clear();
  const FoundConfig config = FindConfig(listing);
  if (config.at == FolderListing::kNone) return ConfigStatus::NoConfig;
  const char* const name = listing.Name(config.at);
  if (listing.Kind(config.at) != EntryKind::File) return ConfigStatus::Unreadable;
  std::size_t size = 0;
  ConfigStatus status = ReadPlain(folder.OpenFile(name), &size);
  if (std::string_view(buffer_).substr(0, size).starts_with(kPackedMagic)) {
    status = ReadThroughFile({{}, path + "/" + name}, &size);
  }
  return status == ConfigStatus::Loaded ? Parse(size, config.isText, filter, out) : status;
}

ConfigStatus ConfigReader::ReadPlain(const OwnedFile& file, std::size_t* size) {
  if (!file) return ConfigStatus::Unreadable;
  for (;;) {
    if (!Grow(buffer_, *size)) return ConfigStatus::TooLarge;
    const std::size_t room = buffer_.size() - *size;
    const std::int64_t got = Zef::Platform::ReadAt(file.Get(), buffer_.data() + *size, room, *size);
    if (got < 0) return ConfigStatus::Unreadable;
    *size += static_cast<std::size_t>(got);
    if (static_cast<std::size_t>(got) < room) return ConfigStatus::Loaded;
  }
}

/// Reads what is compressed or lies below a substitution.
ConfigStatus ConfigReader::ReadThroughFile(const AssetPlace& place, std::size_t* size) {
  *size = 0;
  try {
    Zef::File file;
    const Zef::FileStatus opened =
        place.subst.IsNull() ? file.Open(place.path.c_str(), Zef::FileMode::kRead)
                             : file.Open(place.subst, place.path.c_str(), Zef::FileMode::kRead);
    if (opened != Zef::RES_OK) return ConfigStatus::Unreadable;
    for (;;) {
      if (!Grow(buffer_, *size)) return ConfigStatus::TooLarge;
      const std::size_t room = buffer_.size() - *size;
      const std::size_t got = file.Read(buffer_.data() + *size, 1, room);
      *size += got;
      if (got < room) return ConfigStatus::Loaded;
    }
  } catch (const Zef::Exception&) {
    return ConfigStatus::Unreadable;
  }
}

ConfigStatus ConfigReader::Parse(std::size_t size, bool isText, TagFilter filter,
                                 TagContainer& out) {
  lastSize_ = size;
  lastLosses_ = {};
  const std::string_view bytes(buffer_.data(), size);
  if (size > kLargestConfig) return ConfigStatus::TooLarge;
  if (isText) {
    ReadTagText(out, bytes, filter, &lastLosses_);
  } else {
    const Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
    file->ReadImage(std::as_bytes(std::span(bytes)));
    out = TagContainer(file->GetRoot());
  }
  if (out.IsValid()) return ConfigStatus::Loaded;
  out.Clear();
  return ConfigStatus::NotTags;
}

bool LoadConfig(const std::string& root, const MUKAsset& record, TagContainer& out) {
  return ConfigReader(root).Read(record, out) == ConfigStatus::Loaded;
}
