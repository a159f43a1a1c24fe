// TagFiles: loads and saves tag trees by the extension of their file.
//
// "txt" is the text form (TagTextReader.h); "grole", "kpx" and "kpx2" are the binary form
// (NOLBinaryFile.h); letter case does not matter. Any other extension is refused. An extension
// that is given, with or without its dot, stands for that of the path.
//
// `root` is the name of a substitution below which the path lies. Without one the path begins with
// a registered prefix, or is taken as the operating system sees it. Files below a name may be
// compressed.
//
// A load reads the whole file, a save makes the whole file in memory before it opens anything.
// Nothing here throws. Calls for different files may run on any threads.

#pragma once

#include <string_view>

#include "kernel/standard/PString.h"
#include "tagdata/PLID.h"
#include "tagdata/TagContainer.h"

struct TagTextLosses;

enum class TagForm { None, Text, Binary };

/// The form that the extension stands for; None for one that is no tag file's, and for a path with
/// a zero byte.
[[nodiscard]] TagForm TagFormOf(std::string_view path, std::string_view extension = {});

/// Replaces the handle. False, and the handle as it was, when the file cannot be opened or read,
/// or for another extension. A text gives whatever can be made out in it, and fills `losses`; a
/// damaged binary file loads as a null handle.
[[nodiscard]] bool LoadTagFile(TagContainer& handle, const Zef::PString& root,
                               std::string_view path, std::string_view extension = {},
                               TagTextLosses* losses = nullptr);

/// Replaces the file. False when it could not be written whole, for another extension, and for a
/// tree that the writer refuses; in the last two cases the file is not touched.
[[nodiscard]] bool SaveTagFile(const TagContainer& handle, const Zef::PString& root,
                               std::string_view path, std::string_view extension = {});

/// The same, with LoadTagFileSafe as its counterpart: whatever instant a crash or a power cut
/// hits, one whole tree is found, the old or the new one (of a file that was never saved before
/// perhaps a part). Saves beside the path, with "tmp" for its extension, waits until that is on the
/// device and puts it in the place of the file, with the permissions of the file.
///
/// The temporary is locked until it has its place: of two saves at once one fails and changes
/// nothing. Files that differ in their extensions only share it. A leftover is overwritten, except
/// that one with tags in it becomes the file first if that is missing, as LoadTagFileSafe would
/// have it; if it cannot be read then, the save fails.
[[nodiscard]] bool SaveTagFileSafe(const TagContainer& handle, const Zef::PString& root,
                                   std::string_view path, std::string_view extension = {});

/// Loads the file, and deletes what a save that was cut short left beside it. If there is no file,
/// loads the leftover, which then takes its place; one without tags counts as none. A file that is
/// there and cannot be read may be whole: it stays, and a leftover is loaded and stays as well.
[[nodiscard]] bool LoadTagFileSafe(TagContainer& handle, const Zef::PString& root,
                                   std::string_view path, std::string_view extension = {});

/// The identifier "plid" in the config file ("config.txt", else "config.grole", in any letter case)
/// of the folder that holds `path`; null when there is none, and for a `path` that does not exist
/// or depends on the current folder.
[[nodiscard]] PLID LoadPLIDFromFile(const Zef::PString& root, std::string_view path);
