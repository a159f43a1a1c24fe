#include "tests/support/TestFiles.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace Test {

namespace fs = std::filesystem;

fs::path FastFolder() {
  const fs::path memory = "/dev/shm";
  return fs::is_directory(memory) ? memory : fs::temp_directory_path();
}

TempFolder::TempFolder(const fs::path& above) {
  std::random_device random;
  do {
    path_ = above / ("quarle-test-" + std::to_string(random()));
  } while (!fs::create_directory(path_));
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  // A test may have taken the write bit from a folder.
  for (fs::recursive_directory_iterator entry(path_, ignored), end; entry != end;
       entry.increment(ignored)) {
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
  }
  fs::remove_all(path_, ignored);
}

std::string TempFolder::Put(std::string_view name, std::string_view bytes) const {
  WriteWholeFile(path_ / name, bytes);
  return *this / name;
}

std::string ReadWholeFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  if (!in.is_open() || in.bad()) throw std::runtime_error("cannot read " + file.string());
  return bytes;
}

void WriteWholeFile(const fs::path& file, std::string_view bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("cannot write " + file.string());
}

}  // namespace Test
