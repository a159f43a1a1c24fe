#include "kernel/standard/FilePath.h"

#include <algorithm>
#include <cstring>

#include "kernel/standard/CodePage.h"

namespace Zef {

namespace {

constexpr std::string_view kSeparators = FilePath::kSeparators;

/// Length of a name with its colon, 0 without one.
std::size_t PrefixLength(std::string_view text) {
  const std::size_t stop = text.find_first_of("/\\:");
  return stop != std::string_view::npos && text[stop] == ':' ? stop + 1 : 0;
}

/// Length of the prefix and of one separator that follows it; either may be missing.
std::size_t RootLength(std::string_view text) {
  const std::size_t prefix = PrefixLength(text);
  return prefix < text.size() && IsSeparator(text[prefix]) ? prefix + 1 : prefix;
}

/// Offset of what follows the last separator, or the last colon if there is no separator.
std::size_t FileStart(std::string_view text) {
  std::size_t last = text.find_last_of(kSeparators);
  if (last == std::string_view::npos) last = text.rfind(':');
  return last == std::string_view::npos ? 0 : last + 1;
}

bool EndsInSeparator(std::string_view text) {
  return !text.empty() && (IsSeparator(text.back()) || FileStart(text) == text.size());
}

/// Next component that is not empty; "" at the end.
std::string_view NextComponent(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(kSeparators), rest.size()));
  const std::string_view component = rest.substr(0, rest.find_first_of(kSeparators));
  rest.remove_prefix(component.size());
  return component;
}

/// What may be left of a pattern when the name is used up: stars, and right behind a '*' a dot
/// that the name need not have, with stars behind it.
bool IsOptionalEnd(std::string_view rest, bool isBehindStar, bool dotIsOptional) {
  const std::size_t stars = std::min(rest.find_first_not_of('*'), rest.size());
  rest.remove_prefix(stars);
  if (rest.empty()) return true;
  const bool isDot = rest[0] == '.' && rest.find_first_not_of('*', 1) == std::string_view::npos;
  return isDot && dotIsOptional && (isBehindStar || stars != 0);
}

// Only the latest '*' is ever retried: whatever an earlier one could take more, the latest can take
// as well. So a match costs at most the product of the lengths.
bool MatchComponent(std::string_view name, std::string_view pattern, bool dotIsOptional) {
  constexpr std::size_t kNone = std::string_view::npos;
  std::size_t at = 0;
  std::size_t in = 0;
  std::size_t behindStar = kNone;
  std::size_t retryAt = 0;
  while (at < name.size()) {
    if (in < pattern.size() && pattern[in] == '*') {
      behindStar = ++in;
      retryAt = at;
    } else if (in < pattern.size() &&
               (pattern[in] == '?' || FoldAscii(pattern[in]) == FoldAscii(name[at]))) {
      ++in;
      ++at;
    } else if (behindStar != kNone) {
      in = behindStar;
      at = ++retryAt;
    } else {
      return false;
    }
  }
  return IsOptionalEnd(pattern.substr(in), in == behindStar, dotIsOptional);
}

std::string_view SkipDotSlash(std::string_view text) {
  const bool skips = text.size() >= 2 && text[0] == '.' && IsSeparator(text[1]);
  return skips ? text.substr(2) : text;
}

/// Takes the folders of the pattern off both texts; false if the name's do not match them.
bool MatchFolders(std::string_view& name, std::string_view& pattern) {
  for (;;) {
    const std::size_t end = pattern.find_first_of(kSeparators);
    if (end == std::string_view::npos) return true;
    const std::size_t nameEnd = name.find_first_of(kSeparators);
    if (nameEnd == std::string_view::npos) return false;
    if (!MatchComponent(name.substr(0, nameEnd), pattern.substr(0, end), false)) return false;
    pattern.remove_prefix(end + 1);
    name.remove_prefix(nameEnd + 1);
  }
}

}  // namespace

FilePath::FilePath(const char* text) : FilePath(std::string_view(text ? text : "")) {}

FilePath::FilePath(std::string_view text) {
  const std::size_t length = std::min<std::size_t>(text.size(), kSize - 1);
  if (length > 0) std::memcpy(text_, text.data(), length);
  text_[length] = 0;
}

std::uint32_t FilePath::Length() const { return static_cast<std::uint32_t>(std::strlen(text_)); }

void FilePath::ToBackSlashes() { std::replace(text_, text_ + Length(), '/', '\\'); }

const char* FilePath::FilePart() const { return text_ + FileStart(View()); }

const char* FilePath::Extension() const {
  const char* dot = std::strrchr(FilePart(), '.');
  return dot ? dot + 1 : nullptr;
}

bool FilePath::HasExtension(const char* extension) const {
  const char* own = Extension();
  if (!extension || !own) return !extension && !own;
  return EqualFolded(own, *extension == '.' ? extension + 1 : extension);
}

void FilePath::StripToFolder(bool dropSeparator) {
  const std::size_t end = FileStart(View());
  Cut(end > 0 && dropSeparator ? end - 1 : end);
}

void FilePath::StripTrailingPart() {
  const std::size_t length = Length();
  if (length > 0 && IsSeparator(text_[length - 1])) Cut(length - 1);
}

void FilePath::EnsureTrailingSeparator() {
  if (!IsEmpty() && !EndsInSeparator(View())) Append("/");
}

void FilePath::StripBaseName() {
  const std::string_view file = FilePart();
  const std::size_t base = std::min(file.rfind('.'), file.size());
  Erase(static_cast<std::uint32_t>(file.data() - text_), static_cast<std::uint32_t>(base));
}

