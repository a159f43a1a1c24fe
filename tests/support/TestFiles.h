// TestFiles: folders and whole files for tests, apart from the file layer under test.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Test {

/// A folder for what no power cut need spare: in memory, where the system has that.
std::filesystem::path FastFolder();

/// A new, empty folder under the system's temporary folder, deleted with the object.
class TempFolder {
 public:
  TempFolder() : TempFolder(std::filesystem::temp_directory_path()) {}
  explicit TempFolder(const std::filesystem::path& above);
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  /// Full path of a name inside, '/' between folders; nothing is created.
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }
  /// Writes a file inside anew, with its missing folders; gives its full path.
  std::string Put(std::string_view name, std::string_view bytes) const;

 private:
  std::filesystem::path path_;
};

/// All bytes of a file. Throws std::runtime_error when it cannot be read.
std::string ReadWholeFile(const std::filesystem::path& file);

/// Writes a file anew, with its missing folders. Throws std::runtime_error on failure.
void WriteWholeFile(const std::filesystem::path& file, std::string_view bytes);

}  // namespace Test
