// ScratchFile: fuzz input as a file in memory, for code that opens its input by name; and reading
// of what may be hostile and large.

#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

class ScratchFile {
 public:
  ScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size)
      : path_(Folder() + name) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr) return;
    if (size != 0) std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  ~ScratchFile() { std::remove(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const std::string& Path() const { return path_; }
  /// Folder of the scratch files of this process, with its closing slash.
  static std::string Folder() { return "/dev/shm/quarle-fuzz-" + std::to_string(getpid()) + "-"; }

 private:
  std::string path_;
};

inline constexpr std::size_t kLargestContent = 1 << 20;

/// Content from the start, up to its end, the first failure, or about a megabyte.
inline std::string ReadFromStart(Zef::File& file) {
  std::string content;
  char piece[1000];
  try {
    while (content.size() < kLargestContent) {
      const std::size_t got = file.Read(piece, 1, sizeof piece);
      if (got == 0) break;
      content.append(piece, got);
    }
  } catch (const Zef::FileEx&) {
  }
  return content;
}
