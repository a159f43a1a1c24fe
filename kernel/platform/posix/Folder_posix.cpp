// Folders: listing, making, and finding a name in its spelling on disk.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/LetterCase.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr std::size_t kPathLimit = 4096;

bool LessFolded(const std::string& a, const std::string& b) {
  const int order = CompareFolded(a, b);
  return order != 0 ? order < 0 : a < b;
}

// Calls visit(name) for every entry.
template <typename Visit>
bool VisitFolder(const std::string& native, Visit visit) {
  return VisitEntries(FolderStream(opendir(native.c_str())),
                      [&](const dirent& entry) { visit(entry.d_name); });
}

bool EntryExists(const std::string& native) {
  struct stat facts {};
  return !native.empty() && lstat(native.c_str(), &facts) == 0;
}

// By the rights that the process has in effect.
bool MayAccessFolder(const std::string& path, int rights) {
  return IsFolder(path) && faccessat(AT_FDCWD, NativePath(path).c_str(), rights, AT_EACCESS) == 0;
}

// The latest listings of folders, so that probes for names that are not there do not read the
// folder each time. A listing holds for as long as the folder carries the times it had before it
// was read.
class ListingCache {
 public:
  using Names = std::shared_ptr<const std::vector<std::string>>;

  // Never destroyed: files that outlive it at exit still resolve names.
  static ListingCache& Get() {
    static auto* cache = new ListingCache;
    return *cache;
  }

  // A folder changed so lately may change again and keep its times, which move on by a clock tick,
  // or by seconds where a file system holds no more.
  static bool IsSettled(const struct stat& facts) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    constexpr std::int64_t kTick = 20'000'000;
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
    const timespec& changed = facts.st_ctim;
    const bool isCoarse = changed.tv_nsec == 0 || facts.st_mtim.tv_nsec == 0;
    const std::int64_t seconds = std::int64_t{now.tv_sec} - changed.tv_sec;
    if (seconds > 2) return true;
    return seconds * kSecond + now.tv_nsec - changed.tv_nsec > (isCoarse ? 2 * kSecond : kTick);
  }

  Names Find(const struct stat& facts) {
    const std::lock_guard guard(mutex_);
    const auto found = std::find_if(listings_.begin(), listings_.end(), [&](const Listing& each) {
      return IsSame(each.facts, facts) && HasSameTimes(each.facts, facts);
    });
    if (found == listings_.end()) return nullptr;
    std::rotate(found, found + 1, listings_.end());
    return listings_.back().names;
  }

  void Keep(const struct stat& facts, const Names& names) {
    if (names->size() > kNameLimit) return;
    const std::lock_guard guard(mutex_);
    std::erase_if(listings_, [&](const Listing& each) { return IsSame(each.facts, facts); });
    listings_.push_back({facts, names});
    std::size_t total = 0;
    std::size_t kept = 0;
    while (kept < std::min(listings_.size(), kFolderLimit)) {
      total += listings_[listings_.size() - 1 - kept].names->size();
      if (total > kNameLimit) break;
      ++kept;
    }
    listings_.erase(listings_.begin(), listings_.end() - static_cast<std::ptrdiff_t>(kept));
  }

 private:
  static constexpr std::size_t kFolderLimit = 64;
  static constexpr std::size_t kNameLimit = 200'000;

  struct Listing {
    struct stat facts;
    Names names;
  };

  static bool IsSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
  }
  static bool IsEqual(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
  }
  static bool HasSameTimes(const struct stat& a, const struct stat& b) {
    return IsEqual(a.st_mtim, b.st_mtim) && IsEqual(a.st_ctim, b.st_ctim);
  }

  std::mutex mutex_;
  std::vector<Listing> listings_;  // the latest used last
};

// Names of a folder in the order of ListFolder; null when they may change unseen.
ListingCache::Names SettledNames(const std::string& folder) {
  struct stat facts {};
  if (stat(folder.c_str(), &facts) != 0) return nullptr;
  ListingCache& cache = ListingCache::Get();
  if (ListingCache::Names known = cache.Find(facts)) return known;
  std::vector<std::string> names;
  if (!ListingCache::IsSettled(facts) || !ListFolder(folder, &names)) return nullptr;
  auto listing = std::make_shared<const std::vector<std::string>>(std::move(names));
  cache.Keep(facts, listing);
  return listing;
}

