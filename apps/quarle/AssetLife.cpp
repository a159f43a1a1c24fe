// quarle asset edit, commit, revert, delete and clone.

#include <set>
#include <vector>

#include "apps/quarle/AssetState.h"
#include "apps/quarle/AssetWork.h"
#include "database/AssetClone.h"
#include "database/AssetEdit.h"
#include "database/AssetFolder.h"
#include "database/AssetWalk.h"
#include "database/MUKAsset.h"
#include "database/StagedFolder.h"

namespace {

std::string Named(const MUKAsset& record) {
  return "Asset " + record.id.TagText() + " " + Quoted(record.ShownName().View());
}

std::string WorkingFolder(const AssetWork& work) {
  return PlaceText(EditPlace(work.session.Root(), *work.Record()));
}

/// What a summary says of places whose folders are not gone: those outside the product are their
/// user's own, and others may be another asset's too.
std::string StillThere(const std::vector<AssetPlace>& places) {
  std::set<std::string> told;
  std::string text;
  for (const AssetPlace& place : places) {
    const std::string path = PlaceText(place);
    if (!FolderExists(place) || !told.insert(path).second) continue;
    text += "; " + Quoted(path) + " stays on disk";
  }
  return text;
}

/// What a failure says of a folder that could not be deleted.
std::string WhyStill(const AssetWork& work, const AssetPlace& place) {
  return Quoted(PlaceText(place)) + " is still there; " +
         PlaceFault(work.session.Root(), place.path, "see that you may write there");
}

bool Edit(AssetWork& work) {
  if (MUKOpenAsset(work.id, true, &work.log).IsNull()) {
    work.failure = Named(*work.Record()) + " cannot be opened for edit";
    return false;
  }
  work.answer = WorkingFolder(work);
  return true;
}

bool Commit(AssetWork& work) {
  const std::uint32_t flags = work.options.keep ? kCommitKeepWorkingFolder : 0;
  if (!MUKCommitAssetEdits(work.id, &work.log, flags)) {
    work.failure = Named(*work.Record()) + " was not committed";
    return false;
  }
  const MUKAsset& record = *work.Record();
  const AssetPlace place = AssetPlaceOf(work.session.Root(), record);
  work.summary = Named(record) + " is committed: " + Quoted(PlaceText(place));
  return true;
}

bool Revert(AssetWork& work) {
  const std::string asset = Named(*work.Record());
  if (work.Record()->editPath.IsEmpty()) {
    work.failure = asset + " is not open for edit, so there is nothing to revert";
    return false;
  }
  const AssetPlace working = EditPlace(work.session.Root(), *work.Record());
  if (!MUKRevertAssetEdits({work.id, true})) {
    work.failure = asset + " was not reverted: its working folder " + WhyStill(work, working);
    return false;
  }
  const bool wasNew = work.Record() == nullptr || !work.Record()->IsPresent();
  work.summary = asset +
                 (wasNew ? " was never committed and is deleted" : " is as it was committed") +
                 StillThere({working});
  return true;
}

/// Where the folders lie that a deletion is to take away; nowhere for a path that is not set.
std::vector<AssetPlace> PlacesToDelete(const std::string& root, const MUKAsset& record) {
  const bool isBuiltIn = record.Has(AssetFlag::BuiltIn);
  return {EditPlace(root, record), LegacyPlace(root, record),
          isBuiltIn ? AssetPlace() : InstallPlace(root, record)};
}

bool Delete(AssetWork& work) {
  const std::string asset = Named(*work.Record());
  const std::string& root = work.session.Root();
  const std::vector<AssetPlace> places = PlacesToDelete(root, *work.Record());
  const bool wasPresent = work.Record()->IsPresent();
  MUKDeleteAsset(work.id, work.options.forget);
  const MUKAsset* const record = work.Record();
  if (record == nullptr) {
    work.summary = asset + " is deleted and forgotten" + StillThere(places);
    return true;
  }
  for (const AssetPlace& left : PlacesToDelete(root, *record)) {
    if (left.IsNowhere()) continue;
    work.failure = asset + " was not deleted whole: " + WhyStill(work, left);
    return false;
  }
  if (IsArchiveUnmounted(*record) && !record->Has(AssetFlag::BuiltIn)) {
    work.failure = asset + " was not deleted: its archive " + Quoted(record->archiveName.View()) +
                   " is not mounted";
    return false;
  }
  if (record->IsPresent()) {
    work.summary = asset + " is part of the product and stays";
  } else {
    work.summary = asset + (wasPresent ? " is deleted" : " was not there") + "; its record stays";
  }
  work.summary += StillThere(places);
  return true;
}

bool Clone(AssetWork& work) {
  const std::string asset = Named(*work.Record());
  const PLID clone = MUKCloneAsset(work.id, PLID(), work.options.newVersion, &work.log);
  if (clone.IsNull()) {
    work.failure = asset + " was not cloned";
    return false;
  }
  work.id = clone;
  work.summary = Named(*work.Record()) + " is open for edit: " + Quoted(WorkingFolder(work));
  return true;
}

}  // namespace

int RunAssetEdit(const AssetOptions& options, const CommonOptions& common) {
  return RunAssetWork(options, common, "opening", Edit);
}

int RunAssetCommit(const AssetOptions& options, const CommonOptions& common) {
  return RunAssetWork(options, common, "committing", Commit);
}

int RunAssetRevert(const AssetOptions& options, const CommonOptions& common) {
  return RunAssetWork(options, common, "reverting", Revert);
}

int RunAssetDelete(const AssetOptions& options, const CommonOptions& common) {
  return RunAssetWork(options, common, "deleting", Delete);
}

int RunAssetClone(const AssetOptions& options, const CommonOptions& common) {
  return RunAssetWork(options, common, "cloning", Clone);
}
