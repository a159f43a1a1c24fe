// Files of a package on their way to a folder.

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "database/FileRules.h"
#include "database/MUKPackage.h"
#include "database/PackageContent.h"
#include "database/PackageFiles.h"
#include "database/PackageWork.h"
#include "kernel/platform/FolderWriter.h"

namespace {

namespace Platform = Zef::Platform;

struct Job {
  std::uint64_t size = 0;
  std::shared_ptr<const Platform::FolderWriter> folder;
  std::string name;
  ChunkRef tag;
  const char* error = nullptr;
};

const char* UnpackInto(Platform::FileHandle file, const Job& job, PackageCompression compression) {
  UnpackedFile content;
  const char* const error = UnpackFile(PayloadOf(job.tag), compression, content);
  if (error != nullptr) return error;
  const std::size_t size = content.bytes.size();
  const bool written =
      Platform::WriteAt(file, content.bytes.data(), size, 0) == static_cast<std::int64_t>(size);
  return written ? nullptr : PackageText::kNotWritten;
}

void Write(Job& job, PackageCompression compression) {
  Platform::OwnedFile file = job.folder->CreateFile(job.name.c_str());
  job.error = file ? UnpackInto(file.Get(), job, compression) : PackageText::kNotWritten;
  if (!file.Close() && job.error == nullptr) job.error = PackageText::kNotWritten;
}

class Extraction {
 public:
  Extraction(PackageCompression compression, std::size_t rootLength,
             const MUKPackage::Progress& progress)
      : compression_(compression),
        rootLength_(rootLength),
        progress_(progress),
        work_([compression](Job& job) { Write(job, compression); },
              [this](Job& job) { return Done(job); }) {}

  std::string Run(const TagContainer& files, Platform::FolderWriter folder) {
    folders_.push_back(std::make_shared<const Platform::FolderWriter>(std::move(folder)));
    const PackageContentVisitor visitor = {
        [this](const std::string& path, std::string_view name) { return Enter(path, name); },
        [this] { folders_.pop_back(); },
        [this](PackageEntry what, const std::string& path, std::string_view name,
               const ChunkRef& tag) { return Entry(what, path, name, tag); }};
    WalkPackageContent(files, visitor);
    static_cast<void>(work_.Finish());
    return error_ != nullptr ? error_ : "";
  }

 private:
  /// The error of an earlier file comes first.
  bool Fail(const char* error) {
    if (work_.Finish()) error_ = error;
    return false;
  }

  bool IsTooLong(const std::string& path) const {
    return rootLength_ + 1 + path.size() > kLongestAssetPath;
  }

  bool Enter(const std::string& path, std::string_view name) {
    if (IsTooLong(path)) return Fail(PackageText::kNotWritten);
    Platform::FolderWriter below = folders_.back()->MakeFolder(std::string(name).c_str());
    if (!below.IsOpen()) return Fail(PackageText::kNotWritten);
    folders_.push_back(std::make_shared<const Platform::FolderWriter>(std::move(below)));
    return true;
  }

  bool Entry(PackageEntry what, const std::string& path, std::string_view name,
             const ChunkRef& tag) {
    switch (what) {
      case PackageEntry::File:
        break;
      case PackageEntry::BadName:
      case PackageEntry::BadExtension:
        return true;
      case PackageEntry::Twin:  // one of the two would be lost
      case PackageEntry::TooLong:
        return Fail(PackageText::kNotWritten);
      case PackageEntry::NoData:
      case PackageEntry::TooDeep:
        return Fail(PackageText::kUnknownData);
    }
    if (IsTooLong(path)) return Fail(PackageText::kNotWritten);
    Job job{UnpackedSize(PayloadOf(tag), compression_), folders_.back(), std::string(name), tag};
    return work_.Post(std::move(job));
  }

  bool Done(Job& job) {
    error_ = job.error;
    if (error_ != nullptr) return false;
    bytes_ += job.size;
    if (progress_) progress_(bytes_);
    return true;
  }

  const PackageCompression compression_;
  const std::size_t rootLength_;
  const MUKPackage::Progress& progress_;
  /// From the top to the one that the walk is in; jobs share theirs.
  std::vector<std::shared_ptr<const Platform::FolderWriter>> folders_;
  const char* error_ = nullptr;
  std::uint64_t bytes_ = 0;
  PackageWork<Job> work_;
};

}  // namespace

std::string MUKPackage::ExtractFiles(std::uint32_t index, const std::string& folder) const {
  return ExtractFiles(Get(index), folder);
}

std::string MUKPackage::ExtractFiles(const TagContainer& asset, const std::string& folder,
                                     std::size_t placeLength) const try {
  Platform::FolderWriter target(folder);
  if (!target.IsOpen()) return PackageText::kNotWritten;
  const TagContainer files = asset.GetSubContainer(Zef::PString("files"));
  if (placeLength == 0) placeLength = folder.size();
  return Extraction(Compression(), placeLength, progress_).Run(files, std::move(target));
} catch (const std::bad_alloc&) {
  return PackageText::kOutOfMemory;
}
