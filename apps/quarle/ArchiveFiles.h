// ArchiveFiles: an archive as command lines name it, mounted for as long as a command works.

#pragma once

#include <string>
#include <vector>

#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/PString.h"

class MountedArchive {
 public:
  enum class Access { Read, Change, Create };

  MountedArchive() = default;
  ~MountedArchive();
  MountedArchive(const MountedArchive&) = delete;
  MountedArchive& operator=(const MountedArchive&) = delete;

  /// False, with the failure's line printed. Create takes no file that is there already.
  [[nodiscard]] bool Open(const std::string& path, Access access);
  /// Writes the index. False, with the failure's line printed.
  [[nodiscard]] bool Finish();
  /// Takes back a Create that cannot be finished.
  void Discard();

  Zef::FileSubArchive& Source() const { return *source_; }
  /// What its files are opened below.
  const Zef::PString& Name() const { return name_; }
  const std::string& Path() const { return path_; }
  /// True for a file, or for a folder that some file lies in.
  bool Has(const std::string& name) const;
  bool HasFolder(const std::string& name) const;

 private:
  Zef::PString name_{"quarle-archive"};
  std::string path_;
  Zef::FileSubArchive* source_ = nullptr;
};

/// A file to be put into an archive.
struct ArchiveInput {
  std::string path;  ///< on disk
  std::string name;  ///< in the archive, '/' between folders
  std::uint64_t size = 0;
};

struct ArchiveInputs {
  std::vector<ArchiveInput> files;
  std::uint64_t bytes = 0;
  std::uint64_t links = 0;  ///< found in folders, and left out
};

/// The files that the names below `folder` stand for, those in folders included; `archive` itself
/// is left out. False, with the failure's line printed.
[[nodiscard]] bool CollectInputs(const std::string& folder, const std::vector<std::string>& names,
                                 const std::string& archive, ArchiveInputs* inputs);

/// Puts the content of a file of a mounted archive where its name belongs below a folder, over a
/// file that is there. Nothing, or why that was not done or what is wrong with the content.
std::string ExtractFile(const MountedArchive& archive, const Zef::ArchiveRow& row,
                        const std::string& folder);
