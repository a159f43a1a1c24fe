// FolderSweep: deletes folders that nobody looks for any more, on a thread of its own.
//
// Deleting takes the file system longer than all else that an operation on an asset does, and the
// operation holds the guard of the database. What is given here must already be out of the way: a
// process that ends before its time leaves it. The thread runs while there is something to do; with
// none to be had the caller deletes. Any thread may call; nothing throws but std::bad_alloc.

#pragma once

#include <string>

/// Deletes a folder, a link as such, or a file, some time later. Paths of the system.
void SweepFolder(const std::string& path);
/// Waits until all are deleted, or could not be: for who needs their room.
void AwaitSweeps();
