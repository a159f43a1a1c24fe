// Folders: listing, making, and finding a name in its spelling on disk.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr std::size_t kPathLimit = 4096;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

unsigned char Folded(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte;
}

bool EqualFolded(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Folded(x) == Folded(y); });
}

bool LessFolded(const std::string& a, const std::string& b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (Folded(a[i]) != Folded(b[i])) return Folded(a[i]) < Folded(b[i]);
  }
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

// Calls visit(name) for every entry but "." and "..".
template <typename Visit>
bool VisitFolder(const std::string& native, Visit visit) {
  const std::unique_ptr<DIR, CloseFolder> folder(opendir(native.c_str()));
  if (!folder) return false;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());  // the stream is this call's own
    if (entry == nullptr) return errno == 0;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") visit(name);
  }
}

bool EntryExists(const std::string& native) {
  struct stat facts {};
  return !native.empty() && lstat(native.c_str(), &facts) == 0;
}

// The entry of `folder` that equals `name` ignoring case, or `name` itself.
std::string SpellingIn(const std::string& folder, std::string_view name) {
  std::string best;
  const bool listed = VisitFolder(folder.empty() ? "." : folder, [&](std::string_view entry) {
    if (EqualFolded(entry, name) && (best.empty() || entry < best)) best = entry;
  });
  return listed && !best.empty() ? best : std::string(name);
}

void AppendComponent(std::string* path, std::string_view component) {
  if (!path->empty() && path->back() != '/') path->push_back('/');
  path->append(component);
}

}  // namespace

void Descriptor::Reset(int value) {
  if (value_ >= 0) close(value_);
  value_ = value;
}

std::string NativePath(const std::string& path) {
  if (path.size() >= kPathLimit || path.find('\0') != std::string::npos) return {};
  std::string native = path;
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

Descriptor OpenFolderAt(int parent, const char* name, int flags) {
  return Descriptor(
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
