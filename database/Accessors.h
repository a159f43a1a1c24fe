// Accessors: single fields of the running database's records, by identifier.
//
// Each takes a guard of its own, finds the record, acts and lets go, so any thread may call any
// of them; who needs several fields of many records takes one MUKLock and reads the index. An
// identifier without a record, and a database that does not run, give an empty text, 0, false or
// a rating of -1, and setters give false.
//
// Setters mark the database changed only when the value is another one; the selection mark
// never does.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "database/MUKAsset.h"

/// Copies the record, which then owns its texts. `record` may be null. False without one.
bool MUKFind(const PLID& id, MUKAsset* record = nullptr);
/// Adds a new asset, under the next local identifier for a null one. The identifier, or null
/// when it is taken or there is none to give.
PLID MUKCreateNew(const PLID& id);
/// Joins a record into the held one of the same identifier and has that verified. False when
/// their places on disk contradict each other, or none is held.
bool MUKMerge(const MUKAsset& record);
/// The replacement of an obsolete identifier, else the identifier itself.
PLID MUKResolve(const PLID& id);

std::string MUKGetCategory(const PLID& id);
std::string MUKGetRegion(const PLID& id);
std::string MUKGetEra(const PLID& id);
std::string MUKGetName(const PLID& id);
std::string MUKGetUserName(const PLID& id);
std::string MUKGetKeywords(const PLID& id);
std::string MUKGetDescription(const PLID& id);
std::string MUKGetEditPath(const PLID& id);
std::string MUKGetInstallPath(const PLID& id);
std::string MUKGetArchiveName(const PLID& id);
std::string MUKGetLegacyPath(const PLID& id);
/// The words by which the asset is searched.
std::string MUKGetSearchText(const PLID& id);
std::uint32_t MUKGetSizeBytes(const PLID& id);
float MUKGetBuild(const PLID& id);
std::int32_t MUKGetRating(const PLID& id);
PLID MUKGetMapId(const PLID& id);
std::uint64_t MUKGetUploadTime(const PLID& id);
std::uint64_t MUKGetModifyTime(const PLID& id);
bool MUKGetMarked(const PLID& id);
bool MUKGetEnabled(const PLID& id);
bool MUKGetIsClone(const PLID& id);
bool MUKGetIsReskin(const PLID& id);
bool MUKGetListed(const PLID& id);
bool MUKGetPatched(const PLID& id);
bool MUKGetBuiltIn(const PLID& id);
bool MUKGetFaulty(const PLID& id);
bool MUKGetPermitCommit(const PLID& id);
bool MUKGetPermitEdit(const PLID& id);
bool MUKGetPermitListing(const PLID& id);
/// True when another, real identifier replaces this one.
bool MUKGetObsolete(const PLID& id);
/// True when an archive of the index holds a copy. Asks the archives when that is not known,
/// which marks the database changed.
bool MUKGetInArchive(const PLID& id);

/// True when something that the asset depends on, directly or further down, is not on disk. Walks
/// the dependencies when that is not known, which marks the database changed.
bool MUKGetMissingDependency(const PLID& id);
/// The same for assets that failed their last validity check.
bool MUKGetFaultyDependency(const PLID& id);

bool MUKSetCategory(const PLID& id, std::string_view value);
bool MUKSetRegion(const PLID& id, std::string_view value);
bool MUKSetEra(const PLID& id, std::string_view value);
bool MUKSetName(const PLID& id, std::string_view value);
bool MUKSetUserName(const PLID& id, std::string_view value);
bool MUKSetKeywords(const PLID& id, std::string_view value);
bool MUKSetDescription(const PLID& id, std::string_view value);
bool MUKSetEditPath(const PLID& id, std::string_view value);
bool MUKSetInstallPath(const PLID& id, std::string_view value);
bool MUKSetArchiveName(const PLID& id, std::string_view value);
bool MUKSetLegacyPath(const PLID& id, std::string_view value);
/// Marks size information changed beside the general kind.
bool MUKSetSizeBytes(const PLID& id, std::uint32_t value);
bool MUKSetBuild(const PLID& id, float value);
/// Ratings of 6 and more are ignored, with false.
bool MUKSetRating(const PLID& id, std::uint32_t value);
bool MUKSetMapId(const PLID& id, const PLID& value);
bool MUKSetUploadTime(const PLID& id, std::uint64_t value);
bool MUKSetModifyTime(const PLID& id, std::uint64_t value);
bool MUKSetMarked(const PLID& id, bool value);
bool MUKSetEnabled(const PLID& id, bool value);
bool MUKSetIsClone(const PLID& id, bool value);
bool MUKSetIsReskin(const PLID& id, bool value);
bool MUKSetListed(const PLID& id, bool value);
bool MUKSetPatched(const PLID& id, bool value);
bool MUKSetBuiltIn(const PLID& id, bool value);
bool MUKSetFaulty(const PLID& id, bool value);
bool MUKSetPermitCommit(const PLID& id, bool value);
bool MUKSetPermitEdit(const PLID& id, bool value);
bool MUKSetPermitListing(const PLID& id, bool value);
