// ScanReport: what a scan of asset folders found, and which it skipped and why.
//
// Counts by kind, and the first paths of what was not simply entered; the memory is bounded however
// many folders there are.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What became of a folder, or of a part of it.
enum class ScanOutcome {
  Found,             ///< a new record
  Merged,            ///< joined into the record of the same identifier
  Conflict,          ///< the identifier is held with other places
  NoConfig,          ///< a folder in an asset's place without a config
  UnreadableConfig,  ///< cannot be opened or read, or is a link
  LargeConfig,       ///< more than kLargestConfig bytes
  NotTags,           ///< the config holds no tag container
  NoIdentifier,      ///< the config has no "plid", or the null one
  BadPath,           ///< a name that cannot stand in a record
  Unreadable,        ///< a folder that cannot be listed
  LinkedFolder,      ///< a link in an asset's place
  ClosedArchive,     ///< a ".ja" file whose content is not mounted
  PartlyMeasured,    ///< beside Found or Merged: some of its folders were not counted
};
inline constexpr std::size_t kScanOutcomes = 13;

/// A plain phrase for a report, such as "its config has no identifier".
const char* ScanOutcomeText(ScanOutcome outcome);
/// Its short name in lower camel case, for machine-readable reports, such as "noIdentifier".
const char* ScanOutcomeName(ScanOutcome outcome);
/// True for all but Found and Merged.
bool HasReason(ScanOutcome outcome);

/// What a scan found, by kind, and the first paths of each kind that was skipped or cut.
struct ScanReport {
  static constexpr std::size_t kMostMessages = 1000;

  struct Message {
    ScanOutcome outcome = ScanOutcome::Found;
    std::string path;  ///< below the product root
  };

  std::array<std::uint64_t, kScanOutcomes> counts{};
  std::vector<Message> messages;      ///< neither Found nor Merged, in the order of the scan
  std::uint64_t furtherMessages = 0;  ///< left out of `messages`

  std::uint64_t Count(ScanOutcome outcome) const {
    return counts[static_cast<std::size_t>(outcome)];
  }
  /// Folders left out of the index.
  std::uint64_t Skipped() const;
  /// Counts it, and keeps the path of what was neither Found nor Merged.
  void Add(ScanOutcome outcome, std::string path);
};
