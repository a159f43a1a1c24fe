// AssetClone: makes a new asset, open for edit, from the files of another one.

#pragma once

#include "tagdata/PLID.h"

class ResultsLog;

/// Clones an asset of the running database, under its exclusive guard: its committed files, also
/// while it is open for edit, and those of its working folder only if it was never committed. As a
/// new version it replaces the source, which must be the latest and the local user's own; otherwise
/// it gets `target`, or the next local identifier for a null one. The clone's identifier, or null
/// with the reason in the log, which may be null. Nothing is left behind by a failure. Any thread
/// may call.
[[nodiscard]] PLID MUKCloneAsset(const PLID& source, const PLID& target, bool asNewVersion,
                                 ResultsLog* log);
