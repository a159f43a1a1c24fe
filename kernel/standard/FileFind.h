// FileFind: searches through a folder by wildcard, on disk or through the sources of a name.
//
//   File::Find find;
//   if (find.Open("data:maps/*.txt;*.ini"))
//     while (find.Next()) Use(find.Entry());
//
// Every source reports "." and ".." first where they match and it has them, then its entries in the
// order of their ASCII-folded names, so that walks repeat. A name comes once, ignoring case, from
// the first source that has it. Links are reported as what they point to; who walks down or deletes
// must ask IsLink. What is neither file nor folder is left out. In an archive folders are what the
// names of its files say: they have attributes 17 and the times of a file in them.
//
// A folder is read in one pass, and files are looked at only when their names match. One thread a
// search. The sources searched stay alive until the search is closed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kernel/standard/File.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/PString.h"

namespace Zef {

/// One file or folder found; the bytes of an archive's entry record.
struct FileEntry {
  static constexpr std::uint16_t kReadOnly = 0x01;
  static constexpr std::uint16_t kFolder = 0x10;
  static constexpr std::uint16_t kFile = 0x20;
  static constexpr std::uint16_t kCompressed = 0x80;  ///< stored CFIL data, in archives only

  char name[FilePath::kSize];
  std::uint32_t size;        ///< bytes, 0xFFFFFFFF for that many and more
  std::uint32_t storedSize;  ///< `size` but for compressed data in archives
  std::uint32_t checksum;    ///< 0 outside archives
  std::uint32_t created;     ///< seconds since 1970, as the next two
  std::uint32_t accessed;
  std::uint32_t written;
  std::uint16_t attributes;
  std::uint16_t zero;

  bool IsFolder() const { return (attributes & kFolder) != 0; }
};

static_assert(sizeof(FileEntry) == 288);
static_assert(offsetof(FileEntry, size) == 260 && offsetof(FileEntry, storedSize) == 264);
static_assert(offsetof(FileEntry, checksum) == 268 && offsetof(FileEntry, created) == 272);
static_assert(offsetof(FileEntry, accessed) == 276 && offsetof(FileEntry, written) == 280);
static_assert(offsetof(FileEntry, attributes) == 284 && offsetof(FileEntry, zero) == 286);

class File::Find : public KernelObject {
 public:
  Find() = default;
  ~Find() { Close(); }
  Find(const Find&) = delete;
  Find& operator=(const Find&) = delete;

  /// Starts a search for a folder with a wildcard as its last part; a registered prefix makes it
  /// one through the sources of that name. False if there is no such folder, or if the folder part
  /// holds a '*' or '?'.
  [[nodiscard]] bool Open(const char* pattern);
  /// The same below a substitution; a null or empty name means none, an unknown one raises FileEx
  /// "Open() Subst not found".
  [[nodiscard]] bool Open(const PString& subst, const char* pattern);
  /// Steps to the next match, the first one included; false at the end.
  bool Next();
  /// The match that the last successful Next found.
  const FileEntry& Entry() const { return entry_; }
  /// True when that match is a link, whatever it points to; looks at the disk. False at the end.
  bool IsLink() const { return search_ != nullptr && search_->IsLink(); }
  void Close();

 private:
  bool OpenIn(const PString* subst, std::string_view pattern);
  bool NextSource();

  std::string wildcard_;
  FilePath folder_;
  std::vector<FileSub*> sources_;  // held, each by its count of open files
  std::size_t visited_ = 0;
  std::unique_ptr<FileSubSearch> search_;
  std::unordered_set<std::string> reported_;  // folded names, while there are several sources
  FileEntry entry_{};
};

/// Starts a search in a folder of the operating system, which may be of any length; null if it
/// cannot be read.
std::unique_ptr<FileSubSearch> SearchFolder(const std::string& folder, const char* wildcard);

/// A time or size as it stands in an entry: negative values become 0, too large ones the largest.
std::uint32_t ClampToWord(std::int64_t value);

}  // namespace Zef
