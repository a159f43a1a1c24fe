#include "database/ConfinedMove.h"

#include <algorithm>
#include <new>

#include "kernel/standard/FilePath.h"

namespace {

using Zef::Platform::ExchangeResult;
using Zef::Platform::FileInfo;

/// Takes the read-only mark off a folder, which could not go to another parent with it, unless it
/// turns out to stay where it is.
class MarkLifter {
 public:
  explicit MarkLifter(const std::string& folder) : folder_(folder) {
    FileInfo info;
    lifted_ = Zef::Platform::GetInfoNoFollow(folder, &info) && info.folder && info.readOnly &&
              Zef::Platform::SetReadOnly(folder, false);
  }
  MarkLifter(const MarkLifter&) = delete;
  MarkLifter& operator=(const MarkLifter&) = delete;
  ~MarkLifter() {
    try {
      if (lifted_) static_cast<void>(Zef::Platform::SetReadOnly(folder_, true));
    } catch (const std::bad_alloc&) {
      // The mark is lost.
    }
  }
  void HasMoved() { lifted_ = false; }

 private:
  const std::string& folder_;
  bool lifted_;
};

}  // namespace

std::string PathBelow(const std::string& root, std::string_view path) {
  std::string base = root;
  while (!base.empty() && Zef::IsSeparator(base.back())) base.pop_back();
  if (base.empty() || !path.starts_with(base)) return {};
  path.remove_prefix(base.size());
  if (path.empty() || !Zef::IsSeparator(path.front())) return {};
  const std::size_t begin = path.find_first_not_of(Zef::FilePath::kSeparators);
  return begin == std::string_view::npos ? std::string() : std::string(path.substr(begin));
}

std::string ConfinedPath(const std::string& root, const std::string& path) {
  const std::string below = PathBelow(root, path);
  std::string_view left = below;
  std::string confined = path.substr(0, path.size() - below.size());
  confined.erase(confined.find_last_not_of(Zef::FilePath::kSeparators) + 1);
  int parts = 0;
  while (!left.empty()) {
    const std::string_view part = left.substr(0, left.find_first_of(Zef::FilePath::kSeparators));
    left.remove_prefix(std::min(part.size() + 1, left.size()));
    if (part.empty()) continue;
    if (part == "." || part == ".." || part.find('\0') != std::string_view::npos) return {};
    FileInfo info;
    if (parts > 0 && Zef::Platform::GetInfoNoFollow(confined, &info) && info.link) return {};
    confined.append("/").append(part);
    ++parts;
  }
  return parts < 2 ? std::string() : confined;
}

bool IsFree(const std::string& path) {
  FileInfo info;
  return !Zef::Platform::GetInfoNoFollow(path, &info) && Zef::Platform::IsGone(path);
}

bool MoveEntry(const std::string& from, const std::string& to) {
  MarkLifter mark(from);
  if (!Zef::Platform::Rename(from, to)) return false;
  mark.HasMoved();
  return true;
}

bool MoveOnto(const std::string& from, const std::string& to) {
  const bool wasEmpty = Zef::Platform::RemoveEmptyFolder(to);
  if (MoveEntry(from, to)) return true;
  if (wasEmpty) static_cast<void>(Zef::Platform::MakeFolder(to));
  return false;
}

ExchangeResult ExchangeEntries(const std::string& a, const std::string& b) {
  MarkLifter first(a);
  MarkLifter second(b);
  const ExchangeResult result = Zef::Platform::ExchangeFolders(a, b);
  if (result == ExchangeResult::Done) {
    first.HasMoved();
    second.HasMoved();
  }
  return result;
}
