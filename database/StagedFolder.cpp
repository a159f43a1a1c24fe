#include "database/StagedFolder.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <vector>

#include "database/FolderSweep.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/FolderCopy.h"
#include "kernel/platform/System.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/RootFiles.h"

namespace {

using Zef::Platform::ExchangeResult;
using Zef::Platform::FileInfo;

constexpr std::string_view kStagedPrefix = "staged-asset ";
constexpr std::string_view kNoteEnding = ".note";
constexpr std::string_view kOldEnding = ".old";

/// Staged folders of this process.
std::atomic<int> liveCount{0};

/// Always of one length: that of what fits below must be no matter of luck.
std::string StagedName() {
  constexpr std::uint64_t kLeast = 1'000'000'000;
  return std::string(kStagedPrefix) + std::to_string(kLeast + Zef::Platform::RandomWord() % kLeast);
}

std::string TempFolder(const std::string& root) { return Zef::Platform::ResolveCase(root, "temp"); }

/// A path that obeys the rules for paths, without repeated and closing separators; empty for any
/// other one. Its last part may be a link, or not be there.
std::string Confined(const std::string& root, const std::string& whole) {
  const std::string below = PathBelow(root, whole);
  std::string_view left = below;
  std::string path = whole.substr(0, whole.size() - below.size());
  path.erase(path.find_last_not_of(Zef::FilePath::kSeparators) + 1);
  int parts = 0;
  while (!left.empty()) {
    const std::string_view part = left.substr(0, left.find_first_of(Zef::FilePath::kSeparators));
    left.remove_prefix(std::min(part.size() + 1, left.size()));
    if (part.empty()) continue;
    if (part == "." || part == ".." || part.find('\0') != std::string_view::npos) return {};
    FileInfo info;
    if (parts > 0 && Zef::Platform::GetInfoNoFollow(path, &info) && info.link) return {};
    path.append("/").append(part);
    ++parts;
  }
  return parts < 2 ? std::string() : path;
}

/// Takes the read-only mark off a folder, which could not go to another parent with it, unless it
/// turns out to stay where it is.
class MarkLifter {
 public:
  explicit MarkLifter(const std::string& folder) : folder_(folder) {
    FileInfo info;
    lifted_ = Zef::Platform::GetInfoNoFollow(folder, &info) && info.folder && info.readOnly &&
              Zef::Platform::SetReadOnly(folder, false);
  }
  MarkLifter(const MarkLifter&) = delete;
  MarkLifter& operator=(const MarkLifter&) = delete;
  ~MarkLifter() {
    if (lifted_) static_cast<void>(Zef::Platform::SetReadOnly(folder_, true));
  }
  void HasMoved() { lifted_ = false; }

