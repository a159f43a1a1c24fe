#include "kernel/standard/RootFiles.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/PopWord.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"

namespace Zef {
namespace {

/// False for a path that the operating system would take to end sooner than we do.
bool IsWhole(std::string_view path) { return path.find('\0') == std::string_view::npos; }

/// A path with the substitution it lies below; `valid` is false for one that would depend on the
/// current folder, or is not what it seems.
struct RootedPath {
  RootedPath(const PString& rootName, std::string_view text) : root(rootName) {
    if (root.IsEmpty()) valid = FindSubst(text, &root, &text) || Platform::IsRooted(text);
    valid = valid && IsWhole(text);
    path = text;
  }

  PString root;
  std::string path;
  bool valid = true;
};

/// Each component of a path behind a "/", those aside that lead nowhere.
std::string Normalised(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const std::string_view component = PopWord(path, FilePath::kSeparators);
    if (!component.empty() && component != ".") result.append("/").append(component);
  }
  return result;
}

bool HasParentComponent(std::string_view normalised) {
  return normalised.ends_with("/..") || normalised.find("/../") != std::string_view::npos;
}

/// Streams the rest of one file into another.
void CopyBytes(File& from, File& to) {
  constexpr std::size_t kLargestSpan = 0x100000;
  const auto size = static_cast<std::uint64_t>(std::max<std::int64_t>(from.Size(), 0));
  std::vector<char> span(std::min<std::uint64_t>(size, kLargestSpan));
  while (const std::size_t count = from.Read(span.data(), 1, span.size())) {
    if (to.Write(span.data(), 1, count) != count) RaiseFileEx("CopyFileContents() Write failed");
  }
}

bool CopyToNew(const std::string& source, const std::string& destination, bool& created) try {
  File from;
  if (from.Open(source.c_str(), FileMode::kRead) != RES_OK) return false;
  File to;
  created = to.Open(destination.c_str(), FileMode::kCreateNew | FileMode::kWrite) == RES_OK;
  if (!created) return false;
  CopyBytes(from, to);
  to.Close();
  return true;
} catch (const FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

/// Eight characters that nobody foresees.
std::string RandomName() {
  constexpr std::size_t kLength = 8;
  constexpr std::uint64_t kLastCharacter = 35;
  constexpr char kCharacters[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::string name;
  while (name.size() < kLength) {
    const std::uint64_t draw = static_cast<std::uint32_t>(Platform::RandomWord());
    name += kCharacters[draw * kLastCharacter / std::numeric_limits<std::uint32_t>::max()];
  }
  return name;
}

}  // namespace

bool FileExists(const PString& root, std::string_view path) {
  const RootedPath file(root, path);
  return file.valid && File::Exists(file.root, file.path.c_str()) == RES_OK;
}

bool DeleteTree(const PString& root, std::string_view path, std::string_view productRoot) {
  const RootedPath folder(root, path);
  const std::string inside = Normalised(folder.path);
  if (!folder.valid || inside.empty() || HasParentComponent(inside)) return false;
  const bool isGuarded = folder.root.IsEmpty();
  const bool isKnown = Platform::IsRooted(productRoot) && IsWhole(productRoot);
  if (isGuarded && (!isKnown || inside.size() <= Normalised(productRoot).size())) return false;
  return File::DeleteFolder(folder.root, folder.path.c_str());
}

bool MakeDirectory(const PString& root, std::string_view path) {
  const RootedPath folder(root, path);
  return folder.valid && File::MakeFolder(folder.root, folder.path.c_str());
}

bool MoveFileTo(const PString& root, std::string_view from, std::string_view to) {
  const RootedPath source(root, from);
  const RootedPath target(root, to);
  if (!source.valid || !target.valid || !(source.root == target.root)) return false;
  return File::Rename(source.root, source.path.c_str(), target.path.c_str());
}

bool CopyFileContents(std::string_view source, std::string_view destination) {
  if (!IsWhole(source) || !IsWhole(destination)) return false;
  const std::string target(destination);
  bool created = false;
  if (CopyToNew(std::string(source), target, created)) return true;
  if (created) static_cast<void>(File::Delete(target.c_str()));
  return false;
}

std::string MakeFileNameSafe(std::string_view text) {
  std::string name(text);
  for (char& c : name) {
    const bool isSafe = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                        (c >= 'a' && c <= 'z') || c == '_' || c == ' ';
    if (!isSafe) c = '_';
  }
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

bool CreateTemporaryFilePath(const PString& root, std::string_view folder, std::string_view prefix,
                             std::string_view extension, std::string& result,
                             std::string_view wantedName) {
  static std::atomic<std::uint32_t> counter{0};
  constexpr int kAttempts = 100;
  const std::string number = std::to_string(++counter);
  if (!MakeDirectory(root, folder)) return false;
  std::string begin(folder);
  if (!begin.empty() && !IsSeparator(begin.back())) begin.push_back('/');
  std::string end(extension.starts_with('.') || extension.empty() ? "" : ".");
  end.append(extension);

  const std::string safe = MakeFileNameSafe(wantedName);
  result = begin + safe + end;
  if (!safe.empty() && !FileExists(root, result)) return true;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    result.assign(begin).append(prefix).append(RandomName()).append(number).append(end);
    if (!FileExists(root, result)) return true;
  }
  Trace(
      "CreateTemporaryFilePath> unable to form valid temp path in 100 tries, at path '%s' with "
      "prefix '%s'",
      std::string(folder).c_str(), std::string(prefix).c_str());
  return false;
}

}  // namespace Zef
