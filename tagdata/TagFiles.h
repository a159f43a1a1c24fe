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

enum class TagForm { None, Text, Binary };

/// The form that the extension stands for; None for one that is no tag file's.
[[nodiscard]] TagForm TagFormOf(std::string_view path, std::string_view extension = {});

/// Replaces the handle. False, and the handle as it was, when the file cannot be opened or read,
/// or for another extension. A text gives whatever can be made out in it; a damaged binary file
/// loads as a null handle.
[[nodiscard]] bool LoadTagFile(TagContainer& handle, const Zef::PString& root,
                               std::string_view path, std::string_view extension = {});

/// Replaces the file. False when it could not be written whole, for another extension, and for a
/// tree that the writer refuses; in the last two cases the file is not touched.
[[nodiscard]] bool SaveTagFile(const TagContainer& handle, const Zef::PString& root,
                               std::string_view path, std::string_view extension = {});

/// The same, with LoadTagFileSafe as its counterpart: whatever instant a crash or a power cut
/// hits, one whole tree is found, the old or the new one (of a file that was never saved before
/// perhaps a part). Saves beside the path, with "tmp" for its extension, waits until that is on the
/// device and puts it in the place of the file.
[[nodiscard]] bool SaveTagFileSafe(const TagContainer& handle, const Zef::PString& root,
                                   std::string_view path, std::string_view extension = {});

/// Loads the file; if there is none, what a save that was cut short left beside it, which then
/// takes its place. A file that is there and cannot be opened may be whole: it stays, and the load
/// fails.
[[nodiscard]] bool LoadTagFileSafe(TagContainer& handle, const Zef::PString& root,
                                   std::string_view path, std::string_view extension = {});

/// The identifier "plid" in the config file ("config.txt", else "config.grole") of the folder that
/// holds `path`; null when `path` does not exist or there is none.
[[nodiscard]] PLID LoadPLIDFromFile(const Zef::PString& root, std::string_view path);
