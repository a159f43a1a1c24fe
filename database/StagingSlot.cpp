#include "database/StagingSlot.h"

#include <atomic>
#include <charconv>
#include <set>
#include <string_view>
#include <vector>

#include "database/ConfinedMove.h"
#include "database/FolderSweep.h"
#include "kernel/platform/FolderWriter.h"
#include "kernel/platform/System.h"
#include "kernel/standard/Trace.h"

namespace {

using Zef::Platform::Creation;
using Zef::Platform::FileInfo;
using Zef::Platform::OwnedFile;
using Zef::Platform::Sharing;

constexpr std::string_view kPrefix = "staged-asset ";
constexpr const char* kLock = ".lock";
constexpr const char* kNote = ".note";
constexpr const char* kOld = ".old";

/// Slots of this process.
std::atomic<int> heldCount{0};

std::string TempFolder(const std::string& root) { return Zef::Platform::ResolveCase(root, "temp"); }

bool TryWriteNote(const std::string& file, const std::string& text) {
  OwnedFile note = Zef::Platform::OpenFile(file, {.write = true, .creation = Creation::CreateNew});
  if (!note) return false;
  const std::int64_t written = Zef::Platform::WriteAt(note.Get(), text.data(), text.size(), 0);
  const bool isFlushed = Zef::Platform::FlushFile(note.Get());  // before anything moves
  if (note.Close() && isFlushed && written == static_cast<std::int64_t>(text.size())) return true;
  static_cast<void>(Zef::Platform::DeleteFile(file));
  return false;
}

bool ReadNumber(std::string_view text, std::uint64_t& number) {
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

/// False when it cannot be read. Without a place for one that was not written to its end: nothing
/// had been moved then.
bool ReadNote(const std::string& file, StagingNote& note) {
  const OwnedFile opened = Zef::Platform::OpenFile(file, {});
  if (!opened) return Zef::Platform::IsGone(file);
  std::string text(std::size_t{1} << 14, '\0');
  const std::int64_t got = Zef::Platform::ReadAt(opened.Get(), text.data(), text.size(), 0);
  if (got < 0) return false;
  text.resize(static_cast<std::size_t>(got));
  std::vector<std::string> lines;
  for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
    lines.push_back(text.substr(0, end));
  }
  const bool isMove = lines.size() == 4 && ReadNumber(lines[2], note.targetSerial);
  if (lines.size() < 2 || !ReadNumber(lines[0], note.serial)) return true;
  if (!isMove && (lines.size() != 2 || note.serial != 0)) return true;
  note.place = lines[1];
  if (isMove) note.target = lines[3];
  return true;
}

bool IsFolderOf(const std::string& path, std::uint64_t serial) {
  FileInfo info;
  return Zef::Platform::GetInfoNoFollow(path, &info) && info.folder && info.serial == serial;
}

/// Does what the note of a slot asks for, if there is one. False when it cannot be done now.
bool Follow(const std::string& root, const std::string& slot) {
  StagingNote note;
  if (!ReadNote(slot + kNote, note)) return false;
  const std::string place = ConfinedPath(root, root + "/" + note.place);
  if (note.place.empty() || place.empty()) return true;
  if (!note.target.empty()) {
    const std::string target = ConfinedPath(root, root + "/" + note.target);
    const bool isOld = IsFolderOf(place, note.serial) && IsFolderOf(target, note.targetSerial);
    return !isOld || MoveEntry(place, slot + kOld);
  }
  FileInfo info;
  if (!Zef::Platform::GetInfoNoFollow(slot + kOld, &info)) return IsFree(slot + kOld);
  if (Zef::Platform::GetInfoNoFollow(place, &info)) return true;
  return MoveEntry(slot + kOld, place);
}

void SweepIfThere(const std::string& path) {
  if (!Zef::Platform::RemoveEmptyFolder(path) && !IsFree(path)) SweepFolder(path);
}

/// Of a process that is gone, or of one that lives and is left alone.
void ClearSlot(const std::string& root, const std::string& slot) {
  auto error = Zef::Platform::OpenError::None;
  const OwnedFile lock =
      Zef::Platform::OpenFile(slot + kLock, {.write = true, .sharing = Sharing::DenyAll}, &error);
  if (!lock && error != Zef::Platform::OpenError::NotFound) return;
  if (Follow(root, slot)) {
    static_cast<void>(Zef::Platform::DeleteFile(slot + kNote));
    SweepIfThere(slot);
    SweepIfThere(slot + kOld);
    static_cast<void>(Zef::Platform::DeleteFile(slot + kLock));
  } else {
    Zef::Trace("ClearLeftovers> cannot do what \"%s%s\" asks for\n", slot.c_str(), kNote);
  }
}

}  // namespace

StagingSlot::StagingSlot(const std::string& root) : path_(RubbishPath(root)) {
  if (path_.empty()) return;
  ClearLeftovers(root);
  lock_ = Zef::Platform::OpenFile(
      path_ + kLock, {.write = true, .creation = Creation::CreateNew, .sharing = Sharing::DenyAll});
  if (IsHeld()) ++heldCount;
}

StagingSlot::~StagingSlot() {
  if (!IsHeld()) return;
  try {
    if (!hasNote_) {
      SweepIfThere(path_);
      SweepIfThere(Old());
    }
    static_cast<void>(Zef::Platform::DeleteFile(path_ + kLock));
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next one deletes it
  }
  lock_.Close();
  --heldCount;
}

bool StagingSlot::WriteNote(const StagingNote& note) {
  if (!IsHeld() || (note.place + note.target).find('\n') != std::string::npos) return false;
  std::string text = std::to_string(note.serial) + '\n' + note.place + '\n';
  if (!note.target.empty()) text += std::to_string(note.targetSerial) + '\n' + note.target + '\n';
  hasNote_ = WithRoom([&] { return TryWriteNote(path_ + kNote, text); });
  return hasNote_;
}

void StagingSlot::DropNote() { hasNote_ = !Zef::Platform::DeleteFile(path_ + kNote); }

std::string RubbishPath(const std::string& root) {
  // Always of one length: that of what fits below must be no matter of luck.
  constexpr std::uint64_t kLeast = 1'000'000'000;
  if (!Zef::Platform::IsRooted(root)) return {};
  const std::string temp = TempFolder(root);
  if (!Zef::Platform::MakeFoldersAsAbove(temp)) return {};
  return temp + "/" + std::string(kPrefix) +
         std::to_string(kLeast + Zef::Platform::RandomWord() % kLeast);
}

void ClearLeftovers(const std::string& root) {
  if (!Zef::Platform::IsRooted(root) || heldCount != 0) return;
  const std::string temp = TempFolder(root) + "/";
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(temp, &names)) return;
  std::set<std::string> slots;
  for (const std::string& name : names) {
    if (name.starts_with(kPrefix)) slots.insert(name.substr(0, name.find('.')));
  }
  for (const std::string& slot : slots) ClearSlot(root, temp + slot);
}
