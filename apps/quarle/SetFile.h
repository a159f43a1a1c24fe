// SetFile: the files of a patch set as commands read them, with messages for the user.

#pragma once

#include <array>
#include <functional>
#include <string>

#include "plugin/PatchSetFiles.h"

/// The parts of a set in the order in which they are applied.
struct SetPart {
  const char* title;
  const char* name;  ///< as in JSON
  const char* extension;
  bool identifiers;  ///< instead of records
};
inline constexpr std::array<SetPart, 3> kSetParts = {{
    {"Deletions", "deletions", kDeleteExtension, true},
    {"Additions", "additions", kAddExtension, false},
    {"Changes", "changes", kPatchExtension, false},
}};

/// Runs `read` on one opened file of a set. False, with the failure's line printed, when the
/// file does not open or cannot be read.
[[nodiscard]] bool ReadSetFile(const std::string& path,
                               const std::function<void(Zef::File& file)>& read);

/// Counts what the files of a set hold, in the order of kSetParts. False as above.
[[nodiscard]] bool CountSet(const std::string& stem,
                            std::array<PatchFileReport, kSetParts.size()>& reports);

/// Walks one opened file for its report alone.
PatchFileReport CountEntries(const SetPart& part, Zef::File& file);
