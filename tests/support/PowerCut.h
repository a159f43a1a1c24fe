// PowerCut: what a disk may show once the power has failed at any moment of some work on a folder.
//
//   PowerCut disk(folder);
//   ChildProcess([&] { disk.Record(); Work(); disk.Promise(); return 0; }).AwaitEnd();
//   disk.ForEachState([&](int promises) { EXPECT_TRUE(IsWhole(folder)); });
//
// The system's calls are replaced in a program that links this. The disk is that of a file system
// with a journal: entries of folders come in their order, each only with all before it, and stand
// for certain up to what was flushed; flushing a file or folder flushes the entries up to the last
// one, or change of size, that concerns it. Of the writes to files that were not flushed each may
// have come or not, on its own and whatever the entries show, with the size or without. States in
// which all has come are those that a killed process leaves. Rights, times and links are not told.

#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace Test {

class PowerCut {
 public:
  /// Takes what is in the folder for flushed.
  explicit PowerCut(std::filesystem::path root);
  ~PowerCut();
  PowerCut(const PowerCut&) = delete;
  PowerCut& operator=(const PowerCut&) = delete;

  /// In a child: all that its threads change below the folder is told to the parent from now on.
  void Record();
  /// The child promises something: states from here on have it.
  static void Promise();
  /// In a child: the system knows no exchange of folders.
  static void ForbidExchange();

  /// Makes the folder each state in turn, once, and calls `check` with the number of promises that
  /// had been given. Throws std::runtime_error when what was recorded does not lead to what is
  /// there. The number of states.
  int ForEachState(const std::function<void(int promises)>& check);
  /// Whether the present state is what a process leaves that is killed.
  bool IsKill() const { return isKill_; }
  /// The present state, for messages.
  const std::string& Where() const { return where_; }

 private:
  class Disk;
  struct Item {
    bool isFolder = false;
    std::uint64_t serial = 0;  ///< of a folder
    std::string content{};
  };
  using Tree = std::map<std::string, Item>;  ///< by path below the root

  static Tree Read(const std::filesystem::path& root);
  void Lay(const Tree& tree) const;

  const std::filesystem::path root_;
  const Tree start_;
  char* const journal_;  ///< shared with the child
  std::string where_;
  bool isKill_ = false;
};

}  // namespace Test
