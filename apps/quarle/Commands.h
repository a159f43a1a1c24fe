// Commands: what each command takes and the function that runs it.
//
// The options are as the user spelled them. Every function prints its result and gives the exit
// status; on kFailed it has printed the one line that says why.

#pragma once

#include <array>
#include <string>
#include <vector>

#include "apps/quarle/Output.h"

inline constexpr const char* kDefaultIndexName = "assets.mkx";

struct DiffOptions {
  std::string oldRoot;
  std::string newRoot;
  std::string output;
  std::string indexName = kDefaultIndexName;
  std::string plugin;  ///< empty: the one that belongs to this program
};
[[nodiscard]] int RunDiff(const DiffOptions& options, const CommonOptions& common);

struct PatchOptions {
  std::string root;
  std::string set;
  std::string indexName = kDefaultIndexName;
  std::string plugin;
  bool dryRun = false;
  bool noBackup = false;
  bool again = false;  ///< also when no record would change
};
[[nodiscard]] int RunPatch(const PatchOptions& options, const CommonOptions& common);

struct SetOptions {
  std::string set;
  std::string indexName = kDefaultIndexName;
};
[[nodiscard]] int RunSetShow(const SetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunSetCheck(const SetOptions& options, const CommonOptions& common);

struct IndexOptions {
  std::string file;
  std::size_t top = 10;  ///< classes that `index stat` lists
};
[[nodiscard]] int RunIndexShow(const IndexOptions& options, const CommonOptions& common);
[[nodiscard]] int RunIndexStat(const IndexOptions& options, const CommonOptions& common);
[[nodiscard]] int RunIndexCheck(const IndexOptions& options, const CommonOptions& common);

struct IndexBuildOptions {
  std::string root;
  std::string file;  ///< empty: the database of the root
  bool archivesOnly = false;
  bool builtIn = false;
  bool noBackup = false;
  bool verbose = false;
};
[[nodiscard]] int RunIndexBuild(const IndexBuildOptions& options, const CommonOptions& common);

struct TagsOptions {
  std::string file;
  std::string output;  ///< for `tags convert`
};
[[nodiscard]] int RunTagsShow(const TagsOptions& options, const CommonOptions& common);
[[nodiscard]] int RunTagsConvert(const TagsOptions& options, const CommonOptions& common);

inline constexpr std::uint32_t kDefaultLzssLevel = 6;

struct CoderOptions {
  std::string input;
  std::string output;
  std::uint32_t level = kDefaultLzssLevel;  ///< for `lzss pack`
};
[[nodiscard]] int RunLzssPack(const CoderOptions& options, const CommonOptions& common);
[[nodiscard]] int RunLzssUnpack(const CoderOptions& options, const CommonOptions& common);
[[nodiscard]] int RunFilePack(const CoderOptions& options, const CommonOptions& common);
[[nodiscard]] int RunFileUnpack(const CoderOptions& options, const CommonOptions& common);

struct PlidOptions {
  std::vector<std::string> texts;
  bool strict = false;
};
[[nodiscard]] int RunPlid(const PlidOptions& options, const CommonOptions& common);

struct ArchiveOptions {
  std::string archive;
  std::vector<std::string> names;  ///< of files and folders, on disk or in the archive
  std::string folder;              ///< that files go to or come from; empty: the current one
  std::string from;                ///< for `archive rename`
  std::string to;
  bool compress = false;
};
[[nodiscard]] int RunArchiveList(const ArchiveOptions& options, const CommonOptions& common);
[[nodiscard]] int RunArchiveExtract(const ArchiveOptions& options, const CommonOptions& common);
[[nodiscard]] int RunArchiveCreate(const ArchiveOptions& options, const CommonOptions& common);
[[nodiscard]] int RunArchiveAdd(const ArchiveOptions& options, const CommonOptions& common);
[[nodiscard]] int RunArchiveDelete(const ArchiveOptions& options, const CommonOptions& common);
[[nodiscard]] int RunArchiveRename(const ArchiveOptions& options, const CommonOptions& common);

/// What people may write about a package, by the tags of its file.
struct PackageNote {
  const char* key;
  const char* what;
};
inline constexpr std::array<PackageNote, 7> kPackageNotes = {{
    {"username", "Shown name of the package"},
    {"description", "What is in it"},
    {"license", "What others may do with it"},
    {"author", "Who made it"},
    {"organisation", "For whom the author made it"},
    {"contact-email", "Where questions may go"},
    {"contact-website", "Where to read more"},
}};

struct PackageOptions {
  std::string package;
  std::vector<std::string> folders;  ///< of the assets that `package create` takes
  std::string folder = ".";          ///< that `package extract` makes the assets' folders in
  std::vector<std::string> assets;   ///< identifiers; none for all
  std::array<std::string, kPackageNotes.size()> notes;  ///< for `package create`; empty for none
};
[[nodiscard]] int RunPackageList(const PackageOptions& options, const CommonOptions& common);
[[nodiscard]] int RunPackageCreate(const PackageOptions& options, const CommonOptions& common);
[[nodiscard]] int RunPackageExtract(const PackageOptions& options, const CommonOptions& common);
[[nodiscard]] int RunPackageCheck(const PackageOptions& options, const CommonOptions& common);

struct AssetOptions {
  std::string root;
  std::string id;
  std::string query;               ///< for `asset list`: words that must occur
  std::string kinds;               ///< class codes, ';' between them; empty for all
  std::vector<std::string> files;  ///< for `asset install`
  bool faulty = false;
  bool missing = false;
  bool keep = false;        ///< for `asset commit`: the working folder stays
  bool forget = false;      ///< for `asset delete`: the record goes too
  bool overwrite = false;   ///< for `asset install`
  bool newVersion = false;  ///< for `asset clone`
};
[[nodiscard]] int RunAssetList(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetShow(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetWhy(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetEdit(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetCommit(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetRevert(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetDelete(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetInstall(const AssetOptions& options, const CommonOptions& common);
[[nodiscard]] int RunAssetClone(const AssetOptions& options, const CommonOptions& common);
