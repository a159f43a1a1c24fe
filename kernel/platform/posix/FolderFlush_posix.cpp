// Folders that are flushed to the device as a whole.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "kernel/platform/FolderCopy.h"
#include "kernel/platform/FolderReader.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

bool Flush(int file) {
  return Uninterrupted([&] { return fsync(file); }) == 0 || errno == EINVAL || errno == EROFS;
}

bool FlushFileSystem(const std::string& path) {
  const OwnedFile folder = OpenFolderAt(AT_FDCWD, NativePath(path).c_str(), O_RDONLY);
  return folder && syncfs(folder.Get()) == 0;
}

struct Tree {
  std::vector<std::string> folders;  // each behind the one it lies in
  std::vector<std::string> files;
  bool isWhole = true;
};

// Has the system begin to write each file on the way. A file system that cannot writes later.
void StartWriting(const FolderReader& folder, const std::string& path, Tree* tree) {
  FolderListing listing;
  if (!folder.IsOpen() || !folder.List(&listing)) tree->isWhole = false;
  for (std::size_t at = 0; at < listing.Count(); ++at) {
    const EntryKind kind = listing.Kind(at);
    if (kind == EntryKind::Folder) tree->folders.push_back(path + "/" + listing.Name(at));
    if (kind != EntryKind::File) continue;
    tree->files.push_back(path + "/" + listing.Name(at));
    const OwnedFile file = folder.OpenFile(listing.Name(at));
    if (file) static_cast<void>(sync_file_range(file.Get(), 0, 0, SYNC_FILE_RANGE_WRITE));
  }
}

}  // namespace

// All is on its way before anybody waits for a part of it: so the first wait finds one transaction
// with everything, and the others little to do.
bool FlushTree(const std::string& path) {
  Tree tree{{path}, {}};
  for (std::size_t at = 0; at < tree.folders.size(); ++at) {
    const std::string folder = tree.folders[at];
    StartWriting(FolderReader(folder), folder, &tree);
  }
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  bool isFlushed = true;
  const auto flush = [&](const std::string& name) {
    const OwnedFile file(Uninterrupted([&] { return open(NativePath(name).c_str(), kFlags); }));
    tree.isWhole = tree.isWhole && file;
    if (file && !Flush(file.Get())) isFlushed = false;
  };
  std::for_each(tree.files.begin(), tree.files.end(), flush);
  std::for_each(tree.folders.rbegin(), tree.folders.rend(), flush);
  // What may not be read cannot be waited for alone.
  return isFlushed && (tree.isWhole || FlushFileSystem(path));
}

}  // namespace Zef::Platform
