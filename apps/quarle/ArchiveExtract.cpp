// Files of an archive on their way to a folder. Their names come from outside and must not lead
// anywhere else, neither by themselves nor through links that lie in the folder.

#include <vector>

#include "apps/quarle/ArchiveFiles.h"
#include "apps/quarle/Output.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Crc32.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/PopWord.h"

namespace {

using namespace Zef;

constexpr std::size_t kSpan = 1u << 18;

/// The components of a name; nothing, or why it has no place below a folder.
std::string SplitName(std::string_view name, std::vector<std::string>* components) {
  if (StartsAtRoot(name)) return "its name starts at a root";
  if (name.empty() || IsSeparator(name.back())) return "it has no file name";
  while (!name.empty()) {
    const std::string_view component = PopWord(name, FilePath::kSeparators);
    if (component == "..") return "its name leads out of the folder";
    if (!component.empty() && component != ".") components->emplace_back(component);
  }
  return components->empty() ? "it has no file name" : "";
}

std::string CopyContent(File& from, const ArchiveRow& row, const std::string& place) {
  NewFile to(place);
  if (!to.IsPending()) return Quoted(place) + " cannot be made";
  std::vector<std::byte> span(kSpan);
  std::uint32_t checksum = 0;
  for (std::size_t got = 1; got > 0;) {
    got = from.Read(span.data(), 1, span.size());
    checksum = Crc32(checksum, span.data(), got);
    if (!to.Append(span.data(), got)) return Quoted(place) + " cannot be written";
  }
  const std::uint64_t size = to.Size();
  if (!to.Keep()) return Quoted(place) + " cannot be written";
  // Writers that make no checksums leave it 0.
  const bool matches = row.entry.checksum == 0 || checksum == row.entry.checksum;
  if (size == row.entry.size && matches) return {};
  return "its content is damaged, and was extracted as it is";
}

}  // namespace

bool StartsAtRoot(std::string_view name) {
  const std::size_t stop = name.find_first_of("/\\:");
  return Platform::IsRooted(name) || (stop != std::string_view::npos && name[stop] == ':');
}

/// A file or folder of another letter case is the one that is meant.
std::string ExtractFolder::Spelling(const std::string& folder, const std::string& component) {
  Platform::FileInfo info;
  if (Platform::GetInfoNoFollow(folder + "/" + component, &info)) return component;
  const auto [listed, isNew] = listed_.try_emplace(folder);
  if (isNew) {
    std::vector<std::string> names;
    static_cast<void>(Platform::ListFolder(folder, &names));
    listed->second.insert(names.begin(), names.end());
  }
  return *listed->second.insert(component).first;  // which will be there from now on
}

/// Where the file goes, with its folders made; nothing, or what stands in the way.
std::string ExtractFolder::Prepare(const std::vector<std::string>& components, std::string* place) {
  std::string path = path_;
  for (std::size_t i = 0; i < components.size(); ++i) {
    path += "/" + Spelling(path, components[i]);
    const bool isLast = i + 1 == components.size();
    Platform::FileInfo info;
    if (!Platform::GetInfoNoFollow(path, &info)) {
      if (isLast || Platform::MakeFolders(path)) continue;
      return "the folder " + Quoted(path) + " cannot be made";
    }
    if (info.link) return Quoted(path) + " is a link";
    if (isLast && info.regular && info.readOnly) return Quoted(path) + " is read-only";
    if (isLast ? !info.regular : !info.folder) {
      return Quoted(path) + (isLast ? " is no file" : " is no folder") + ", but must be one";
    }
  }
  *place = path;
  return {};
}

std::string ExtractFolder::Take(const MountedArchive& archive, const ArchiveRow& row) {
  std::vector<std::string> components;
  std::string why = SplitName(row.entry.name, &components);
  File file;
  const std::uint32_t mode = row.IsCompressed() ? FileMode::kRead : FileMode::kReadRaw;
  if (why.empty() && file.Open(archive.Name(), row.entry.name, mode) != RES_OK) {
    why = "it cannot be read";
  }
  std::string place;
  if (why.empty()) why = Prepare(components, &place);
  if (!why.empty()) return why;
  try {
    return CopyContent(file, row, place);
  } catch (const FileEx&) {
    return "its content is damaged and cannot be read";
  }
}
