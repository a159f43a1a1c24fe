#include "database/AssetWalk.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "database/AssetMessages.h"
#include "database/FileRules.h"
#include "environment/ResultsLog.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/FileFind.h"

namespace {

using Zef::Platform::EntryKind;
using Zef::Platform::FolderListing;
using Zef::Platform::FolderReader;

constexpr const char* kBadName = "$muk_package_file_bad_name";
constexpr const char* kBadExtension = "$muk_package_file_bad_ext";

struct Item {
  std::string name;
  EntryKind kind;
};

bool ListPlain(const FolderReader& folder, std::vector<Item>& items) {
  FolderListing listing;
  if (!folder.IsOpen() || !folder.List(&listing)) return false;
  listing.Sort();
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    items.push_back({listing.Name(at), listing.Kind(at)});
  }
  return true;
}

bool ListBelow(const AssetPlace& place, std::vector<Item>& items) try {
  Zef::File::Find find;
  if (!find.Open(place.subst, (place.path + "/*").c_str())) return false;
  while (find.Next()) {
    const Zef::FileEntry& entry = find.Entry();
    const std::string_view name = entry.name;
    if (name == "." || name == "..") continue;
    const EntryKind kind = entry.IsFolder() ? EntryKind::Folder : EntryKind::File;
    items.push_back({entry.name, find.IsLink() ? EntryKind::Link : kind});
  }
  // Several sources come one after the other.
  std::sort(items.begin(), items.end(),
            [](const Item& a, const Item& b) { return Zef::CompareFolded(a.name, b.name) < 0; });
  return true;
} catch (const Zef::Exception&) {  // the substitution went meanwhile
  return false;
}

class Walk {
 public:
  Walk(const AssetPlace& top, const char* folderKey, const AssetWalkVisitor& visitor)
      : longestPath_(top.path.size() + 1 + kLongestAssetPath),
        folderKey_(folderKey),
        visitor_(visitor) {}

  /// `folder` is null below a substitution. False when the walk ended early.
  bool Folder(const FolderReader* folder, const AssetPlace& place, std::size_t depth) {
    std::vector<Item> items;
    const bool isListed = depth <= kDeepestAssetFolder &&
                          (folder != nullptr ? ListPlain(*folder, items) : ListBelow(place, items));
    if (!isListed) return Fail(folderKey_, place);
    const std::string* last = nullptr;
    for (const Item& item : items) {
      if (item.kind == EntryKind::File && Ignored(item.name)) continue;
      const AssetPlace below{place.subst, place.path + "/" + item.name};
      const bool isTwin = last != nullptr && Zef::EqualFolded(*last, item.name);
      const bool isTooLong = below.path.size() > longestPath_;
      if (isTwin || isTooLong || !ValidName(item.name)) return Fail(kBadName, below);
      last = &item.name;
      if (!Entry(folder, below, item, depth)) return false;
    }
    return true;
  }

  AssetWalkFault TakeFault() { return std::move(fault_); }

 private:
  bool Fail(const char* key, const AssetPlace& place) {
    fault_ = {key, place};
    return false;
  }

  bool Entry(const FolderReader* folder, const AssetPlace& place, const Item& item,
             std::size_t depth) {
    if (item.kind == EntryKind::Folder) return EnterFolder(folder, place, item.name, depth);
    if (item.kind != EntryKind::File) return Fail(kBadName, place);
    if (!ValidExtension(item.name)) return Fail(kBadExtension, place);
    return !visitor_.file || visitor_.file({folder, item.name, place});
  }

  bool EnterFolder(const FolderReader* folder, const AssetPlace& place, const std::string& name,
                   std::size_t depth) {
    if (visitor_.enterFolder) visitor_.enterFolder(name);
    FolderReader child;
    if (folder != nullptr) child = folder->OpenFolder(name.c_str());
    if (!Folder(folder != nullptr ? &child : nullptr, place, depth + 1)) return false;
    if (visitor_.leaveFolder) visitor_.leaveFolder();
    return true;
  }

  const std::size_t longestPath_;
  const char* folderKey_;
  const AssetWalkVisitor& visitor_;
  AssetWalkFault fault_;
};

}  // namespace

void TellOfFault(ResultsLog* log, const AssetWalkFault& fault) {
  if (fault.key == nullptr) return;
  TellOfFile(log, ResultLevel::kError, fault.key, PlaceText(fault.place));
}

AssetWalkFault WalkAssetFolder(const AssetPlace& folder, const char* folderKey,
                               const AssetWalkVisitor& visitor) {
  Walk walk(folder, folderKey, visitor);
  if (!folder.subst.IsNull()) {
    static_cast<void>(walk.Folder(nullptr, folder, 0));
  } else {
    const FolderReader reader(folder.path);
    static_cast<void>(walk.Folder(&reader, folder, 0));
  }
  return walk.TakeFault();
}
