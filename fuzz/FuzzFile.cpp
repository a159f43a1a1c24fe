// Fuzzes File over hostile content: the first byte picks the way of opening, the next eight give
// positions to seek to, the rest is the file. What a seek and a read yield must be what reading
// from the start yields at that place.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/ScratchFile.h"

namespace {

void CheckSeek(const std::string& path, std::uint32_t mode, std::int64_t position,
               const std::string& content) {
  Zef::File file;
  if (file.Open(path.c_str(), mode) != Zef::RES_OK) std::abort();
  std::string bytes(20000, '?');
  try {
    file.Seek(position, 0);
    bytes.resize(file.Read(bytes.data(), 1, bytes.size()));
    if (file.Seek(0, 2) == 0 && file.Tell() != file.Size()) std::abort();
    char line[64];
    file.Seek(position, 0);
    for (int lines = 0; lines < 100 && file.ReadLine(line, sizeof line, mode & 3); lines++) {
    }
  } catch (const Zef::FileEx&) {
    return;
  }
  const auto start = static_cast<std::size_t>(position);
  if (start >= content.size()) return;
  const std::size_t common = std::min(bytes.size(), content.size() - start);
  if (content.compare(start, common, bytes, 0, common) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kPreface = 9;
  constexpr std::uint32_t kModes[] = {Zef::FileMode::kRead, Zef::FileMode::kReadRaw,
                                      Zef::FileMode::kReadCompressed};
  if (size < kPreface) return 0;
  const ScratchFile scratch("file", data + kPreface, size - kPreface);
  const std::string& path = scratch.Path();

  const std::uint32_t mode = kModes[data[0] % 3];
  Zef::File file;
  if (file.Open(path.c_str(), mode) != Zef::RES_OK) return 0;
  const std::string content = ReadFromStart(file);
  for (std::size_t i = 1; i < kPreface; i += 2) {
    CheckSeek(path, mode, data[i] << 8 | data[i + 1], content);
  }
  return 0;
}
