// FuzzWildcard: path operations and wildcards on any bytes, against what must always hold.
//
// Input: a name, a newline, a pattern. Texts are bounded so that one run stays in milliseconds.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Require.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FilePath.h"

namespace {

using Zef::FilePath;

constexpr std::size_t kLongest = 600;

/// A '*' may take anything: the slow and obvious match, as a table over both texts. Right behind
/// a '*' a final dot is optional.
bool SlowMatch(const std::string& name, const std::string& pattern) {
  std::vector<std::vector<char>> reached(pattern.size() + 1, std::vector<char>(name.size() + 1));
  reached[0][0] = 1;
  for (std::size_t p = 0; p < pattern.size(); ++p) {
    if (reached[p][name.size()]) {
      const std::string rest = pattern.substr(p);
      if (rest.find_first_not_of('*') == std::string::npos) return true;
      const bool isDot = rest.find_first_not_of('*', 1) == std::string::npos && rest[0] == '.';
      if (isDot && p > 0 && pattern[p - 1] == '*') return true;
    }
    for (std::size_t n = 0; n <= name.size(); ++n) {
      if (pattern[p] == '*') {
        reached[p + 1][n] = reached[p][n] || (n > 0 && reached[p + 1][n - 1]);
      } else if (n < name.size() && reached[p][n]) {
        const bool same = Zef::FoldAscii(pattern[p]) == Zef::FoldAscii(name[n]);
        reached[p + 1][n + 1] = same || pattern[p] == '?';
      }
    }
  }
  return reached[pattern.size()][name.size()];
}

void CheckWildcard(const std::string& name, const std::string& pattern) {
  std::int32_t position = 0;
  const bool reaches = Zef::MatchWildcard(name.c_str(), pattern.c_str(), &position);
  const bool matches = Zef::MatchWildcard(name.c_str(), pattern.c_str());
  Require(matches == (reaches && position == -1));
  if (position != -1) {
    Require(reaches && Zef::IsSeparator(name.at(static_cast<std::size_t>(position))));
  }
  const bool isOneComponent = (name + pattern).find_first_of("/\\;") == std::string::npos;
  if (isOneComponent) Require(matches == SlowMatch(name, pattern));
}

void CheckPaths(const FilePath& path, const std::string& other) {
  const FilePath second(other.c_str());
  void (*const changes[])(FilePath&) = {
      [](FilePath& p) { p.StripToFolder(); },     [](FilePath& p) { p.StripToFolder(true); },
      [](FilePath& p) { p.StripTrailingPart(); }, [](FilePath& p) { p.StripBaseName(); },
      [](FilePath& p) { p.RemoveLastFolder(); },  [](FilePath& p) { p.ReduceToRoot(); },
      [](FilePath& p) { p.Normalise(); },         [](FilePath& p) { p.Erase(3, 7); },
  };
  for (const auto change : changes) {
    FilePath changed = path;
    change(changed);
    Require(changed.Length() <= path.Length() + (path.IsFull() ? 0 : 1));
    Require(!path.IsFull() || changed.View() == path.View());
  }
  FilePath rest = path;
  for (std::uint32_t pops = 0; !rest.IsEmpty(); ++pops) {
    Require(pops < FilePath::kSize);
    rest.PopFirst();
  }
  FilePath joined = path;
  joined.Join(other.c_str(), 40);
  Require(joined.Length() >= path.Length() && joined.Length() < FilePath::kSize);
  FilePath relative;
  if (FilePath::Relative(path, second, relative)) Require(!relative.IsFull());
  const FilePath combined = FilePath::Combine(path.Text(), other.c_str());
  Require(combined.Length() < FilePath::kSize);
  Require(path.Extension() == nullptr || path.HasExtension(path.Extension()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(data, data + std::min(size, kLongest));
  const std::size_t line = std::min(input.find('\n'), input.size());
  const std::string name(input.substr(0, line).c_str());
  const std::string pattern(line < input.size() ? input.substr(line + 1).c_str() : "");
  CheckWildcard(name, pattern);
  CheckPaths(FilePath(name.c_str()), pattern);
  return 0;
}
