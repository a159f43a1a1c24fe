// PluginCatalogue: which library offers which plug-in, as texts tell it.
//
// Rows come from options: the lists PluginGroup, Plugin and PluginRemap. Rows that miss a field or
// name an unknown group are left out in silence. Of rows that answer one question the first counts.
// docs/plugins.md has the text. Loads nothing, owns its entries and libraries; not thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>

#include "kernel/resource/Guid.h"
#include "kernel/resource/PluginLibrary.h"
#include "kernel/resource/PluginTable.h"
#include "kernel/standard/PString.h"

namespace Zef {

class Options;

/// One row: a plug-in, or a group, which has no library.
struct PluginEntry {
  PString name;
  Guid id;
  PluginEntry* parent = nullptr;     ///< group it belongs to
  PluginLibrary* library = nullptr;  ///< null for a group
  std::uint32_t depth = 0;           ///< groups above it
  bool hasFailed = false;            ///< its library was loaded, and lacks it

  bool IsGroup() const { return library == nullptr; }
};

/// What is looked for: by name unless that is empty, else by id.
struct PluginQuery {
  PString name;
  Guid id;
  Guid group;

  bool IsByName() const { return !name.IsEmpty(); }
  /// A name and, unless it is null, the group; or the id alone.
  bool Matches(const PString& itsName, const Guid& itsId, const Guid& itsGroup) const;
};

class PluginCatalogue {
 public:
  /// Rows of a list that are read; bounds what a text can cost.
  static constexpr std::size_t kMostRows = 4096;
  /// Of these the rows of files, so that the built-in rows always find room.
  static constexpr std::size_t kMostFileRows = kMostRows - 256;
  static constexpr std::uint32_t kMostNesting = 64;  ///< groups within each other

  PluginCatalogue() = default;
  PluginCatalogue(const PluginCatalogue&) = delete;
  PluginCatalogue& operator=(const PluginCatalogue&) = delete;

  /// Adds the rows of the three lists. Ends the walks over them.
  void Read(Options& options);
  /// Forgets all rows. No library of them may have been loaded.
  void Clear();
  void AddRemap(const Guid& from, const Guid& to);

  /// What stands for an id, in one step; the id itself without a remap.
  Guid Remapped(const Guid& id) const;
  /// Null for a query with neither name nor id.
  PluginEntry* Find(const PluginQuery& query) const;
  PluginEntry* FindGroup(const Guid& id) const;
  /// The first row with both; null without one.
  const PluginEntry* FindRow(const PString& name, const Guid& id) const;
  const std::deque<PluginEntry>& Entries() const { return entries_; }

 private:
  struct Remap {
    Guid from;
    Guid to;
  };

  void ReadGroup(std::string_view row);
  void ReadPlugin(std::string_view row);
  void ReadRemap(std::string_view row);
  void Add(std::string_view name, std::string_view id, std::string_view parentId,
           PluginLibrary* library);
  PluginLibrary& Library(std::string_view name);

  std::deque<PluginEntry> entries_;  // whose addresses stay
  std::deque<PluginLibrary> libraries_;
  std::deque<Remap> remaps_;
  PluginLibrary* lastLibrary_ = nullptr;
  PluginTable<PluginEntry> byId_;
  PluginTable<PluginEntry> byName_;
  PluginTable<Remap> remapsByFrom_;
};

/// The rows of the plug-ins that belong to the system itself.
std::string_view BuiltInPluginText();
/// Adds "plugins.ini" of this code's folder, of the program's and of the current one, each file
/// once, and then the built-in text. A file that makes a list too long is left out.
void AddPluginTexts(Options& options);

}  // namespace Zef
