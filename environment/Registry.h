// Registry: named text values in a tree of keys, kept across runs.
//
// A key is a folder and a value is a small text file in it, so an administrator reads, copies and
// restores the registry with the tools of the system. A value is replaced in one step. Who may
// write a key is what the permissions of its folder say; a key that may only be read opens for
// reading. Nothing reports failures: a key that does not open is closed, a write that cannot be
// done changes nothing. docs/product-record.md has the layout.
//
// Every call goes to the disk. Keys may be used by any threads and processes at once.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/platform/FileSystem.h"

/// The folder of the whole registry: the one that was set, the environment variable
/// QUARLE_REGISTRY, the machine's if it is there or can be made, else the user's. Empty when there
/// is none.
std::string RegistryRoot();
/// Sets the folder, for the whole process, ahead of all others; empty takes that back.
void SetRegistryRoot(std::string folder);

enum class KeyRights { None, Read, Full };

class RegistryKey {
 public:
  static constexpr std::size_t kMostText = 259;

  /// A closed key: reads nothing, writes nothing, has no sub-keys.
  RegistryKey() = default;
  /// Opens the key of that path below the root, and makes what is missing of it. Names match in
  /// any letter case.
  static RegistryKey OpenOrCreate(std::string_view path);

  bool IsOpen() const { return rights_ != KeyRights::None; }
  bool IsWritable() const { return rights_ == KeyRights::Full; }
  /// Folder of the key; two keys are the same if it is.
  const std::string& Folder() const { return folder_; }

  /// The key below this one, made if it is missing. For names of keys see SafeKeyName.
  RegistryKey OpenOrCreateSubKey(std::string_view name) const;
  /// The key below this one; closed when there is none.
  RegistryKey OpenSubKey(std::string_view name) const;
  /// Makes a key that is not there yet; closed when it is, or cannot be made.
  RegistryKey CreateSubKey(std::string_view name) const;
  /// Removes a key that has no keys below it.
  void DeleteSubKey(std::string_view name) const;
  /// Names of the keys below this one, links left out, that are numbers of at most nine digits, in
  /// their order.
  std::vector<std::string> NumberedSubKeys() const;

  /// True for a value that is there, readable or not.
  bool HasText(std::string_view name) const;
  /// False, with `text` as it was, for a missing value and one of more than `most` bytes.
  bool ReadText(std::string_view name, std::string& text, std::size_t most = kMostText) const;
  /// Sets the value to the text up to its first zero, cut at 259 bytes. False, and the value as it
  /// was, when that cannot be done.
  [[nodiscard]] bool WriteText(std::string_view name, std::string_view text) const;

 private:
  explicit RegistryKey(std::string folder);

  std::string PathOf(std::string_view name) const { return folder_ + "/" + std::string(name); }

  std::string folder_;
  KeyRights rights_ = KeyRights::None;
};

/// Keeps other processes from changing which keys there are below a key, for the length of a
/// scope. Waits for two seconds at most and then goes on without; a read-only key is not locked.
class RegistryLock {
 public:
  explicit RegistryLock(const RegistryKey& key);

 private:
  Zef::Platform::OwnedFile file_;
};

/// The text as a value holds it: up to its first zero, and 259 bytes of that.
std::string_view CutValue(std::string_view text);
/// The name as a key can have it: separators and control characters become "_", a leading "." too.
std::string SafeKeyName(std::string_view name);
