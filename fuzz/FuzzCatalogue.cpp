// Fuzzes plug-in catalogues: any switch text becomes rows, of which no library is loaded.
//
// Whatever was read must be found again by its name and by its id, in a group that was read too.

#include <cstdint>
#include <string_view>

#include "fuzz/Require.h"
#include "kernel/resource/PluginCatalogue.h"
#include "kernel/standard/Options.h"

namespace {

using Zef::PluginEntry;

/// A garbled identifier is the null one, which finds nothing: the row has its name alone.
void CheckId(const Zef::PluginCatalogue& catalogue, const PluginEntry& entry) {
  const PluginEntry* const byId = catalogue.Find({{}, entry.id, {}});
  if (entry.id.IsNull()) return Require(byId == nullptr && catalogue.FindGroup({}) == nullptr);
  Require(byId != nullptr && byId->id == entry.id && !catalogue.Remapped(entry.id).IsNull());
  if (entry.IsGroup()) Require(catalogue.FindGroup(entry.id) != nullptr);
}

void CheckEntry(const Zef::PluginCatalogue& catalogue, const PluginEntry& entry) {
  Require(entry.name.Length() > 0 && Zef::Guid::Parse(entry.id.Text()) == entry.id);
  CheckId(catalogue, entry);
  const Zef::Guid group = entry.parent != nullptr ? entry.parent->id : Zef::Guid();
  const PluginEntry* const byName = catalogue.Find({entry.name, entry.id, group});
  Require(byName != nullptr && byName->name == entry.name);
  if (entry.parent == nullptr) return;
  Require(catalogue.FindGroup(group) == entry.parent && entry.depth == entry.parent->depth + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Zef::Options options;
  options.Add(text);
  options.Add(Zef::BuiltInPluginText());
  Zef::PluginCatalogue catalogue;
  catalogue.Read(options);
  for (const PluginEntry& entry : catalogue.Entries()) {
    CheckEntry(catalogue, entry);
    if (!entry.IsGroup()) Zef::PluginFileNames(entry.library->Name().View());
  }
  return 0;
}
