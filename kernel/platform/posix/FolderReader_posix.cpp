// Open folders: listing, sizes and files without resolving a path again.

#include "kernel/platform/FolderReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "kernel/platform/LetterCase.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr std::size_t kBatch = 32768;
constexpr std::size_t kMostNames = std::size_t{1} << 30;  // bytes: places in them are 32-bit

EntryKind KindOfMode(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::File;
  if (S_ISDIR(mode)) return EntryKind::Folder;
  return S_ISLNK(mode) ? EntryKind::Link : EntryKind::Other;
}

bool GetFacts(int folder, const char* name, struct stat* facts) {
  return fstatat(folder, name, facts, AT_SYMLINK_NOFOLLOW) == 0;
}

// Not every file system tells what its entries are.
EntryKind KindOf(int folder, const dirent64& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return EntryKind::File;
    case DT_DIR:
      return EntryKind::Folder;
    case DT_LNK:
      return EntryKind::Link;
    case DT_UNKNOWN: {
      struct stat facts {};
      return GetFacts(folder, entry.d_name, &facts) ? KindOfMode(facts.st_mode) : EntryKind::Other;
    }
    default:
      return EntryKind::Other;
  }
}

}  // namespace

void FolderListing::Clear() {
  names_.clear();
  entries_.clear();
}

void FolderListing::Add(std::string_view name, EntryKind kind) {
  entries_.push_back(
      {static_cast<std::uint32_t>(names_.size()), static_cast<std::uint32_t>(name.size()), kind});
  names_.append(name);
  names_.push_back('\0');
}

std::size_t FolderListing::CountOf(EntryKind kind) const {
  return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(),
                                                [=](const Entry& e) { return e.kind == kind; }));
}

void FolderListing::Sort() {
  const auto view = [this](const Entry& e) {
    return std::string_view(names_.data() + e.start, e.length);
  };
  std::sort(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) {
    const int order = CompareFolded(view(a), view(b));
    return order != 0 ? order < 0 : view(a) < view(b);
  });
}

std::size_t FolderListing::Find(std::string_view name, bool passFolders) const {
  std::size_t best = kNone;
  for (std::size_t at = 0; at < entries_.size(); ++at) {
    if (entries_[at].length != name.size()) continue;
    if (passFolders && entries_[at].kind == EntryKind::Folder) continue;
    const std::string_view found = NameView(at);
    if (found == name) return at;
    if (CompareFolded(found, name) != 0) continue;
    if (best == kNone || found < NameView(best)) best = at;
  }
  return best;
}

FolderReader::FolderReader(const std::string& path)
    : handle_(OpenFolderAt(AT_FDCWD, NativePath(path).c_str(), O_RDONLY)) {}

FolderReader FolderReader::OpenFolder(const char* name) const {
  return FolderReader(OpenFolderAt(handle_.Get(), name, O_RDONLY | O_NOFOLLOW));
}

bool FolderReader::List(FolderListing* listing) const {
  listing->Clear();
  if (lseek(handle_.Get(), 0, SEEK_SET) != 0) return false;
  alignas(dirent64) std::array<char, kBatch> batch;
  for (;;) {
    const ssize_t size =
        Uninterrupted([&] { return getdents64(handle_.Get(), batch.data(), batch.size()); });
    if (size == 0) return true;
    if (size < 0 || listing->names_.size() > kMostNames) {
      listing->Clear();
      return false;
    }
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent64*>(batch.data() + at);
      at += entry.d_reclen;
      if (IsDots(entry.d_name)) continue;
      listing->Add(entry.d_name, KindOf(handle_.Get(), entry));
    }
  }
}

std::uint64_t FolderReader::SizeOf(const char* name) const {
  struct stat facts {};
  if (!GetFacts(handle_.Get(), name, &facts) || !S_ISREG(facts.st_mode)) return 0;
  return static_cast<std::uint64_t>(facts.st_size);
}

OwnedFile FolderReader::OpenFile(const char* name) const {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  return OwnedFile(Uninterrupted([&] { return openat(handle_.Get(), name, kFlags); }));
}

}  // namespace Zef::Platform
