// PatchSet: making a patch set from two asset indexes, and applying one.
//
// A set is three plain files without header, count or checksum (docs/format-patchset.md):
// deletions as identifiers, additions and changes as records. Paths are formed by plain
// concatenation, so a root carries its closing slash where the interface wants one. Both
// functions work on private indexes: any number may run at once, on any threads.
//
// Neither throws for a bad file; memory exhaustion does, but not once a patch is being saved.

#pragma once

#include <string>

/// Writes the set that leads from `oldRoot` + `indexName` to `newRoot` + `indexName` into
/// `outputRoot` + "data/". False when an index does not load or a file cannot be written.
[[nodiscard]] bool MakePatchSet(const std::string& indexName, const std::string& oldRoot,
                                const std::string& newRoot, const std::string& outputRoot);

/// Applies the set below `patchRoot` + "data/" to `indexRoot` + "/" + `indexName` and saves it.
/// False, and nothing changed on disk, when the index does not load or a set file does not open.
/// True once the set was applied, also when the save then fails.
[[nodiscard]] bool ApplyPatchSet(const std::string& indexName, const std::string& indexRoot,
                                 const std::string& patchRoot);