void FilePath::Join(const char* other, std::uint32_t count) {
  if (!other) return;
  std::string_view rest = std::string_view(other).substr(0, count);
  rest.remove_prefix(std::min(rest.find_first_not_of(kSeparators), rest.size()));
  if (rest.empty()) return;
  EnsureTrailingSeparator();
  Append(rest);
}

void FilePath::Append(std::string_view text) {
  const std::size_t length = Length();
  const std::size_t count = std::min<std::size_t>(text.size(), kSize - 1 - length);
  if (count > 0) std::memmove(text_ + length, text.data(), count);
  text_[length + count] = 0;
}

void FilePath::Erase(std::uint32_t position, std::uint32_t count) {
  const std::uint32_t length = Length();
  if (IsFull() || position >= length) return;
  count = std::min(count, length - position);
  std::memmove(text_ + position, text_ + position + count, length - position - count + 1);
}

FilePath FilePath::PopFirst() {
  FilePath first = *this;
  const std::size_t end = IsFull() ? kSize : View().find_first_of(kSeparators);
  if (end >= Length()) {
    text_[0] = 0;
    return first;
  }
  first.text_[end] = 0;
  Erase(0, static_cast<std::uint32_t>(end + 1));
  return first;
}

void FilePath::RemoveLastFolder() {
  const std::size_t file = FileStart(View());
  const std::size_t root = RootLength(View());
  std::size_t end = file;
  while (end > root && IsSeparator(text_[end - 1])) --end;
  const std::size_t start = std::max(FileStart(View().substr(0, end)), root);
  if (start < end)
    Erase(static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(file - start));
}

void FilePath::ReduceToRoot() {
  const std::size_t file = FileStart(View());
  const std::size_t root = RootLength(View());
  if (file > root) Erase(static_cast<std::uint32_t>(root), static_cast<std::uint32_t>(file - root));
}

void FilePath::Normalise() {
  if (IsFull()) return;
  const FilePath source = *this;
  std::string_view rest = source.View();
  const std::size_t root = !rest.empty() && IsSeparator(rest.front()) ? 1 : 0;
  text_[0] = '/';
  text_[root] = 0;
  for (std::string_view part = NextComponent(rest); !part.empty(); part = NextComponent(rest)) {
    if (part == ".") continue;
    // A ".." that was kept at the root counts as a folder for the next one.
    if (part == ".." && Length() > std::max(root, PrefixLength(View()))) {
      RemoveLastComponent(root);
      continue;
    }
    EnsureTrailingSeparator();
    Append(part);
  }
}

void FilePath::RemoveLastComponent(std::size_t root) {
  const std::string_view text = View();
  const std::size_t separator = text.rfind('/');
  const std::size_t end = separator == std::string_view::npos ? 0 : separator;
  Cut(std::max({end, root, PrefixLength(text)}));
}

FilePath FilePath::Combine(const char* base, const char* name) {
  std::string_view folder(base ? base : "");
  std::string_view rest(name ? name : "");
  if (folder.empty()) return FilePath(rest);
  const std::size_t separator = folder.find_last_of(kSeparators);
  const bool hasSeparator = separator != std::string_view::npos;
  FilePath result(hasSeparator ? folder.substr(0, separator + 1) : folder);
  if (!hasSeparator) {
    const bool isName = folder.find(':') == std::string_view::npos && folder.front() != '.';
    result.Append(isName ? ":/" : "/");
  }
  if (!rest.empty() && IsSeparator(rest.front())) rest.remove_prefix(1);
  result.Append(rest);
  return result;
}

bool FilePath::Relative(const FilePath& target, const FilePath& base, FilePath& result) {
  if (target.IsFull() || base.IsFull()) return false;
  std::string_view to = target.View();
  std::string_view from = base.View();
  const std::string_view file = target.FilePart();
  to.remove_suffix(file.size());
  from.remove_suffix(std::strlen(base.FilePart()));
  const std::size_t root = RootLength(to);
  const std::string_view prefix = to.substr(0, PrefixLength(to));
  if (RootLength(from) != root) return false;
  if (!EqualFolded(prefix, from.substr(0, PrefixLength(from)))) return false;
  to.remove_prefix(root);
  from.remove_prefix(root);

  std::string_view toRest = to;
  std::string_view folder = NextComponent(from);
  while (!folder.empty() && EqualFolded(folder, NextComponent(toRest))) {
    to = toRest;
    folder = NextComponent(from);
  }
  FilePath path;
  for (; !folder.empty(); folder = NextComponent(from)) path.Append("../");
  path.Append(to.substr(std::min(to.find_first_not_of(kSeparators), to.size())));
  path.Append(file);
  result = path;
  return !result.IsFull();
}

void FilePath::Cut(std::size_t length) {
  if (!IsFull()) text_[length] = 0;
}

bool MatchWildcard(const char* name, const char* pattern, std::int32_t* outPosition) {
  if (outPosition) *outPosition = -1;
  const std::string_view wholeName(name ? name : "");
  std::string_view rest = SkipDotSlash(wholeName);
  std::string_view alternatives = SkipDotSlash(pattern ? pattern : "");
  if (!MatchFolders(rest, alternatives)) return false;

  const std::size_t end = std::min(rest.find_first_of(kSeparators), rest.size());
  const std::string_view component = rest.substr(0, end);
  bool matches = false;
  for (std::size_t next = 0; !matches && next != std::string_view::npos;) {
    alternatives.remove_prefix(next);
    next = alternatives.find(';');
    matches = MatchComponent(component, alternatives.substr(0, next), true);
    if (next != std::string_view::npos) ++next;
  }
  if (!matches || end == rest.size()) return matches;
  if (!outPosition) return false;
  *outPosition = static_cast<std::int32_t>(wholeName.size() - rest.size() + end);
  return true;
}

}  // namespace Zef
