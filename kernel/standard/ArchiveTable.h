// ArchiveTable: the live files of an archive in memory, by their order and by their names.
//
// A key is the normalised name in lower case; of two files with one key the one that lies further
// behind in the archive counts. Looking a key up costs the same however many files there are, and
// chosen names cannot make it slow. The order by folders is made when a folder is first searched
// or a name is first asked whether it is blocked, and kept up from then on. Nothing is interned:
// names come from outside and the string pool never shrinks. A change that finds no memory leaves
// the files as they were. About half a kilobyte a file. Not thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kernel/KeyedHash.h"
#include "kernel/standard/ArchiveFormat.h"

namespace Zef {

struct ArchiveFile {
  ArchiveRow row;
  std::string key;
  std::size_t place = 0;  ///< in the archive's order; never given to another file
};

class ArchiveTable {
 public:
  static std::string KeyOf(std::string_view name);

  std::size_t Count() const { return byKey_.size(); }
  void Reserve(std::size_t count);
  void Clear();
  /// Null when there is none. Valid until that file is removed.
  ArchiveFile* Find(std::string_view key) const;
  /// True if a file has the name of one of the key's folders, or that of the key is a folder: no
  /// disk takes both.
  bool IsBlocked(std::string_view key);
  /// Adds a file, unless one of its key lies behind it. Result: where the data lies of the one of
  /// them that does not count, 0 for none.
  std::uint32_t Add(const ArchiveRow& row);
  void Remove(ArchiveFile* file);
  /// Gives a file a name, whose key no other file has.
  void Rename(ArchiveFile* file, std::string_view name, std::string key);

  /// The first file at `place` or behind it; null at the end.
  const ArchiveFile* From(std::size_t place) const;
  /// The first file in the order of folders whose key is `key` or comes later; null at the end.
  /// A key that ends in '/' comes right before all that lies in that folder.
  const ArchiveFile* FromKey(std::string_view key);
  /// A key behind `key` and all that lies in a folder of that name, and before everything else.
  static std::string Behind(std::string_view key);

 private:
  /// Compares component by component: a separator comes before every other character.
  struct FolderOrder {
    bool operator()(std::string_view a, std::string_view b) const;
  };
  using SortedFiles = std::map<std::string_view, ArchiveFile*, FolderOrder>;

  void Link(ArchiveFile* file);

  std::vector<std::unique_ptr<ArchiveFile>> files_;  // null where one was removed
  std::unordered_map<std::string_view, ArchiveFile*, KeyedTextHash> byKey_;
  std::unique_ptr<SortedFiles> sorted_;  // null until it is needed
};

}  // namespace Zef
