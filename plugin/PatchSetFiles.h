// PatchSetFiles: the three files of a patch set, walked entry by entry, and the rules by which
// they change an index in memory.
//
// Nothing here writes or deletes a file: saving the index, and deleting the folders of replaced
// assets, is the caller's. A read error raises Zef::FileEx; a file that is cut short does not,
// because a set carries no count, and half a record is applied as far as it goes.
//
// Cost: one read-ahead per file, one record at a time. Not thread-safe for one object.

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kernel/standard/File.h"
#include "kernel/standard/TFile.h"
#include "tagdata/PLID.h"

class MUKAsset;
class MUKAssetIndex;

/// What the three files of a set are called behind the index name.
inline constexpr const char* kAddExtension = ".MUKAdd";
inline constexpr const char* kDeleteExtension = ".MUKDel";
inline constexpr const char* kPatchExtension = ".MUKPatch";

/// The three files of a set, opened and closed in their fixed order.
class PatchSetFiles {
 public:
  /// Stops at the first file that does not open; those before it stay open until destruction.
  [[nodiscard]] bool Open(const std::string& stem, std::uint32_t mode);
  /// May raise FileEx.
  void Close();

  Zef::File& Additions() { return additions_; }
  Zef::File& Deletions() { return deletions_; }
  Zef::File& Changes() { return changes_; }

 private:
  Zef::File additions_;
  Zef::File deletions_;
  Zef::File changes_;
};

/// Told of the folder (below the index's root, as the record spells it) of an asset that an
/// addition replaces.
using ReplacedFolder = std::function<void(const std::string& folder)>;

/// Applies an opened set to an index in memory: deletions, additions, changes.
void ApplyToIndex(PatchSetFiles& files, MUKAssetIndex& index, const ReplacedFolder& onReplaced);

/// What a walk over one file of a set saw.
struct PatchFileReport {
  std::uint64_t entries = 0;  ///< whole ones
  std::uint64_t size = 0;     ///< bytes of the file
  bool whole = true;
  std::uint64_t cutAt = 0;  ///< where the entry begins that is not whole
};

/// Walks a deletion list. `effective` is false for the last identifier of a list that ends right
/// behind it: applying the set does not delete that one.
PatchFileReport ForEachDeletion(Zef::File& file,
                                const std::function<void(const PLID& id, bool effective)>& visit);

/// Walks a list of records. A last record that is cut short is visited as far as it goes.
PatchFileReport ForEachRecord(Zef::File& file,
                              const std::function<void(const MUKAsset& record, bool whole)>& visit);
