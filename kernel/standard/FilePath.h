// FilePath: a path of at most 259 bytes as a value, and the operations on path text.
//
// Both '\\' and '/' separate folders everywhere; a ':' ends a drive or substitution name if no
// separator stands before it, and is an ordinary character otherwise. The value owns nothing, lives
// on the stack or inside other objects and is copied whole.
//
// Every operation is bounded: what does not fit is cut at 259 bytes. Such a full path is refused by
// the file layer and left alone by all that would shorten it (PopFirst takes it whole), so it never
// comes to name another file; loops that climb by StripToFolder must ask IsFull.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Zef {

constexpr bool IsSeparator(char c) { return c == '/' || c == '\\'; }

class FilePath {
 public:
  static constexpr std::string_view kSeparators = "/\\";
  static constexpr std::uint32_t kSize = 260;

  FilePath() { text_[0] = 0; }
  FilePath(const char* text);  // NOLINT(google-explicit-constructor): a path is a text
  explicit FilePath(std::string_view text);

  const char* Text() const { return text_; }
  std::string_view View() const { return text_; }
  std::uint32_t Length() const;
  bool IsEmpty() const { return text_[0] == 0; }
  /// True for a text that was, or may have been, cut: the file layer refuses it.
  bool IsFull() const { return Length() >= kSize - 1; }

  void ToBackSlashes();
  /// Text after the last separator or colon.
  const char* FilePart() const;
  /// Behind the last '.' that follows the last separator, or null.
  const char* Extension() const;
  /// Compares ignoring case; a leading '.' of the argument is skipped; null asks for a name
  /// without extension.
  bool HasExtension(const char* extension) const;
  /// Cuts after the last separator or colon, or at it with `dropSeparator`; "" without one.
  void StripToFolder(bool dropSeparator = false);
  /// Cuts at the last separator if that is the last character.
  void StripTrailingPart();
  /// Appends '/' unless empty or ending in '/', '\\' or ':'.
  void EnsureTrailingSeparator();
  /// "a/b.txt" becomes "a/.txt".
  void StripBaseName();
  /// Appends at most `count` bytes of `other` with one separator between; nothing if those are
  /// only separators.
  void Join(const char* other, std::uint32_t count = 0xFFFFFFFF);
  void Append(std::string_view text);
  void Erase(std::uint32_t position, std::uint32_t count);
  /// Removes the text up to the first separator, with the separator, and returns it.
  FilePath PopFirst();
  /// Removes the last folder above the file part: "a/b/c" becomes "a/c".
  void RemoveLastFolder();
  /// Removes all folders, leaving root and file part.
  void ReduceToRoot();
  /// Drops "." and empty components; ".." takes away the component before it, or stays as a
  /// component of its own where there is none. The result has '/' and no trailing separator.
  void Normalise();
  /// Folder of `base` plus `name` without a leading separator. A base without separators counts as
  /// a folder, and as a substitution's name if it has no ':' and no leading '.': "data" gives
  /// "data:/name". With an empty base the name as it stands.
  static FilePath Combine(const char* base, const char* name);
  /// Path that leads from the folder of `base` to `target`; false when they share no root or the
  /// result does not fit.
  static bool Relative(const FilePath& target, const FilePath& base, FilePath& result);

 private:
  void Cut(std::size_t length);
  void RemoveLastComponent(std::size_t root);

  char text_[kSize];
};

/// Matches a name against a pattern of '*', '?', ';' alternatives and folder parts, folding ASCII
/// case, with '/' and '\\' equal. '*' and '?' stay within a component, ';' counts in the last one,
/// where "*.*" and "*." also match names without a dot. At worst the product of the lengths. A null
/// text is an empty one.
///
/// A name that lies deeper than the pattern reaches, in a folder that it matches, is a match only
/// for callers with an `outPosition`, which then receives the offset of the separator behind that
/// folder; in all other cases it receives -1.
bool MatchWildcard(const char* name, const char* pattern, std::int32_t* outPosition = nullptr);

}  // namespace Zef
