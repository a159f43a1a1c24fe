#include "database/StagedFolder.h"

#include <vector>

#include "database/ConfinedMove.h"
#include "database/FolderSweep.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderCopy.h"
#include "kernel/platform/FolderWriter.h"
#include "kernel/standard/RootFiles.h"

namespace {

using Zef::Platform::ExchangeResult;
using Zef::Platform::FileInfo;

void Step(StepObserver observer, const char* step) {
  if (observer != nullptr) observer(step);
}

std::string ParentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

/// Has what took a place there before what it replaced is deleted.
void FlushPlace(const std::string& place) { Zef::Platform::FlushFolder(ParentOf(place)); }

/// For file systems that cannot exchange. Should the process die while neither folder is in the
/// place, the note has the old one put back.
bool ReplaceByRenames(const std::string& root, StagingSlot& slot, const std::string& fresh,
                      const std::string& place, StepObserver observer) {
  if (!slot.WriteNote({PathBelow(root, place), 0, {}, 0})) return false;
  Step(observer, "stage: noted");
  const bool isMoved = MoveEntry(place, slot.Old());
  Step(observer, "stage: old one moved");
  const bool isDone = isMoved && MoveEntry(fresh, place);
  Step(observer, "stage: new one moved");
  if (isMoved && !isDone && !MoveEntry(slot.Old(), place)) return false;  // the note still stands
  FlushPlace(place);
  slot.DropNote();
  return isDone;
}

/// Out of the way, in one step, and then deleted.
bool Discard(const std::string& root, const std::string& place, StepObserver observer) {
  const std::string rubbish = RubbishPath(root);
  if (rubbish.empty() || !MoveEntry(place, rubbish)) return false;
  Step(observer, "stage: taken");
  SweepFolder(rubbish);
  return true;
}

/// Between the exchange and the delete the old folder stands where the new one was: should the
/// process die then, the note keeps it from passing for that.
bool Relay(const std::string& root, const std::string& source, const std::string& target,
           StepObserver observer) {
  FileInfo fresh;
  FileInfo old;
  if (!Zef::Platform::GetInfoNoFollow(source, &fresh) ||
      !Zef::Platform::GetInfoNoFollow(target, &old) || !old.folder) {
    return false;
  }
  StagingSlot slot(root);
  if (!slot.WriteNote(
          {PathBelow(root, source), old.serial, PathBelow(root, target), fresh.serial})) {
    return false;
  }
  Step(observer, "move: noted");
  const ExchangeResult result = ExchangeEntries(source, target);
  Step(observer, "move: exchanged");
  const bool isDone = result == ExchangeResult::Done;
  if (isDone) FlushPlace(target);
  if (!isDone || Discard(root, source, observer)) slot.DropNote();
  if (result != ExchangeResult::Unsupported) return isDone;
  return ReplaceByRenames(root, slot, source, target, observer);
}

}  // namespace

StagedFolder::StagedFolder(const std::string& root, StepObserver observer)
    : root_(root),
      slot_(root),
      observer_(observer),
      isMade_(slot_.IsHeld() && Zef::Platform::MakeFolder(slot_.Folder())) {}

StagedFolder::~StagedFolder() { Step(observer_, "stage: at the end"); }

bool StagedFolder::Put(const std::string& target) {
  const std::string place = ConfinedPath(root_, target);
  if (!isMade_ || place.empty()) return false;
  Step(observer_, "stage: filled");
  if (!Zef::Platform::MakeFolders(ParentOf(place)) || !MoveOnto(Path(), place)) return false;
  Step(observer_, "stage: put");
  return true;
}

bool StagedFolder::Exchange(const std::string& target) {
  const std::string place = ConfinedPath(root_, target);
  if (!isMade_ || place.empty()) return false;
  Step(observer_, "stage: filled");
  const ExchangeResult result = ExchangeEntries(Path(), place);
  Step(observer_, "stage: exchanged");
  if (result == ExchangeResult::Done) FlushPlace(place);
  if (result != ExchangeResult::Unsupported) return result == ExchangeResult::Done;
  return ReplaceByRenames(root_, slot_, Path(), place, observer_);
}

