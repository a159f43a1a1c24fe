// NewFile: a file that takes its place only when it is whole.
//
//   NewFile file(path);
//   if (!file.IsPending() || !file.Append(bytes, size) || !file.Flush() || !file.Keep()) ...
//
// Until Keep it lies beside its place under a name of its own, and it goes away unless it is kept;
// so a writer that fails or is killed leaves what was there. It has the owner and the permissions
// of what stands at its place before the first byte is written, so nobody reads what he might not
// read there. Paths are of the system and taken exactly. One thread an object.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kernel/platform/FileSystem.h"

namespace Zef {

class NewFile {
 public:
  /// `model` is an open file that gives the permissions where nothing stands.
  explicit NewFile(std::string place, Platform::FileHandle model = Platform::kNoFile);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Whether there is a file that is neither kept nor dropped.
  bool IsPending() const { return !name_.empty(); }
  /// Where it lies until it is kept.
  const std::string& Name() const { return name_; }
  Platform::FileHandle Handle() const { return file_.Get(); }
  /// Bytes that were appended.
  std::uint64_t Size() const { return size_; }
  /// False when not all of it could be written.
  [[nodiscard]] bool Append(const void* bytes, std::size_t size);
  /// Waits until what was written is on the device. Without it a power cut behind Keep may leave
  /// an empty file where a whole one stood.
  [[nodiscard]] bool Flush() { return Platform::FlushFile(file_.Get()); }
  /// Ends the writing here; another writer may then make the file under Name.
  [[nodiscard]] bool Close() { return file_.Close(); }
  /// Puts the file in its place. On failure it is gone.
  [[nodiscard]] bool Keep();
  void Drop();

 private:
  std::string place_;
  std::string name_;  // empty when there is none
  Platform::OwnedFile file_;
  std::uint64_t size_ = 0;
};

/// Creates a file in the folder of `path` under a name that nothing else uses, for reading and
/// writing. Nothing on failure.
[[nodiscard]] Platform::OwnedFile CreateTemporaryBeside(const std::string& path, std::string* name);

}  // namespace Zef
