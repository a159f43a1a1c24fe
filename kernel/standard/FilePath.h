// FilePath: a path of at most 259 bytes as a value, and the operations on path text.
//
// Both '\\' and '/' separate folders everywhere, and ':' ends a drive or substitution name. The
// value owns nothing, lives on the stack or inside other objects and is copied whole. Every
// operation is bounded: what does not fit is cut at 259 bytes, and the file layer refuses paths
// of that length, so a cut path never names another file. Comparisons fold ASCII case.

#pragma once

#include <cstdint>
#include <string_view>

namespace Zef {

class FilePath {
 public:
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
  /// Appends `count` bytes of `other`, with one separator between.
  void Join(const char* other, std::uint32_t count = 0xFFFFFFFF);
  void Append(std::string_view text);
  void Erase(std::uint32_t position, std::uint32_t count);
  /// Removes the first component with its separator and returns it.
  FilePath PopFirst();
  /// Removes the last folder above the file part.
  void RemoveLastFolder();
  /// Removes all folders, leaving root and file part.
  void ReduceToRoot();
  /// Drops "." and empty components and resolves ".." where a folder stands before it.
  void Normalise();
  /// Folder of `base` plus `name`.
  static FilePath Combine(const char* base, const char* name);
  /// Path that leads from the folder of `base` to `target`; false when they share no root.
  static bool Relative(const FilePath& target, const FilePath& base, FilePath& result);

  friend bool operator==(const FilePath& a, const FilePath& b) { return a.View() == b.View(); }

 private:
  char text_[kSize];
};

/// Matches a name against a pattern of '*', '?', ';' alternatives and folder parts, folding
/// ASCII case, with '/' and '\\' equal. `outPosition` (may be null) receives the offset of the
/// separator in `name` at which a pattern that reaches only into a folder ended, else -1.
bool MatchWildcard(const char* name, const char* pattern, std::int32_t* outPosition = nullptr);

}  // namespace Zef
