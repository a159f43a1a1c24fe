// DatabaseFiles: the three files of the running database, and the moves between them.
//
//   assets.mkx         the database; missing from the first change of a run to the next write
//   cache/assets.mkx   the file being written, or left by a crash before its rename
//   cache/assets.bku   the previous database
//
// Whatever move a crash interrupts, one of the three is whole and is what the next start takes
// (docs/database.md). Names below the root are matched ignoring ASCII case. An empty or
// unrooted root means no files: nothing is touched and nothing loads.
//
// Not thread-safe; Database serialises the calls.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class MUKAssetIndex;

/// Called after each step of the file discipline. For tests that stop the process there.
using StepObserver = void (*)(const char* step);

class DatabaseFiles {
 public:
  /// Which file stands as the database, to notice that another process replaced it.
  struct Stamp {
    std::uint64_t device = 0;
    std::uint64_t serial = 0;
    std::uint64_t size = 0;
    std::int64_t written = 0;
    friend bool operator==(const Stamp&, const Stamp&) = default;
  };

  DatabaseFiles() = default;
  /// The root as AbsoluteRoot gives it. The observer may be null.
  DatabaseFiles(std::string_view root, StepObserver observer);

  /// `root` as a folder of the system: by its registered prefix, or by the current folder. The
  /// empty one, and a prefix that leads to no folder, as they are.
  static std::string AbsoluteRoot(const std::string& root);

  bool Enabled() const { return enabled_; }
  /// Default values while there is no "assets.mkx".
  Stamp MainStamp() const;
  bool MainExists() const;

  /// NotWhole: missing or damaged, and so nobody's loss. Unreadable: there, but the system did not
  /// let it be opened; it may be whole and must stay.
  enum class Outcome { Loaded, NotWhole, Unreadable };

  /// Loads "assets.mkx".
  [[nodiscard]] Outcome LoadMain(MUKAssetIndex& index);
  /// Loads what a crash left: the file that was being written if it is whole, which then
  /// becomes the backup, else the backup.
  [[nodiscard]] Outcome LoadLeftover(MUKAssetIndex& index) const;
  /// Moves "assets.mkx" to the backup's place, if it exists. False when it still stands.
  [[nodiscard]] bool BackUp() const;
  /// Writes the index and makes it "assets.mkx". False with a backup or the written file in
  /// place, to be tried again.
  [[nodiscard]] bool Write(MUKAssetIndex& index);
  /// Removes folders without entries from "editing".
  void RemoveEmptyEditFolders() const;

  void Step(const char* step) const {
    if (observer_ != nullptr) observer_(step);
  }

 private:
  std::string Path(std::string_view relative) const;
  std::string Main() const { return Path("assets.mkx"); }
  std::string Temporary() const { return Path("cache/assets.mkx"); }
  std::string Backup() const { return Path("cache/assets.bku"); }
  Outcome Load(MUKAssetIndex& index, const std::string& path) const;
  void MakeCache() const;
  void FlushFolders() const;

  std::string root_;  // with a closing separator
  bool enabled_ = false;
  bool plain_ = false;  // a folder of the system, not a substitution
  // The file being written is whole, and newer than the others: its rename failed.
  bool isSavedUnnamed_ = false;
  StepObserver observer_ = nullptr;
};
