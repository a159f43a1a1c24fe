#include "kernel/resource/PluginCatalogue.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Trace.h"

namespace Zef {

namespace {

constexpr const char* kFileName = "plugins.ini";

constexpr const char* kGroupList = "PluginGroup";
constexpr const char* kPluginList = "Plugin";
constexpr const char* kRemapList = "PluginRemap";

// Names of one id belong together: the file types of a resource, or a description over each.
constexpr std::string_view kBuiltInText =
    "\n+PluginGroup=ResourceFactory:4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:tga-tex:10289D60-1FB0-11d5-9AD9-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:bmp-tex:10289D60-1FB0-11d5-9AD9-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:jpg-tex:10289D60-1FB0-11d5-9AD9-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:tga:4C414E81-BBDA-11d4-9AD7-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:bmp:4C414E81-BBDA-11d4-9AD7-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:jpg:4C414E81-BBDA-11d4-9AD7-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:texture:07DACCA0-2424-11d5-9AD9-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n  +Plugin=*:texture.txt:75E05E60-4C54-11d5-9AE6-0001025364B8"
    ":4C414E80-BBDA-11d4-9AD7-0001025364B8"
    "\n+PluginGroup=Compress:8DBDFEB0-52F4-4c1b-BA91-6A7B1CCC6D3E"
    "\n  +Plugin=*:LZSS:8DBDFEB1-52F4-4c1b-BA91-6A7B1CCC6D3E"
    ":8DBDFEB0-52F4-4c1b-BA91-6A7B1CCC6D3E"
    "\n+Plugin=*:m.tglossrust:AFCA4E1B-811A-56EE-89E4-CAB13F9B6712"
    "\n+Plugin=*:m.tbumptex:E34011F3-C721-48ba-B3C0-19621E408CBD"
    "\n+Plugin=*:m.tbumpgloss:F7478888-C721-48AB-B3C0-19621E66554E"
    "\n";

using Fields = std::array<std::string_view, 4>;

/// The pieces between colons; what is missing stays empty.
Fields Split(std::string_view row) {
  Fields fields;
  for (std::string_view& field : fields) {
    field = row.substr(0, row.find(':'));
    row.remove_prefix(std::min(field.size() + 1, row.size()));
  }
  return fields;
}

/// In the longest list.
std::size_t RowCount(Options& options) {
  std::size_t most = 0;
  std::string row;
  for (const char* const list : {kGroupList, kPluginList, kRemapList}) {
    std::size_t rows = 0;
    options.BeginValues(list, ",");
    while (options.NextValue(list, row)) ++rows;
    most = std::max(most, rows);
  }
  return most;
}

std::string FolderOf(const std::string& path) {
  return path.substr(0, path.find_last_of(FilePath::kSeparators) + 1);
}

}  // namespace

bool PluginQuery::Matches(const PString& itsName, const Guid& itsId, const Guid& itsGroup) const {
  if (!IsByName()) return id == itsId;
  return name == itsName && (group.IsNull() || group == itsGroup);
}

void PluginCatalogue::Read(Options& options) {
  constexpr struct {
    const char* list;
    void (PluginCatalogue::*read)(std::string_view);
  } kLists[] = {
      // All groups first: a plug-in may stand before its group.
      {kGroupList, &PluginCatalogue::ReadGroup},
      {kPluginList, &PluginCatalogue::ReadPlugin},
      {kRemapList, &PluginCatalogue::ReadRemap},
  };
  std::string row;
  for (const auto& [list, read] : kLists) {
    options.BeginValues(list, ",");
    for (std::size_t i = 0; i < kMostRows && options.NextValue(list, row); ++i) (this->*read)(row);
  }
}

void PluginCatalogue::Clear() {
  byId_ = {};
  byName_ = {};
  remapsByFrom_ = {};
  lastLibrary_ = nullptr;
  entries_.clear();
  libraries_.clear();
  remaps_.clear();
}

void PluginCatalogue::ReadGroup(std::string_view row) {
  const auto [name, id, parent, unused] = Split(row);
  Add(name, id, parent, nullptr);
}

void PluginCatalogue::ReadPlugin(std::string_view row) {
  const auto [library, name, id, group] = Split(row);
  if (!library.empty()) Add(name, id, group, &Library(library));
}

void PluginCatalogue::ReadRemap(std::string_view row) {
  const Fields ids = Split(row);
  AddRemap(Guid::Parse(ids[0]), Guid::Parse(ids[1]));
}

void PluginCatalogue::Add(std::string_view name, std::string_view id, std::string_view parentId,
                          PluginLibrary* library) {
  PluginEntry* const parent = FindGroup(Guid::Parse(parentId));
  if (!parentId.empty() && parent == nullptr) return;
  PluginEntry entry{PString(name), Guid::Parse(id), parent, library};
  entry.depth = parent != nullptr ? parent->depth + 1 : 0;
  if (name.empty() || id.empty() || entry.depth > kMostNesting) return;
  PluginEntry& kept = entries_.emplace_back(std::move(entry));
  if (!kept.id.IsNull()) byId_.Add(kept.id.Hash(), kept);
  byName_.Add(kept.name.Key(), kept);
}

PluginLibrary& PluginCatalogue::Library(std::string_view name) {
  const PString key(name);
  const auto isIt = [&](const PluginLibrary& library) { return library.Name() == key; };
  if (lastLibrary_ != nullptr && isIt(*lastLibrary_)) return *lastLibrary_;
  const auto found = std::find_if(libraries_.begin(), libraries_.end(), isIt);
  lastLibrary_ = found != libraries_.end() ? &*found : &libraries_.emplace_back(key);
  return *lastLibrary_;
}

void PluginCatalogue::AddRemap(const Guid& from, const Guid& to) {
  if (from.IsNull() || to.IsNull()) return;
  Remap& remap = remaps_.emplace_back(Remap{from, to});
  remapsByFrom_.Add(from.Hash(), remap);
}

Guid PluginCatalogue::Remapped(const Guid& id) const {
  const Remap* const remap =
      remapsByFrom_.First(id.Hash(), [&](const Remap& known) { return known.from == id; });
  return remap != nullptr ? remap->to : id;
}

PluginEntry* PluginCatalogue::Find(const PluginQuery& query) const {
  const auto matches = [&](const PluginEntry& entry) {
    return query.Matches(entry.name, entry.id, entry.parent != nullptr ? entry.parent->id : Guid());
  };
  return query.IsByName() ? byName_.First(query.name.Key(), matches)
                          : byId_.First(query.id.Hash(), matches);
}

PluginEntry* PluginCatalogue::FindGroup(const Guid& id) const {
  return byId_.First(id.Hash(),
                     [&](const PluginEntry& entry) { return entry.id == id && entry.IsGroup(); });
}

const PluginEntry* PluginCatalogue::FindRow(const PString& name, const Guid& id) const {
  return byName_.First(
      name.Key(), [&](const PluginEntry& entry) { return entry.name == name && entry.id == id; });
}

std::string_view BuiltInPluginText() { return kBuiltInText; }

void AddPluginTexts(Options& options) {
  std::vector<Platform::FileInfo> read;
  for (const std::string& folder :
       {FolderOf(Platform::ModulePath()), FolderOf(Platform::ProgramPath()), std::string("./")}) {
    const std::string path = folder + kFileName;
    Platform::FileInfo file;
    if (!Platform::GetInfo(path, &file) || !file.regular) continue;
    const auto isSame = [&](const Platform::FileInfo& other) { return other.IsSameFile(file); };
    if (std::any_of(read.begin(), read.end(), isSame)) continue;
    read.push_back(file);
    Options longer = options;
    longer.Load(path.c_str());
    if (RowCount(longer) <= PluginCatalogue::kMostFileRows) {
      options = std::move(longer);
    } else {
      Trace("\"%s\" is left out, for it has too many rows", path.c_str());
    }
  }
  options.Add(kBuiltInText);
}

}  // namespace Zef