std::string MakeAssetFolder(const std::string& root, std::string_view parent,
                            std::string_view prefix, std::string_view wantedName) {
  constexpr std::size_t kLongestName = 120;  // leaves room in file systems of 255 bytes
  if (!Zef::Platform::IsRooted(root)) return {};
  const std::string folder = Zef::Platform::ResolveCase(root, parent);
  if (!Zef::Platform::MakeFoldersAsAbove(folder)) return {};
  // Names are matched ignoring case: of two that differ in nothing else one would pass for the
  // other as soon as that is gone.
  const std::string name = Zef::MakeFileNameSafe(wantedName.substr(0, kLongestName));
  const bool isTaken = !IsFree(Zef::Platform::ResolveCase(folder, name));
  std::string path;
  if (!Zef::CreateTemporaryFilePath({}, folder, prefix, {}, path, isTaken ? "" : name)) return {};
  return Zef::Platform::MakeFolder(path) ? PathBelow(root, path) : std::string();
}

bool DeleteAssetFolder(const std::string& root, const std::string& folder, StepObserver observer) {
  const std::string place = ConfinedPath(root, folder);
  if (place.empty()) return false;
  if (IsFree(place) || Discard(root, place, observer)) return true;
  if (!Zef::Platform::MayChangeFolder(ParentOf(place))) return false;
  if (!Zef::Platform::IsFolder(place)) return Zef::Platform::DeleteFile(place);
  return Zef::Platform::MayChangeFolder(place) &&
         Zef::Platform::DeleteTreeBelow(root, PathBelow(root, place));
}

bool MoveAssetFolder(const std::string& root, const std::string& from, const std::string& to,
                     StepObserver observer) {
  const std::string source = ConfinedPath(root, from);
  const std::string target = ConfinedPath(root, to);
  FileInfo moved;
  if (source.empty() || target.empty()) return false;
  if (!Zef::Platform::GetInfoNoFollow(source, &moved) || !moved.folder) return false;
  Step(observer, "move: begins");
  if (!Zef::Platform::MakeFolders(ParentOf(target))) return false;
  const bool isDone = MoveOnto(source, target) || Relay(root, source, target, observer);
  Step(observer, "move: done");
  return isDone;
}

std::string PlaceFault(const std::string& root, const std::string& path, const char* otherwise) {
  const auto quoted = [](const std::string& text) { return '\'' + text + '\''; };
  const std::string place = ConfinedPath(root, path);
  if (place.empty()) {
    return "no asset may lie at " + quoted(path) +
           ", whose path must have two parts or more below the product root and no link on the way";
  }
  std::string standing = place;
  while (standing.size() > root.size() && IsFree(standing)) standing = ParentOf(standing);
  const bool isThere = standing == place;
  const std::string parent = isThere ? ParentOf(place) : standing;
  if (!Zef::Platform::MayChangeFolder(parent)) return "you may not write in " + quoted(parent);
  FileInfo info;
  FileInfo temp;
  if (!Zef::Platform::GetInfoNoFollow(standing, &info)) return otherwise;
  if (isThere && info.link) return quoted(place) + " is a link";
  if (!info.folder) return quoted(standing) + " is no folder";
  // A read-only mark of this user's own would have been lifted.
  if (!info.readOnly && !Zef::Platform::MayChangeFolder(standing)) {
    return "you may not write in " + quoted(standing);
  }
  if (Zef::Platform::GetInfo(Zef::Platform::ResolveCase(root, "temp"), &temp) &&
      temp.device != info.device) {
    return quoted(standing) + " lies on another disk than the product's folder 'temp'";
  }
  return otherwise;
}

void RemoveEmptyAssetFolders(const std::string& root, std::string_view parent,
                             std::string_view prefix) {
  if (!Zef::Platform::IsRooted(root)) return;
  const std::string folder = Zef::Platform::ResolveCase(root, parent) + "/";
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(folder, &names)) return;
  for (const std::string& name : names) {
    if (name.starts_with(prefix)) {
      static_cast<void>(Zef::Platform::RemoveEmptyFolder(folder + name));
    }
  }
}
