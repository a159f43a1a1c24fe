#include "kernel/standard/FileFind.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/Subst.h"

namespace Zef {

namespace {

bool FillEntry(const std::string& folder, const std::string& name, FileEntry* entry) {
  Platform::FileInfo info;
  if (name.size() >= sizeof entry->name || !Platform::GetInfo(folder + name, &info)) return false;
  if (!info.folder && !info.regular) return false;
  *entry = FileEntry{};
  std::memcpy(entry->name, name.data(), name.size());
  entry->size = entry->storedSize = ClampToWord(static_cast<std::int64_t>(info.size));
  entry->created = ClampToWord(info.created);
  entry->accessed = ClampToWord(info.accessed);
  entry->written = ClampToWord(info.written);
  entry->attributes = info.folder ? FileEntry::kFolder : FileEntry::kFile;
  if (info.readOnly) entry->attributes |= FileEntry::kReadOnly;
  return true;
}

class FolderSearch : public FileSubSearch {
 public:
  /// `folder` is empty or ends in a separator; the names are sorted by their folded bytes.
  FolderSearch(std::string folder, std::vector<std::string> names, const char* wildcard)
      : folder_(std::move(folder)), names_(std::move(names)), wildcard_(wildcard) {}

  bool Next(FileEntry* entry) override {
    while (next_ < names_.size()) {
      const std::string& name = names_[next_++];
      if (!MatchWildcard(name.c_str(), wildcard_.c_str())) continue;
      std::string folded = Folded(name);
      if (folded == last_ || !FillEntry(folder_, name, entry)) continue;
      last_ = std::move(folded);
      return true;
    }
    return false;
  }

  bool IsLink() const override {
    Platform::FileInfo info;
    return next_ > 0 && Platform::GetInfoNoFollow(folder_ + names_[next_ - 1], &info) && info.link;
  }

 private:
  std::string folder_;
  std::vector<std::string> names_;
  std::size_t next_ = 0;
  std::string wildcard_;
  std::string last_;
};

}  // namespace

std::uint32_t ClampToWord(std::int64_t value) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, kLargest));
}

std::unique_ptr<FileSubSearch> SearchFolder(const std::string& folder, const char* wildcard) {
  std::vector<std::string> names;
  if (!Platform::ListFolder(folder.empty() ? "." : folder, &names)) return nullptr;
  names.insert(names.begin(), {".", ".."});
  const bool isClosed = folder.empty() || IsSeparator(folder.back());
  return std::make_unique<FolderSearch>(isClosed ? folder : folder + "/", std::move(names),
                                        wildcard);
}

bool File::Find::Open(const char* pattern) {
  PString subst;
  std::string_view path(pattern ? pattern : "");
  return FindSubst(path, &subst, &path) ? OpenIn(&subst, path) : OpenIn(nullptr, path);
}

bool File::Find::Open(const PString& subst, const char* pattern) {
  return OpenIn(subst.IsEmpty() ? nullptr : &subst, pattern ? pattern : "");
}

bool File::Find::OpenIn(const PString* subst, std::string_view pattern) {
  Close();
  const std::size_t separator = pattern.find_last_of(FilePath::kSeparators);
  const std::size_t start = separator == std::string_view::npos ? 0 : separator + 1;
  const std::string folder(pattern.substr(0, start));
  wildcard_ = pattern.substr(start);
  const bool isPlain = folder.find_first_of("*?") == std::string::npos;
  if (!subst) {
    if (isPlain) search_ = SearchFolder(folder, wildcard_.c_str());
    return search_ != nullptr;
  }
  if (!SubstList::Get().Hold(*subst, &sources_)) {
    throw FileEx(__FILE__, __LINE__, "Open() Subst not found");
  }
  const bool hasLeading = !folder.empty() && IsSeparator(folder.front());
  folder_ = FilePath(std::string_view(folder).substr(hasLeading ? 1 : 0));
  return isPlain && !folder_.IsFull() && NextSource();
}

bool File::Find::Next() {
  while (search_) {
    while (search_->Next(&entry_)) {
      if (sources_.size() < 2 || reported_.insert(Folded(entry_.name)).second) return true;
    }
    NextSource();
  }
  return false;
}

/// Goes to the next source that has the folder; without one there is no search any more.
bool File::Find::NextSource() {
  search_.reset();
  const std::lock_guard guard(SubstList::Lock());
  while (!search_ && visited_ < sources_.size()) {
    FileSub* source = sources_[visited_++];
    if (source->IsAvailable()) search_ = source->OpenSearch(folder_, wildcard_.c_str());
  }
  return search_ != nullptr;
}

void File::Find::Close() {
  search_.reset();
  for (FileSub* source : sources_) source->ReleaseFile();
  sources_.clear();
  visited_ = 0;
  reported_.clear();
}

}  // namespace Zef