 private:
  const std::string& folder_;
  bool lifted_;
};

bool Move(const std::string& from, const std::string& to) {
  MarkLifter mark(from);
  if (!Zef::Platform::Rename(from, to)) return false;
  mark.HasMoved();
  return true;
}

/// Leaves an empty folder's place to another one.
bool MoveOnto(const std::string& from, const std::string& to) {
  const bool wasEmpty = Zef::Platform::RemoveEmptyFolder(to);
  if (Move(from, to)) return true;
  if (wasEmpty) static_cast<void>(Zef::Platform::MakeFolder(to));
  return false;
}

ExchangeResult Exchanged(const std::string& a, const std::string& b) {
  MarkLifter first(a);
  MarkLifter second(b);
  const ExchangeResult result = Zef::Platform::ExchangeFolders(a, b);
  if (result == ExchangeResult::Done) {
    first.HasMoved();
    second.HasMoved();
  }
  return result;
}

/// What is to be done after a crash, in a file beside the staged folder that it concerns. With an
/// identity: what stands at `place` goes, if it is that very folder. Without: the old folder beside
/// the note goes back to `place`, if nothing stands there.
struct Note {
  std::string place;  ///< behind the root, which may have moved
  std::uint64_t identity = 0;
};

bool TryWriteNote(const std::string& file, const Note& note) {
  using Zef::Platform::Creation;
  const auto handle =
      Zef::Platform::OpenFile(file, {.write = true, .creation = Creation::CreateNew});
  if (handle == Zef::Platform::kNoFile) return false;
  const std::string text = std::to_string(note.identity) + '\n' + note.place + '\n';
  const std::int64_t written = Zef::Platform::WriteAt(handle, text.data(), text.size(), 0);
  const bool isClosed = Zef::Platform::CloseFile(handle);
  if (isClosed && written == static_cast<std::int64_t>(text.size())) return true;
  static_cast<void>(Zef::Platform::DeleteFile(file));
  return false;
}

bool WriteNote(const std::string& file, const Note& note) {
  if (TryWriteNote(file, note)) return true;
  AwaitSweeps();  // which may free the little room that it needs
  return TryWriteNote(file, note);
}

/// False when it cannot be read. Without a place for one that was not written to its end: nothing
/// had been moved then.
bool ReadNote(const std::string& file, Note& note) {
  const auto handle = Zef::Platform::OpenFile(file, {});
  if (handle == Zef::Platform::kNoFile) return false;
  std::string text(8192, '\0');
  const std::int64_t got = Zef::Platform::ReadAt(handle, text.data(), text.size(), 0);
  Zef::Platform::CloseFile(handle);
  if (got < 0) return false;
  text.resize(static_cast<std::size_t>(got));
  const std::size_t line = text.find('\n');
  if (line == std::string::npos || line + 2 >= text.size() || text.back() != '\n') return true;
  const char* const end = text.data() + line;
  const auto read = std::from_chars(text.data(), end, note.identity);
  if (read.ec != std::errc() || read.ptr != end) return true;
  note.place = text.substr(line + 1, text.size() - line - 2);
  return true;
}

/// Does what a note asks for. False when it cannot be done now.
bool Follow(const std::string& root, const std::string& noteFile) {
  Note note;
  if (!ReadNote(noteFile, note)) return false;
  const std::string place = Confined(root, root + "/" + note.place);
  if (note.place.empty() || place.empty()) return true;
  const std::string staged = noteFile.substr(0, noteFile.size() - kNoteEnding.size());
  if (note.identity == 0) {
    const std::string old = staged + std::string(kOldEnding);
    return Zef::Platform::IsGone(old) || !Zef::Platform::IsGone(place) || Move(old, place);
  }
  FileInfo info;
  const bool isThere = Zef::Platform::GetInfoNoFollow(place, &info) && info.folder;
  if (!isThere || info.serial != note.identity) return true;
  const std::string rubbish = staged + ".rubbish";
  if (!Move(place, rubbish)) return false;
  SweepFolder(rubbish);
  return true;
}

}  // namespace

StagedFolder::StagedFolder(const std::string& root, StepObserver observer)
    : root_(root), observer_(observer) {
  if (!Zef::Platform::IsRooted(root)) return;
  ClearLeftovers(root);
  const std::string temp = TempFolder(root);
  path_ = temp + "/" + StagedName();
  isMade_ = Zef::Platform::MakeFolders(temp) && Zef::Platform::MakeFolder(path_);
  if (isMade_) ++liveCount;
}

StagedFolder::~StagedFolder() {
  if (!isMade_) return;
  try {
    Step("stage: at the end");
    const bool isEmpty = Zef::Platform::RemoveEmptyFolder(path_) || Zef::Platform::IsGone(path_);
    if (!isEmpty) SweepFolder(path_);
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next one deletes it
  }
  --liveCount;
}

bool StagedFolder::Put(const std::string& target) {
  const std::string place = Confined(root_, target);
  if (!isMade_ || place.empty()) return false;
  Step("stage: filled");
  const std::string parent = place.substr(0, place.rfind('/'));
  if (!Zef::Platform::MakeFolders(parent) || !MoveOnto(path_, place)) return false;
  Step("stage: put");
  return true;
}

bool StagedFolder::Exchange(const std::string& target) {
  const std::string place = Confined(root_, target);
  if (!isMade_ || place.empty()) return false;
  Step("stage: filled");
  const ExchangeResult result = Exchanged(path_, place);
  Step("stage: exchanged");
  if (result != ExchangeResult::Unsupported) return result == ExchangeResult::Done;
  return ExchangeByRenames(place);
}

/// For file systems that cannot exchange. Should the process die while neither folder is in the
/// place, the note has the old one put back.
bool StagedFolder::ExchangeByRenames(const std::string& place) {
  const std::string note = path_ + std::string(kNoteEnding);
  const std::string old = path_ + std::string(kOldEnding);
  if (!WriteNote(note, {PathBelow(root_, place)})) return false;
  Step("stage: noted");
  const bool isMoved = Move(place, old);
  Step("stage: old one moved");
  const bool isDone = isMoved && Move(path_, place);
  Step("stage: new one moved");
  if (isMoved && !Move(old, isDone ? path_ : place)) return isDone;  // the note still stands
  static_cast<void>(Zef::Platform::DeleteFile(note));
  return isDone;
}

