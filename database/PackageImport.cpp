// Folders on their way into a package.

#include <array>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "database/AssetMessages.h"
#include "database/AssetWalk.h"
#include "database/ConfigReader.h"
#include "database/FileRules.h"
#include "database/MUKPackage.h"
#include "database/PackageFiles.h"
#include "database/PackageWork.h"
#include "environment/ResultsLog.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "tagdata/BinaryTagWriter.h"

namespace {

namespace Platform = Zef::Platform;

constexpr const char* kFolderError = "$muk_package_folder_read_err";
constexpr const char* kReadError = "$muk_package_file_read_err";
constexpr const char* kTooLarge = "$muk_package_file_too_large";
constexpr const char* kUnknownCompression = "$muk_package_unknown_compression";
constexpr std::string_view kCompressedMagic = "CFIL";

static_assert(kLongestAssetName <= kMaxTagKeyLength,
              "a longer one would be missing in the package");

/// An open file of an asset, read whole by one thread.
class Source {
 public:
  bool Open(const WalkedFile& walked) {
    if (walked.folder == nullptr) return OpenThroughFile(walked.place);
    plain_ = walked.folder->OpenFile(walked.name.c_str());
    if (!plain_ || !Platform::IsRegularFile(plain_.Get())) return false;
    std::array<char, kCompressedMagic.size()> head{};
    if (Platform::ReadAt(plain_.Get(), head.data(), head.size(), 0) < 0) return false;
    if (std::string_view(head.data(), head.size()) != kCompressedMagic) return true;
    // By its path, where a link may stand by now.
    const bool isSame = OpenThroughFile(walked.place) && IsSameFile();
    plain_.Close();
    return isSame;
  }

  /// Bytes, unpacked; false when that cannot be told.
  bool GetSize(std::uint64_t* size) try {
    const std::int64_t bytes = file_ ? file_->Size() : Platform::FileSize(plain_.Get());
    *size = static_cast<std::uint64_t>(bytes);
    return bytes >= 0;
  } catch (const Zef::Exception&) {
    return false;
  }

  /// False also for a file that has grown meanwhile.
  bool Read(std::byte* to, std::uint64_t size) try {
    const bool isRead =
        file_ ? file_->Read(to, 1, size) == size
              : Platform::ReadAt(plain_.Get(), to, size, 0) == static_cast<std::int64_t>(size);
    std::uint64_t now = 0;
    return isRead && GetSize(&now) && now == size;
  } catch (const Zef::Exception&) {
    return false;
  }

  void Close() {
    file_.reset();
    plain_.Close();
  }

 private:
  bool OpenThroughFile(const AssetPlace& place) try {
    file_ = std::make_unique<Zef::File>();
    return file_->Open(place.subst, place.path.c_str(), Zef::FileMode::kRead) == Zef::RES_OK;
  } catch (const Zef::Exception&) {
    return false;
  }

  bool IsSameFile() const {
    Platform::FileInfo first;
    Platform::FileInfo second;
    return Platform::GetOpenInfo(plain_.Get(), &first) &&
           Platform::GetOpenInfo(file_->Origin().handle, &second) && first.IsSameFile(second);
  }

  Platform::OwnedFile plain_;
  std::unique_ptr<Zef::File> file_;  // what is compressed or lies below a substitution
};

struct Job {
  std::uint64_t size = 0;
  Source source;
  ChunkRef tag;  ///< stands in its folder already, so that tags keep the order of the walk
  CoreRef content;
  AssetPlace place;
  const char* error = nullptr;
};

void Pack(Job& job, PackageCompression compression) try {
  const std::unique_ptr<std::byte[]> block(new std::byte[job.size]);
  const bool isRead = job.source.Read(block.get(), job.size);
  job.source.Close();
  if (!isRead) {
    job.error = kReadError;
    return;
  }
  job.content = PackFile({block.get(), job.size}, compression);
} catch (const std::bad_alloc&) {
  job.error = kTooLarge;
}

class Import {
 public:
  Import(PackageCompression compression, const TagContainer& files,
         const MUKPackage::Progress& progress)
      : compression_(compression),
        progress_(progress),
        folders_{files},
        work_([compression](Job& job) { Pack(job, compression); },
              [this](Job& job) { return Done(job); }) {}

  AssetWalkFault Run(const AssetPlace& folder) {
    const AssetWalkVisitor visitor = {[this](const std::string& name) { Enter(name); },
                                      [this] { folders_.pop_back(); },
                                      [this](const WalkedFile& file) { return Take(file); }};
    AssetWalkFault met = WalkAssetFolder(folder, kFolderError, visitor);
    // What is wrong with an earlier file comes first.
    if (!work_.Finish()) return std::move(fault_);
    return met.key != nullptr ? std::move(met) : std::move(fault_);
  }

 private:
  void Enter(const std::string& name) {
    TagContainer below;
    below.Ensure();
    folders_.back().Chunk()->AddTag(Zef::PString(name), below.Chunk());
    folders_.push_back(std::move(below));
  }

  bool Take(const WalkedFile& file) {
    if (folders_.size() == 1 && IsConfigName(file.name)) return true;
    Job job;
    job.place = file.place;
    if (!job.source.Open(file) || !job.source.GetSize(&job.size)) return Fail(job, kReadError);
    if (job.size > kLargestPackedFile) return Fail(job, kTooLarge);
    if (compression_ == PackageCompression::Unknown) return Fail(job, kUnknownCompression);
    job.tag = NewHeapTag(TagBinary, nullptr);
    folders_.back().Chunk()->AddTag(Zef::PString(file.name), job.tag);
    return work_.Post(std::move(job));
  }

  /// Goes through the work, so that earlier files are heard first.
  bool Fail(Job& job, const char* key) {
    if (work_.Finish()) fault_ = {key, std::move(job.place)};
    return false;
  }

  bool Done(Job& job) {
    if (job.error != nullptr) {
      fault_ = {job.error, std::move(job.place)};
      return false;
    }
    job.tag->SetData(TagBinary, job.content);
    bytes_ += job.size;
    if (progress_) progress_(bytes_);
    return true;
  }

  const PackageCompression compression_;
  const MUKPackage::Progress& progress_;
  std::vector<TagContainer> folders_;  ///< from the top to the one that the walk is in
  AssetWalkFault fault_;
  std::uint64_t bytes_ = 0;
  PackageWork<Job> work_;
};

}  // namespace

bool MUKPackage::ImportFolder(const AssetPlace& folder, TagContainer& files, ResultsLog* log) const
    try {
  files = TagContainer();
  files.Ensure();
  const AssetWalkFault fault = Import(Compression(), files, progress_).Run(folder);
  if (fault.key == nullptr) return true;
  TellOfFile(log, ResultLevel::kError, fault.key, PlaceText(fault.place));
  return false;
} catch (const std::bad_alloc&) {
  TellOfFile(log, ResultLevel::kError, kTooLarge, PlaceText(folder));
  return false;
}
