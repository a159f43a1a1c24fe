// Subst: the substitution list, where names like "data" in "data:config.txt" find their sources.
//
// A name has an ordered list of sources, the latest registered first. Each operation walks them
// by its own rule: reading and questions take the first available source that succeeds, writing
// and changing ask only writable ones, Delete asks them all. A text has a prefix only if it
// holds a ':' with no separator before it and what precedes it is registered, letter for letter;
// every other text is a path of the operating system.
//
// One recursive lock covers the list and each walk, system calls included (closing a file is no
// walk); any thread may call.
// Paths are what follows the colon; one leading separator is dropped. A path that does not fit a
// FilePath exists in no source.

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "kernel/standard/FileSub.h"
#include "kernel/standard/PString.h"

namespace Zef {

/// Puts a source in front of those of `name`. A target that ends in a separator is a folder, which
/// need not exist yet; any other one is an archive, which is created if it is missing and
/// `writable` (raises FileEx when that fails). With a null target removes the name with all its
/// sources; a name that is not there is left alone. False, with nothing registered, for an empty
/// name or target.
bool Subst(const PString& name, const char* target, bool writable);

/// Splits a text with a registered prefix; `name` and `path` (the rest behind the colon, a view
/// into `text`) may be null. False, with both untouched, for a text without one.
[[nodiscard]] bool FindSubst(std::string_view text, PString* name, std::string_view* path);

/// True for a path that no folder has to be put in front of: it starts at a file system root or
/// with the prefix of a registered substitution.
[[nodiscard]] bool IsRootedPath(std::string_view text);

class SubstList {
 public:
  SubstList();
  ~SubstList();
  SubstList(const SubstList&) = delete;
  SubstList& operator=(const SubstList&) = delete;

  /// The process's list, made on first use.
  static SubstList& Get();

  [[nodiscard]] bool Contains(const PString& name);
  /// Puts a source in front of those of `name`, which is not empty.
  void Add(const PString& name, std::unique_ptr<FileSub> source);
  /// Drops the name and its sources; one with open files lives on, unavailable, until the last of
  /// them is closed. An unknown name raises Exception "Subst(%s) Closing non-existant subst?".
  void Remove(const PString& name);

  // Each of these answers false for an unknown name.

  /// A source that opened the file gave it what File::Adopt takes, itself included.
  [[nodiscard]] bool OpenForRead(const PString& name, File& file, std::string_view path,
                                 std::uint32_t mode);
  [[nodiscard]] bool OpenForWrite(const PString& name, File& file, std::string_view path,
                                  std::uint32_t mode);
  [[nodiscard]] bool Exists(const PString& name, std::string_view path);
  /// Deletes the file in every writable source; true if it went in any.
  [[nodiscard]] bool Delete(const PString& name, std::string_view path);
  /// Deletes a folder with its content in every writable source; true if none has it in the end.
  [[nodiscard]] bool DeleteFolder(const PString& name, std::string_view path);
  [[nodiscard]] bool Rename(const PString& name, std::string_view from, std::string_view to);
  [[nodiscard]] bool MakeFolder(const PString& name, std::string_view path);
  /// Rewrites the path to the full form of the first source that has it.
  bool Qualify(const PString& name, FilePath& path);
  /// Modification time in seconds since 1970.
  [[nodiscard]] bool GetTime(const PString& name, std::string_view path, std::uint32_t* time);
  [[nodiscard]] bool SetReadOnly(const PString& name, std::string_view path, bool readOnly);
  /// Whether what the path names may not be written: its source is read-only, or its own mark
  /// says so. False, with `readOnly` untouched, if it does not exist.
  [[nodiscard]] bool GetReadOnly(const PString& name, std::string_view path, bool* readOnly);

  /// The available sources of a name in order, each counted as if a file were open on it until
  /// its ReleaseFile.
  [[nodiscard]] bool Hold(const PString& name, std::vector<FileSub*>* sources);

  /// The lock of the list and of all sources; recursive, never destroyed.
  static std::recursive_mutex& Lock();

 private:
  struct Node;
  friend bool FindSubst(std::string_view text, PString* name, std::string_view* path);

  std::unique_ptr<Node>* Place(const PString& name);
  Node* Find(const PString& name);
  const Node* FindText(std::string_view name) const;
  template <typename Accept, typename Action>
  bool FirstSuccess(const PString& name, std::string_view path, Accept accept, Action action);
  template <typename Action>
  bool EverySuccess(const PString& name, std::string_view path, Action action);

  std::unique_ptr<Node> head_;  // ascending by the pointer value of the names
};

}  // namespace Zef