// The entry of `parent` that equals `name` ignoring case, or `name` itself.
std::string SpellingIn(const std::string& parent, std::string_view name) {
  const std::string folder = parent.empty() ? "." : parent;
  std::string best;
  if (const ListingCache::Names names = SettledNames(folder)) {
    const auto first = std::lower_bound(names->begin(), names->end(), name,
                                        [](const std::string& entry, std::string_view key) {
                                          return CompareFolded(entry, key) < 0;
                                        });
    if (first != names->end() && EqualFolded(*first, name)) best = *first;
  } else {
    const bool whole = VisitFolder(folder, [&](std::string_view entry) {
      if (EqualFolded(entry, name) && (best.empty() || entry < best)) best = entry;
    });
    if (!whole) best.clear();
  }
  return best.empty() ? std::string(name) : best;
}

void AppendComponent(std::string* path, std::string_view component) {
  if (!path->empty() && path->back() != '/') path->push_back('/');
  path->append(component);
}

}  // namespace

std::string NativePath(const std::string& path) {
  if (path.size() >= kPathLimit || path.find('\0') != std::string::npos) return {};
  std::string native = path;
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

OwnedFile OpenFolderAt(int parent, const char* name, int flags) {
  return OwnedFile(
      Uninterrupted([&] { return openat(parent, name, flags | O_DIRECTORY | O_CLOEXEC); }));
}

bool MakeFolders(const std::string& path) {
  const std::string native = NativePath(path);
  for (std::size_t end = native.find('/', 1);; end = native.find('/', end + 1)) {
    const std::string part = native.substr(0, end);
    if (mkdir(part.c_str(), mode_t{0777}) != 0 && !IsFolder(part)) return false;
    if (end == std::string::npos) return true;
  }
}

bool MakeFolder(const std::string& path) {
  return mkdir(NativePath(path).c_str(), mode_t{0777}) == 0;
}

bool MayReadFolder(const std::string& path) { return MayAccessFolder(path, R_OK | X_OK); }

bool MayChangeFolder(const std::string& path) { return MayAccessFolder(path, R_OK | W_OK | X_OK); }

bool RemoveEmptyFolder(const std::string& path) { return rmdir(NativePath(path).c_str()) == 0; }

bool ListFolder(const std::string& folder, std::vector<std::string>* names) {
  names->clear();
  const bool whole =
      VisitFolder(NativePath(folder), [&](std::string_view name) { names->emplace_back(name); });
  if (!whole) names->clear();
  std::sort(names->begin(), names->end(), LessFolded);
  return whole;
}

std::string ResolveCase(const std::string& root, std::string_view relative) {
  std::string tail(relative);
  std::replace(tail.begin(), tail.end(), '\\', '/');
  tail.erase(0, tail.find_first_not_of('/'));
  std::string path = root;
  std::replace(path.begin(), path.end(), '\\', '/');
  std::string exact = path;
  AppendComponent(&exact, tail);
  if (exact.size() >= kPathLimit || exact.find('\0') != std::string::npos || EntryExists(exact)) {
    return exact;
  }
  for (std::size_t begin = 0; begin < tail.size();) {
    const std::size_t end = std::min(tail.find('/', begin), tail.size());
    const std::string_view component = std::string_view(tail).substr(begin, end - begin);
    std::string next = path;
    AppendComponent(&next, component);
    if (!EntryExists(next)) {
      next = path;
      AppendComponent(&next, SpellingIn(path, component));
    }
    path = next;
    begin = tail.find_first_not_of('/', end);
    if (begin == std::string::npos) break;
  }
  if (!tail.empty() && tail.back() == '/') AppendComponent(&path, "");
  return path;
}

bool IsRooted(std::string_view path) {
  return !path.empty() && (path.front() == '/' || path.front() == '\\');
}

std::string CanonicalPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(
      realpath(NativePath(path).c_str(), nullptr), &std::free);
  return resolved ? std::string(resolved.get()) : std::string();
}

std::string CurrentFolder() {
  const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
  return folder ? std::string(folder.get()) : std::string();
}

}  // namespace Zef::Platform
