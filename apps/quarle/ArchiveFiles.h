// ArchiveFiles: an archive as command lines name it, mounted for as long as a command works.

#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/PString.h"

class MountedArchive {
 public:
  enum class Access { Read, Change, Create };

  MountedArchive() = default;
  ~MountedArchive();
  MountedArchive(const MountedArchive&) = delete;
  MountedArchive& operator=(const MountedArchive&) = delete;

  /// False, with the failure's line printed. Create takes no file that is there already but an
  /// empty one and an archive without files, Change no archive that is damaged, and neither one
  /// that another of these commands changes meanwhile.
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
  /// What stands in the place of a new file, which could not be extracted beside it: a folder of
  /// its name, or a file where it needs a folder. Empty for nothing, and for the name of a file.
  std::string Obstacle(const std::string& name) const;

 private:
  Zef::PString name_{"quarle-archive"};
  Zef::Platform::OwnedFile lock_;  // held until the source is gone
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
  std::uint64_t links = 0;     ///< found in folders, and left out
  std::uint64_t specials = 0;  ///< likewise: pipes, sockets and devices
};

/// The files that the names below `folder` stand for, those in folders included; `archive` itself
/// is left out. False, with the failure's line printed, also for two files whose names are one in
/// an archive, and for names that no archive can give back.
[[nodiscard]] bool CollectInputs(const std::string& folder, const std::vector<std::string>& names,
                                 const std::string& archive, ArchiveInputs* inputs);

/// True for a name in an archive that starts at a root, or as if with the name of a drive.
bool StartsAtRoot(std::string_view name);

/// A folder that files of an archive are put into. What stands there is found in any letter case.
class ExtractFolder {
 public:
  explicit ExtractFolder(std::string path) : path_(std::move(path)) {}

  /// Puts the content of a file of a mounted archive where its name belongs, over a file that is
  /// there. Nothing, or why that was not done or what is wrong with the content.
  std::string Take(const MountedArchive& archive, const Zef::ArchiveRow& row);

 private:
  struct FoldedOrder {
    bool operator()(const std::string& a, const std::string& b) const {
      return Zef::CompareFolded(a, b) < 0;
    }
  };
  using Spellings = std::set<std::string, FoldedOrder>;

  std::string Prepare(const std::vector<std::string>& components, std::string* place);
  std::string Spelling(const std::string& folder, const std::string& component);

  const std::string path_;
  std::map<std::string, Spellings> listed_;  // folders that were asked for what they do not have
};
