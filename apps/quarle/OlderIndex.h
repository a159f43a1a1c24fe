// OlderIndex: copies of what an index knew, made before it is built anew.
//
// An older index may know what no folder tells, such as the download catalogue and the names of
// users. After a crash there is no index, but one of the files beside it from which a start of the
// database would recover; once a new index stands that file means nothing.

#pragma once

#include <string>
#include <vector>

struct OlderIndex {
  std::vector<std::string> copies;  ///< made so far; each name was free before
  std::string failed;               ///< what could not be copied, or empty
};

/// Whether files stand in `folder` from which a start of its database may recover.
bool HasLeftover(const std::string& folder);

/// Copies `file`, if there is one, to a free name beside it. If it is the database of `folder` and
/// does not load, also the file there that a start would recover from. Stops at the first failure.
OlderIndex KeepOlderIndex(const std::string& file, const std::string& folder, bool isDatabase);
/// Deletes the copies, for when what was copied still stands.
void DeleteCopies(OlderIndex& older);
