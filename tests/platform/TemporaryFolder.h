// TemporaryFolder: a folder of a test's own, gone with the object.

#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() { path_ = mkdtemp(path_.data()); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }

  /// Makes a file with this content, and returns its path.
  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(*this / name) << content;
    return *this / name;
  }

 private:
  std::string path_ = "/tmp/quarle-test-XXXXXX";
};
