// Posix: what the sources of this folder share: an owned descriptor and the spelling of paths.

#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace Zef::Platform {

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// Owns a descriptor; -1 is none. Move-only.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  ~Descriptor() { Reset(-1); }

  explicit operator bool() const { return value_ >= 0; }
  int Get() const { return value_; }
  int Release() { return std::exchange(value_, -1); }
  void Reset(int value);

 private:
  int value_ = -1;
};

/// The path with '/' as its only separator; empty for a path that cannot exist (empty, with a
/// zero byte, or 4096 bytes and more), which every system call then answers with "not found".
std::string NativePath(const std::string& path);

/// Below, at or above 0 as the ASCII-folded bytes of `a` come before, are, or come after those of
/// `b`: the order of names in listings.
int CompareFolded(std::string_view a, std::string_view b);
inline bool EqualFolded(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareFolded(a, b) == 0;
}

/// A folder opened as a starting point for calls relative to it. `flags` are further open flags.
Descriptor OpenFolderAt(int parent, const char* name, int flags);

}  // namespace Zef::Platform
