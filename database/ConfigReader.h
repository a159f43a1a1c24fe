// ConfigReader: finds and reads the config of an asset.
//
// A folder's config is "config.txt", or without one "config.grole", in any letter case. Config
// files may be CFIL-compressed. One that is larger than kLargestConfig, is no regular file, or
// cannot be read is refused with a reason; nothing here throws but std::bad_alloc.
//
// The config that was read last is kept, as questions about one asset come together; whoever
// changes an asset's files drops it. Configs handed out are shared with what is kept: copy one
// before editing it.
//
// Cost: one listing, one open and one read. Not thread-safe.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kernel/platform/FolderReader.h"
#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"
#include "tagdata/TagTextReader.h"

class MUKAsset;
struct AssetPlace;

/// A config of more bytes than this, unpacked, is not read: a tag of a few bytes takes 200 in
/// memory, and its key stays to the end of the process.
inline constexpr std::size_t kLargestConfig = std::size_t{4} << 20;

inline constexpr const char* kTextConfig = "config.txt";
inline constexpr const char* kBinaryConfig = "config.grole";
/// One of the two, in any letter case.
[[nodiscard]] bool IsConfigName(std::string_view name);
/// How many files in a folder have those names; -1 for one that is there and cannot be listed.
[[nodiscard]] int CountConfigs(const AssetPlace& folder);

enum class ConfigStatus {
  Loaded,
  NoConfig,    ///< neither file, no such folder, or a record whose paths lead nowhere
  Unreadable,  ///< there, but a link, or not to be opened or read
  TooLarge,
  NotTags,  ///< no tags in it
};

class ConfigReader {
 public:
  /// `root` is the product root as a path of the system. One that is not rooted, such as that of a
  /// product inside a mounted archive, counts as none.
  explicit ConfigReader(const std::string& root = {})
      : root_(Zef::Platform::IsRooted(root) ? root : std::string()) {}

  const std::string& Root() const { return root_; }

  /// The config of a record, from its folder or as kept. `out` is a null handle unless Loaded.
  [[nodiscard]] ConfigStatus Read(const MUKAsset& record, TagContainer& out);
  /// The same for who asks for nothing but fields and relations: of a text only the tags that make
  /// those. Keeps nothing.
  [[nodiscard]] ConfigStatus ReadFields(const MUKAsset& record, TagContainer& out);
  /// The config in any folder; of a text only what a filter wants. Keeps nothing.
  [[nodiscard]] ConfigStatus ReadAt(const AssetPlace& folder, TagContainer& out,
                                    TagFilter filter = nullptr) {
    return ReadPlace(folder, out, filter);
  }
  /// The config in an open folder with these entries, which lies at `path`; of a text only what a
  /// filter wants. Keeps nothing.
  [[nodiscard]] ConfigStatus ReadIn(const Zef::Platform::FolderReader& folder,
                                    const Zef::Platform::FolderListing& listing,
                                    const std::string& path, TagContainer& out, TagFilter filter);

  /// Bytes, unpacked, of the config that was read last.
  std::size_t LastSize() const { return lastSize_; }
  /// What the text that was read last says and its tags do not.
  const TagTextLosses& LastLosses() const { return lastLosses_; }

  /// Keeps a config that was just read in the record's folder.
  void Keep(const MUKAsset& record, const TagContainer& config);
  /// Forgets what is kept of this asset.
  void Drop(const PLID& id);

 private:
  bool IsKept(const MUKAsset& record) const;
  ConfigStatus ReadPlace(const AssetPlace& place, TagContainer& out, TagFilter filter);
  ConfigStatus ReadPlain(const Zef::Platform::OwnedFile& file, std::size_t* size);
  ConfigStatus ReadThroughFile(const AssetPlace& file, std::size_t* size);
  ConfigStatus Parse(std::size_t size, bool isText, TagFilter filter, TagContainer& out);

  std::string root_;
  std::string buffer_;  // kept at the size of the largest config so far
  std::size_t lastSize_ = 0;
  TagTextLosses lastLosses_;
  PLID keptId_;
  std::string keptPlace_;
  TagContainer kept_;
};

/// The config of one record, for who needs no other. False when there is none to be read.
[[nodiscard]] bool LoadConfig(const std::string& root, const MUKAsset& record, TagContainer& out);
