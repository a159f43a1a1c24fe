#include "database/PackageCheck.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "database/PackageContent.h"
#include "database/PackageFiles.h"
#include "database/PackageTables.h"
#include "database/PackageWork.h"

namespace {

struct Job {
  std::uint64_t size = 0;
  PLID asset;
  std::string path;
  ChunkRef tag;
  const char* error = nullptr;
};

const char* TextOf(PackageEntry what) {
  switch (what) {
    case PackageEntry::File:
      return nullptr;
    case PackageEntry::BadName:
      return "a name that an asset may not have";
    case PackageEntry::BadExtension:
      return "a type that an asset may not have";
    case PackageEntry::Twin:
      return "a name that an earlier entry has, but for letter case";
    case PackageEntry::TooLong:
      return "a path that is too long";
    case PackageEntry::TooDeep:
      return "nested too deep";
    case PackageEntry::NoData:
      return "neither a file nor a folder";
  }
  return nullptr;
}

class Check {
 public:
  Check(const MUKPackage& package, const MUKPackage::Progress& progress)
      : package_(package),
        progress_(progress),
        work_([compression = package.Compression()](Job& job) { Unpack(job, compression); },
              [this](Job& job) { return Done(job); }) {}

  std::vector<PackageProblem> Run() {
    CheckIds();
    CheckTables();
    for (const TagContainer& asset : assets_) {
      if (!CheckFiles(asset)) break;
    }
    static_cast<void>(work_.Finish());
    return std::move(problems_);
  }

 private:
  static void Unpack(Job& job, PackageCompression compression) {
    UnpackedFile content;
    job.error = UnpackFile(PayloadOf(job.tag), compression, content);
  }

  /// False when there are enough.
  bool Tell(const PLID& asset, std::string path, std::string what) {
    if (problems_.size() >= kMostPackageProblems) return false;
    problems_.push_back({asset, std::move(path), std::move(what)});
    return true;
  }

  static PLID IdOf(const TagContainer& asset) { return asset.GetPLID(Zef::PString("plid")); }

  void CheckIds() {
    std::unordered_set<PLID> known;
    std::uint32_t place = 0;
    const TagContainer held = package_.Tags().GetSubContainer(Zef::PString("assets"));
    held.ForEach([&](std::string_view key, const ChunkRef&) {
      assets_.push_back(package_.Get(place++));
      const PLID id = IdOf(assets_.back());
      if (id.IsNull()) {
        Tell(id, "", "the entry '" + std::string(key) + "' holds no asset with an identifier");
      } else if (!known.insert(id).second) {
        Tell(id, "", "it is in the package twice");
      } else if (PLID(key, false) != id) {
        Tell(id, "", "its entry is named '" + std::string(key) + "'");
      }
    });
  }

  void CheckTables() {
    const PackageIds ids = PackageIdsOf(assets_);
    Expect("contents-table", Listed("contents-table") == ids.contents);
    // A database that runs lists what replaces a dependency, and nothing for one that is replaced
    // by an asset of the package.
    const std::unordered_set<PLID> present(ids.contents.begin(), ids.contents.end());
    const std::vector<PLID> needed = Listed("plid-table");
    Expect("plid-table", needed.size() <= ids.dependencies.size() &&
                             std::none_of(needed.begin(), needed.end(),
                                          [&](const PLID& id) { return present.contains(id); }));
    const std::vector<PLID> obsolete = Listed("obsolete-table");
    Expect("obsolete-table",
           std::unordered_set<PLID>(obsolete.begin(), obsolete.end()) ==
               std::unordered_set<PLID>(ids.obsolete.begin(), ids.obsolete.end()));
  }

  std::vector<PLID> Listed(const char* table) const {
    const TagContainer tags = package_.Tags().GetSubContainer(Zef::PString(table));
    std::vector<PLID> ids;
    tags.ForEach([&](std::string_view key, const ChunkRef&) {
      ids.push_back(tags.GetPLID(Zef::PString(key)));
    });
    return ids;
  }

  void Expect(const char* table, bool agrees) {
    if (agrees) return;
    Tell({}, "", "the table '" + std::string(table) + "' does not agree with the assets");
  }

  /// False when there are enough problems.
  bool CheckFiles(const TagContainer& asset) {
    const PackageContentVisitor visitor = {
        nullptr, nullptr,
        [this, id = IdOf(asset)](PackageEntry what, const std::string& path, std::string_view,
                                 const ChunkRef& tag) {
          if (what != PackageEntry::File) return Tell(id, path, TextOf(what));
          const std::uint64_t size = UnpackedSize(PayloadOf(tag), package_.Compression());
          return work_.Post({size, id, path, tag});
        }};
    return WalkPackageContent(asset.GetSubContainer(Zef::PString("files")), visitor);
  }

  bool Done(Job& job) {
    bytes_ += job.size;
    if (progress_) progress_(bytes_);
    return job.error == nullptr || Tell(job.asset, std::move(job.path), job.error);
  }

  const MUKPackage& package_;
  const MUKPackage::Progress& progress_;
  std::vector<TagContainer> assets_;
  std::vector<PackageProblem> problems_;
  std::uint64_t bytes_ = 0;
  PackageWork<Job> work_;
};

}  // namespace

PackageSize MeasurePackageFiles(const TagContainer& asset, PackageCompression compression) {
  PackageSize size;
  const PackageContentVisitor visitor = {
      nullptr, nullptr,
      [&](PackageEntry what, const std::string&, std::string_view, const ChunkRef& tag) {
        if (what != PackageEntry::File) return true;
        ++size.files;
        size.bytes += UnpackedSize(PayloadOf(tag), compression);
        size.stored += tag->GetDataSize();
        return true;
      }};
  WalkPackageContent(asset.GetSubContainer(Zef::PString("files")), visitor);
  return size;
}

std::vector<PackageProblem> CheckPackage(const MUKPackage& package,
                                         const MUKPackage::Progress& progress) {
  return Check(package, progress).Run();
}
