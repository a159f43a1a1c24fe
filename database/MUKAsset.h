// MUKAsset: one row of the asset index, all that is known of an asset without opening its folder.
//
// A plain record. An index owns the records that were added to it; a record outside an index is
// an ordinary value. Texts of a loaded record borrow from the file's image (AssetText). Flag
// bytes are atomic, because readers fill the derived flags in passing; everything else is
// guarded by whoever guards the index.

#pragma once

#include <atomic>
#include <cstdint>

#include "database/AssetText.h"
#include "tagdata/PLID.h"

/// Flag bits in the order of their three stored bytes; the value is byte * 8 + bit.
enum class AssetFlag : std::uint8_t {
  Marked = 0,     ///< free selection mark of the host
  Enabled = 1,    ///< takes part in searches by kind and obsolete resolution
  IsClone = 2,    ///< cloned without becoming a new version of its source
  IsReskin = 3,   ///< product type "reskin"
  InArchive = 4,  ///< a copy lies in an asset archive; valid with the next bit
  InArchiveKnown = 5,
  Listed = 6,             ///< the download catalogue knows it
  Patched = 7,            ///< came in through a patch; install refuses to overwrite it
  BuiltIn = 8,            ///< part of the product's own content: what a diff compares
  MissingDependency = 9,  ///< something it depends on is missing; valid with the next bit
  MissingDependencyKnown = 10,
  Faulty = 11,            ///< the last commit's validity check failed
  FaultyDependency = 12,  ///< something it depends on is faulty; valid with the next bit
  FaultyDependencyKnown = 13,
  PermitCommit = 14,
  PermitEdit = 15,
  PermitListing = 16,
};
inline constexpr int kAssetFlagCount = 17;

/// Name of a flag as reports show it, such as "builtIn".
const char* AssetFlagName(AssetFlag flag);

/// The three flag bytes of a record.
class AssetFlags {
 public:
  static constexpr int kBytes = 3;
  static constexpr std::uint8_t kDefaults[kBytes] = {0x22, 0xC0, 0x01};

  AssetFlags() = default;
  AssetFlags(const AssetFlags& other) { *this = other; }
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): bytes onto themselves
  AssetFlags& operator=(const AssetFlags& other) {
    for (int i = 0; i < kBytes; ++i) SetByte(i, other.Byte(i));
    return *this;
  }

  bool Has(AssetFlag flag) const { return (Byte(ByteOf(flag)) & MaskOf(flag)) != 0; }
  void Set(AssetFlag flag, bool on) {
    if (on) {
      bytes_[ByteOf(flag)].fetch_or(MaskOf(flag), std::memory_order_relaxed);
    } else {
      bytes_[ByteOf(flag)].fetch_and(static_cast<std::uint8_t>(~MaskOf(flag)),
                                     std::memory_order_relaxed);
    }
  }
  std::uint8_t Byte(int index) const { return bytes_[index].load(std::memory_order_relaxed); }
  void SetByte(int index, std::uint8_t value) {
    bytes_[index].store(value, std::memory_order_relaxed);
  }

 private:
  static int ByteOf(AssetFlag flag) { return static_cast<int>(flag) / 8; }
  static std::uint8_t MaskOf(AssetFlag flag) {
    return static_cast<std::uint8_t>(1u << (static_cast<unsigned>(flag) % 8));
  }

  std::atomic<std::uint8_t> bytes_[kBytes] = {kDefaults[0], kDefaults[1], kDefaults[2]};
};

class MUKAsset {
 public:
  static constexpr std::uint32_t kSizeUnknown = 0xFFFFFFFF;
  static constexpr std::uint8_t kNoRating = 0xFF;

  PLID id;
  AssetText category;  ///< class codes, semicolon-separated
  AssetText region;    ///< two-letter codes, semicolon-separated
  AssetText era;
  std::uint32_t sizeBytes = kSizeUnknown;  ///< of all its files
  float build = 0.0f;                      ///< 0 or less: not yet read
  AssetText editPath;     ///< folder while open for edit, absolute or below the product root
  AssetText installPath;  ///< folder of the installed asset, below what archiveName says
  AssetText archiveName;  ///< "local", or the name of a mounted archive
  AssetText legacyPath;   ///< whole folder in the older layout, below the product root
  PLID mapId;             ///< of a session: its map
  AssetFlags flags;
  std::uint8_t rating = kNoRating;  ///< 0 to 5
  std::uint64_t uploadTime = 0;     ///< seconds since 1970
  std::uint64_t modifyTime = 0;     ///< seconds since 1970
  AssetText description;
  AssetText keywords;
  AssetText name;
  AssetText userName;  ///< when not empty, shown, sorted and searched instead of `name`

  bool Has(AssetFlag flag) const { return flags.Has(flag); }
  void Set(AssetFlag flag, bool on) { flags.Set(flag, on); }
  /// The asset has a place on disk.
  bool IsPresent() const {
    return !installPath.IsEmpty() || !editPath.IsEmpty() || !legacyPath.IsEmpty();
  }
  const AssetText& ShownName() const { return userName.IsEmpty() ? name : userName; }

  MUKAsset() = default;
  /// Copies what is stored, not what is derived.
  MUKAsset(const MUKAsset& other) = default;
  MUKAsset(MUKAsset&& other) = default;
  MUKAsset& operator=(const MUKAsset& other) = default;
  MUKAsset& operator=(MUKAsset&& other) = default;

  /// Identifiers and nothing else. A changed asset carries a new version, so a new identifier.
  friend bool operator==(const MUKAsset& a, const MUKAsset& b) { return a.id == b.id; }

 private:
  friend class MUKAssetIndex;

  /// What an index derives and keeps beside the stored fields. Never copied between records.
  struct Derived {
    Zef::SharedText searchText;
    bool searchTextValid = false;
    bool obsolete = false;
    bool held = false;               ///< in the tables of an index, not taken out again
    MUKAsset* nextSameId = nullptr;  ///< later arrival under the same identifier
    MUKAsset* lastSameId = nullptr;  ///< of the first under an identifier: the last one
    Derived() = default;
    Derived(const Derived&) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assigns nothing
    Derived& operator=(const Derived&) { return *this; }
  };
  Derived derived_;
};
