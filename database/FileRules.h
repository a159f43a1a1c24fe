// FileRules: which files and folders an asset may consist of.
//
// They hold for every name that goes into a package, comes out of one, or passes a commit. Names
// that fail cannot climb out of a folder: separators, ':' and a leading '.' are among what they
// bar.

#pragma once

#include <string_view>

class ResultsLog;
struct AssetPlace;

/// Not empty; only ASCII letters, digits, spaces and - & , + ' . _ $ ( ) ~; neither begins nor ends
/// with a space, nor begins with '.' or '~'.
[[nodiscard]] bool ValidName(std::string_view name);
/// A file that picture viewers leave behind, such as "thumbs.db": silently left out.
[[nodiscard]] bool Ignored(std::string_view name);
/// The name ends in one of the extensions that assets may have, in any letter case.
[[nodiscard]] bool ValidExtension(std::string_view name);

/// Whether all in a folder obeys. Tells of the first entry that does not, or of a folder that
/// cannot be listed. What is neither file nor folder, a link too, is a bad name.
[[nodiscard]] bool CheckFolder(const AssetPlace& folder, ResultsLog* log);
