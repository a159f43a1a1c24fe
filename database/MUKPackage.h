// MUKPackage: one file that carries whole assets, configs and files, between users (".kpx").
//
//   MUKPackage package;
//   if (const std::string error = package.Open(path); !error.empty()) ...
//   for (std::uint32_t i = 0; i < package.Count(); ++i) package.ExtractFiles(i, folder);
//
// A thin class over a tag tree: "assets" holds a container for each asset, named by its identifier,
// with the tags of its config and, as "files", its folder. docs/format-package.md tells of it.
//
// Errors are texts for the user, empty when all went well; the package stays valid, after a failed
// Open empty. Everything is held in memory. Files are packed and unpacked on several threads; a
// package belongs to one thread at a time.

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"

class ResultsLog;
enum class PackageCompression;
struct AssetPlace;

class MUKPackage {
 public:
  /// Called with the bytes of file content done so far, on the thread that waits. Must not throw.
  using Progress = std::function<void(std::uint64_t bytes)>;

  /// Empty, and packs what it imports.
  MUKPackage();
  MUKPackage(MUKPackage&&) = default;
  MUKPackage& operator=(MUKPackage&&) = default;

  /// Replaces the content by that of a file, a path of the system or one with a registered prefix.
  [[nodiscard]] std::string Open(const std::string& path, std::string_view extension = {});
  /// The same with a tree that was read elsewhere.
  [[nodiscard]] std::string OpenTags(const TagContainer& tags);
  /// Why Save will not take a path, before anything was done for it; empty when it will.
  [[nodiscard]] static std::string CheckName(std::string_view path);
  /// Rebuilds the tables and writes the file, whole or not at all. Takes the paths that Open does.
  [[nodiscard]] std::string Save(const std::string& path);

  PackageCompression Compression() const;
  /// Costs a walk once after each Open and Tags, as Get and Find do.
  std::uint32_t Count() const { return static_cast<std::uint32_t>(Listed().assets.size()); }
  /// The asset at a position; a null handle past the end and for an entry that is no container.
  TagContainer Get(std::uint32_t index) const;
  /// By the identifier in it; -1 when absent.
  std::int32_t Find(const PLID& id) const;
  /// Takes an asset's container in, which is shared from then on.
  [[nodiscard]] std::string Add(const TagContainer& asset);
  [[nodiscard]] std::string Remove(std::uint32_t index);

  /// Writes an asset's files below a folder, a path of the system, which is made. A config among
  /// them is left out: it lies in the container's own tags. Paths are limited to kLongestAssetPath,
  /// if `placeLength` is not 0 as if the folder's had so many bytes: it may be moved later.
  [[nodiscard]] std::string ExtractFiles(std::uint32_t index, const std::string& folder) const;
  [[nodiscard]] std::string ExtractFiles(const TagContainer& asset, const std::string& folder,
                                         std::size_t placeLength = 0) const;
  /// Reads a folder into a "files" container, all but a config at its top. Tells of the first file
  /// that cannot be taken, and is false then; the container is to be thrown away.
  [[nodiscard]] bool ImportFolder(const AssetPlace& folder, TagContainer& files,
                                  ResultsLog* log) const;

  /// Tables included. What a caller changes is seen by Count, Get and Find after the next call;
  /// the package counts as changed.
  TagContainer& Tags();
  const TagContainer& Tags() const;
  bool IsChanged() const { return changed_; }
  void SetProgress(Progress progress) { progress_ = std::move(progress); }

 private:
  /// The assets in order, and where each identifier first stands.
  struct Listing {
    void Append(TagContainer asset);

    std::vector<TagContainer> assets;
    std::unordered_map<PLID, std::uint32_t> places;
  };

  TagContainer OwnAssets();
  const Listing& Listed() const;
  void RebuildTables() const;

  mutable TagContainer tags_;
  mutable std::optional<Listing> listing_;  // made when it is first needed
  mutable bool tablesStale_ = false;        // rebuilt when somebody looks, not once an asset
  Progress progress_;
  bool changed_ = false;
};
