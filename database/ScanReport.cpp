#include "database/ScanReport.h"

#include <utility>

namespace {

struct OutcomeText {
  const char* name;
  const char* text;
  bool isSkipped;
};
constexpr std::array<OutcomeText, kScanOutcomes> kOutcomes = {{
    {"found", "new record", false},
    {"merged", "joined into the record of the same identifier", false},
    {"conflict", "another folder has the same identifier", true},
    {"noConfig", "it has no config.txt or config.grole", true},
    {"unreadableConfig", "its config cannot be read", true},
    {"largeConfig", "its config is larger than 4 MiB", true},
    {"notTags", "its config holds no tags", true},
    {"noIdentifier", "its config has no valid plid", true},
    {"badPath", "its name cannot stand in a path", true},
    {"unreadable", "it cannot be listed", true},
    {"linkedFolder", "it is a link", true},
    {"closedArchive", "the archive is not mounted", true},
    {"partlyMeasured", "some of its folders are too deep or unreadable and count no size", false},
}};

const OutcomeText& TextOf(ScanOutcome outcome) {
  return kOutcomes[static_cast<std::size_t>(outcome)];
}

}  // namespace

const char* ScanOutcomeText(ScanOutcome outcome) { return TextOf(outcome).text; }

const char* ScanOutcomeName(ScanOutcome outcome) { return TextOf(outcome).name; }

bool HasReason(ScanOutcome outcome) {
  return outcome != ScanOutcome::Found && outcome != ScanOutcome::Merged;
}

std::uint64_t ScanReport::Skipped() const {
  std::uint64_t skipped = 0;
  for (std::size_t at = 0; at < kScanOutcomes; ++at) {
    if (kOutcomes[at].isSkipped) skipped += counts[at];
  }
  return skipped;
}

void ScanReport::Add(ScanOutcome outcome, std::string path) {
  ++counts[static_cast<std::size_t>(outcome)];
  if (!HasReason(outcome)) return;
  if (messages.size() < kMostMessages) {
    messages.push_back({outcome, std::move(path)});
  } else {
    ++furtherMessages;
  }
}
