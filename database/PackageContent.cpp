#include "database/PackageContent.h"

#include <unordered_set>

#include "database/AssetFolder.h"
#include "database/ConfigReader.h"
#include "database/FileRules.h"
#include "kernel/KeyedHash.h"
#include "kernel/standard/CodePage.h"

namespace {

using FoldedNames = std::unordered_set<std::string, Zef::KeyedTextHash, std::equal_to<>>;

class Walk {
 public:
  explicit Walk(const PackageContentVisitor& visitor) : visitor_(visitor) {}

  bool Folder(const TagContainer& folder, const std::string& prefix, std::size_t depth) {
    FoldedNames names;
    bool goesOn = true;
    folder.ForEach([&](std::string_view key, const ChunkRef& tag) {
      goesOn = goesOn && Tag(key, tag, prefix, depth, names);
    });
    return goesOn;
  }

 private:
  bool Tag(std::string_view name, const ChunkRef& tag, const std::string& prefix, std::size_t depth,
           FoldedNames& names) {
    const std::string path = prefix + std::string(name);
    const bool isFolder = tag->GetType() == TagSoup;
    if (depth == 0 && !isFolder && IsConfigName(name)) return true;
    PackageEntry what = PackageEntry::File;
    const bool isFile = tag->GetType() == TagBinary;
    if (!ValidName(name)) {
      what = PackageEntry::BadName;
    } else if (isFile && !ValidExtension(name)) {
      what = PackageEntry::BadExtension;
    } else if (!names.insert(Zef::Folded(name)).second) {
      what = PackageEntry::Twin;
    } else if (!isFolder && !isFile) {
      what = PackageEntry::NoData;
    } else if (path.size() > kLongestAssetPath) {
      what = PackageEntry::TooLong;
    } else if (isFolder && depth >= kDeepestAssetFolder) {
      what = PackageEntry::TooDeep;
    } else if (isFolder) {
      return Enter(tag, path, name, depth);
    }
    return !visitor_.entry || visitor_.entry(what, path, name, tag);
  }

  bool Enter(const ChunkRef& tag, const std::string& path, std::string_view name,
             std::size_t depth) {
    if (visitor_.enterFolder && !visitor_.enterFolder(path, name)) return false;
    if (!Folder(TagContainer(tag), path + "/", depth + 1)) return false;
    if (visitor_.leaveFolder) visitor_.leaveFolder();
    return true;
  }

  const PackageContentVisitor& visitor_;
};

}  // namespace

bool WalkPackageContent(const TagContainer& files, const PackageContentVisitor& visitor) {
  return Walk(visitor).Folder(files, "", 0);
}
