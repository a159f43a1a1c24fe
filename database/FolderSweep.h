// FolderSweep: deletes folders that nobody looks for any more, on a thread of its own.
//
// Deleting takes the file system longer than all else that an operation on an asset does, and the
// operation holds the guard of the database. What is given here must already be out of the way: a
// process that ends before its time leaves it. The thread runs while there is something to do; with
// none to be had the caller deletes. Any thread may call; nothing throws but std::bad_alloc.

#pragma once

#include <string>

/// Deletes a folder, a link as such, or a file, some time later. Paths of the system; one that
/// waits already is taken once.
void SweepFolder(const std::string& path);
/// Whether something waits, or is being deleted.
[[nodiscard]] bool IsSweeping();
/// Waits until all are deleted, or could not be. At once in a forked child, which has no thread.
void AwaitSweeps();

/// Tries what needs room on the disk, and if it fails tries it again when what is being deleted is
/// gone.
template <typename Attempt>
[[nodiscard]] bool WithRoom(Attempt attempt) {
  const bool isSweeping = IsSweeping();
  if (attempt()) return true;
  if (!isSweeping) return false;
  AwaitSweeps();
  return attempt();
}