bool StagedFolder::Take(const std::string& folder) {
  const std::string place = Confined(root_, folder);
  if (!isMade_ || place.empty() || !MoveOnto(place, path_)) return false;
  Step("stage: taken");
  return true;
}

void StagedFolder::ClearLeftovers(const std::string& root) {
  if (!Zef::Platform::IsRooted(root) || liveCount != 0) return;
  const std::string temp = TempFolder(root) + "/";
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(temp, &names)) return;
  std::erase_if(names, [](const std::string& name) { return !name.starts_with(kStagedPrefix); });
  for (const std::string& name : names) {
    if (!name.ends_with(kNoteEnding)) continue;
    if (!Follow(root, temp + name)) return;  // what it speaks of must stay
    if (!Zef::Platform::DeleteFile(temp + name)) return;
  }
  for (const std::string& name : names) {
    if (!name.ends_with(kNoteEnding)) SweepFolder(temp + name);
  }
}

/// Empty folders may give way at once. Between an exchange and the delete the old folder stands
/// where the new one was: should the process die then, the note keeps it from passing for that.
bool StagedFolder::Relay(const std::string& source, const std::string& target) {
  FileInfo old;
  const bool isTaken =
      Zef::Platform::GetInfoNoFollow(target, &old) && !Zef::Platform::RemoveEmptyFolder(target);
  if (!isTaken) {
    const std::string parent = target.substr(0, target.rfind('/'));
    Step("move: place is free");
    const bool isDone = Zef::Platform::MakeFolders(parent) && Move(source, target);
    Step("move: done");
    return isDone;
  }
  const std::string note = path_ + std::string(kNoteEnding);
  if (!isMade_ || !WriteNote(note, {PathBelow(root_, source), old.serial})) return false;
  Step("move: noted");
  const bool isDone = Exchanged(source, target) == ExchangeResult::Done;
  Step("move: exchanged");
  if (!isDone || Take(source)) static_cast<void>(Zef::Platform::DeleteFile(note));
  return isDone;
}

std::string PathBelow(const std::string& root, std::string_view path) {
  std::string base = root;
  while (!base.empty() && Zef::IsSeparator(base.back())) base.pop_back();
  if (base.empty() || !path.starts_with(base)) return {};
  path.remove_prefix(base.size());
  if (path.empty() || !Zef::IsSeparator(path.front())) return {};
  const std::size_t begin = path.find_first_not_of(Zef::FilePath::kSeparators);
  return begin == std::string_view::npos ? std::string() : std::string(path.substr(begin));
}

std::string MakeAssetFolder(const std::string& root, std::string_view parent,
                            std::string_view prefix, std::string_view wantedName) {
  constexpr std::size_t kLongestName = 120;  // leaves room in file systems of 255 bytes
  if (!Zef::Platform::IsRooted(root)) return {};
  const std::string folder = Zef::Platform::ResolveCase(root, parent);
  std::string path;
  if (!Zef::CreateTemporaryFilePath({}, folder, prefix, {}, path,
                                    wantedName.substr(0, kLongestName))) {
    return {};
  }
  return Zef::Platform::MakeFolder(path) ? PathBelow(root, path) : std::string();
}

bool DeleteAssetFolder(const std::string& root, const std::string& folder, StepObserver observer) {
  const std::string place = Confined(root, folder);
  if (place.empty()) return false;
  FileInfo info;
  if (!Zef::Platform::GetInfoNoFollow(place, &info)) return Zef::Platform::IsGone(place);
  StagedFolder staged(root, observer);
  return staged.Take(place);
}

bool MoveAssetFolder(const std::string& root, const std::string& from, const std::string& to,
                     StepObserver observer) {
  const std::string source = Confined(root, from);
  const std::string target = Confined(root, to);
  FileInfo moved;
  if (source.empty() || target.empty()) return false;
  if (!Zef::Platform::GetInfoNoFollow(source, &moved) || !moved.folder) return false;
  StagedFolder staged(root, observer);
  return staged.Relay(source, target);
}
