// Fuzzes packages and the files that string them together: any bytes are opened as both, what opens
// is checked and extracted. Nothing may come to lie outside the folder of an extraction, under a
// name that breaks the rules, or from a package in which the check finds nothing wrong and which
// then does not extract.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "database/AssetArchiveFile.h"
#include "database/FileRules.h"
#include "database/PackageCheck.h"
#include "fuzz/ScratchFile.h"

namespace {

namespace fs = std::filesystem;

/// More than this is not unpacked: the largest stream of an input takes minutes.
constexpr std::uint64_t kMostBytes = 8 << 20;
constexpr std::uint32_t kMostAssets = 4;
constexpr std::uint32_t kArchiveId = 1;

/// Scratch folders, with something beside the target that must stay alone.
class Scratch {
 public:
  Scratch() : folder_(ScratchFile::Folder() + "package") { fs::create_directories(folder_); }
  ~Scratch() { fs::remove_all(folder_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string Target() const { return folder_ + "/out"; }
  void CheckAndEmpty() const {
    if (std::distance(fs::directory_iterator(folder_), {}) > 1) std::abort();
    if (!fs::exists(Target())) return;
    for (const auto& entry : fs::recursive_directory_iterator(Target())) {
      const std::string name = entry.path().filename().string();
      if (!ValidName(name)) std::abort();
      if (entry.is_regular_file() ? !ValidExtension(name) : !entry.is_directory()) std::abort();
    }
    fs::remove_all(Target());
  }

 private:
  std::string folder_;
};

void UsePackage(const MUKPackage& package, const Scratch& scratch) {
  const std::uint32_t count = std::min(package.Count(), kMostAssets);
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < package.Count(); ++i) {
    bytes += MeasurePackageFiles(package.Get(i), package.Compression()).bytes;
    if (bytes > kMostBytes) return;
  }
  const bool isGood = CheckPackage(package, {}).empty();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string error = package.ExtractFiles(i, scratch.Target());
    scratch.CheckAndEmpty();
    // Paths of any length are right for a check.
    if (isGood && !error.empty() && error != "Unable to write content files to disk") std::abort();
  }
}

/// Takes the package apart and puts it together again.
void Rebuild(MUKPackage& package, const Scratch& scratch) {
  MUKPackage copy;
  for (std::uint32_t i = 0; i < std::min(package.Count(), kMostAssets); ++i) {
    const TagContainer asset = package.Get(i);
    const bool isAsset = !asset.GetPLID("plid").IsNull();
    if (copy.Add(asset).empty() && !isAsset) std::abort();
  }
  const std::string path = scratch.Target() + ".kpx";
  const std::uint32_t count = copy.Count();
  if (!copy.Save(path).empty()) return;
  MUKPackage again;
  if (!again.Open(path).empty() || again.Count() != count) std::abort();
  fs::remove(path);
  if (package.Count() > 0 && !package.Remove(0).empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ScratchFile file("kpx", data, size);
  const Scratch scratch;
  MUKPackage package;
  if (package.Open(file.Path(), "kpx").empty()) {
    UsePackage(package, scratch);
    Rebuild(package, scratch);
  }
  AssetArchiveReader archive;
  static_cast<void>(archive.Open(file.Path(), kArchiveId));
  if (archive.Entries().size() > size / 28) std::abort();
  std::uint32_t opened = 0;
  for (const AssetArchiveReader::Entry& entry : archive.Entries()) {
    if (++opened > kMostAssets) break;
    if (archive.OpenPackage(entry, package).empty()) UsePackage(package, scratch);
  }
  return 0;
}
