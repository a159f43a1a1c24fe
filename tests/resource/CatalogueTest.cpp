#include <gtest/gtest.h>

#include <algorithm>

#include "kernel/resource/PluginCatalogue.h"
#include "kernel/standard/Options.h"

using namespace Zef;

namespace {

Guid Id(std::uint8_t last) {
  Guid id;
  id.rest[7] = last;
  return id;
}

/// Reads a switch text in which "#n" stands for the id of n and "|" for the next switch.
void Read(PluginCatalogue& catalogue, std::string_view brief) {
  std::string text;
  for (const char c : brief) {
    text += c == '#' ? Id(0).Text().substr(0, 35) : c == '|' ? " +" : std::string(1, c);
  }
  Options options;
  options.Add(text);
  catalogue.Read(options);
}

/// "library:name/group" of all entries, or "name/group" of a group.
std::string Rows(const PluginCatalogue& catalogue) {
  std::string rows;
  for (const PluginEntry& entry : catalogue.Entries()) {
    if (!entry.IsGroup()) rows.append(entry.library->Name().View()).append(":");
    rows.append(entry.name.View());
    if (entry.parent != nullptr) rows.append("/").append(entry.parent->name.View());
    rows += " ";
  }
  return rows;
}

}  // namespace

TEST(Guid, TextsAreReadAtFixedPlaces) {
  constexpr std::string_view kText = "8DBDFEB0-52F4-4C1B-BA91-6A7B1CCC6D3E";
  const std::pair<std::string, std::string> cases[] = {
      {"8dbdfeb0-52f4-4c1b-ba91-6a7b1ccc6d3e behind", std::string(kText)},
      {"8DBDFEB0x52F4x4C1BxBA91x6A7B1CCC6D3E", std::string(kText)},
      {"8DBDFEB-052F4-4C1B-BA91-6A7B1CCC6D3E", "08DBDFEB-52F4-4C1B-BA91-6A7B1CCC6D3E"},
      {"{8DBDFEB0-52F4-4C1B-BA91-6A7B1CCC6D3E", "00000000-0000-0000-00A9-00A7B1CCC6D3"},
      {"8DBD-EB0", "00008DBD-0000-0000-0000-000000000000"},
      {"", "00000000-0000-0000-0000-000000000000"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(Guid::Parse(text).Text(), expected) << text;
  EXPECT_EQ(Guid::Parse(kText).Hash(), 0x8DBDFEB0U ^ 0x4C1B52F4U ^ 0x7B6A91BAU ^ 0x3E6DCC1CU);
}

TEST(PluginCatalogue, RowsAreReadByTheirFields) {
  const std::pair<const char*, const char*> cases[] = {
      {"+PluginGroup=A:#1|PluginGroup=B:#2:#1|Plugin=lib:x:#3|Plugin=lib:y:#4:#2",
       "A B/A lib:x lib:y/B "},
      {"+Plugin=lib:x:#3:#1|PluginGroup=A:#1", "A lib:x/A "},  // groups are read first
      {"+PluginGroup=B:#2:#1|PluginGroup=A:#1", "A "},         // but in their own order
      {"+Plugin=lib:y:#1|Plugin=lib:x:#3:#1", "lib:y "},
      {"+Plugin=lib|Plugin=lib:x|Plugin=:x:#1|Plugin=lib::#1|Plugin|PluginGroup=A", ""},
      {"+Plugin=lib:x:zz|PluginGroup=A:#1:zz", "lib:x "},  // garbled ids
      {"+Plugin=lib:x:#1::rest|PluginGroup=A:#2::rest", "A lib:x "},
      {"+Plugin=a:x:#1,b:x:#1|plugin=a:y:#2", "a:x b:x a:y "},
      {"-Plugin=a:x:#1 -Plugin=b:x:#1", "b:x "}  // without '+' the last text wins
  };
  for (const auto& [text, rows] : cases) {
    PluginCatalogue catalogue;
    Read(catalogue, text);
    EXPECT_EQ(Rows(catalogue), rows) << text;
  }
}

TEST(PluginCatalogue, TheFirstRowThatAnswersWins) {
  PluginCatalogue catalogue;
  Read(catalogue,
       "+PluginGroup=A:#1|PluginGroup=B:#2|Plugin=p:x:#3:#1|Plugin=q:x:#3:#2|"
       "Plugin=r:x:#4:#2|Plugin=s:y:#3|Plugin=t:z:zz");
  const struct {
    PluginQuery query;
    const char* library;
  } cases[] = {{{{}, Id(3), {}}, "p"},     {{{}, Id(3), Id(2)}, "p"},  // by id no group counts
               {{"x", {}, {}}, "p"},       {{"x", {}, Id(2)}, "q"},     {{"x", Id(4), Id(2)}, "q"},
               {{"y", Id(4), {}}, "s"},    {{"y", {}, Id(1)}, nullptr}, {{"X", {}, {}}, nullptr},
               {{{}, Id(9), {}}, nullptr}, {{{}, {}, {}}, nullptr},     {{"z", {}, {}}, "t"}};
  for (const auto& c : cases) {
    const PluginEntry* const found = catalogue.Find(c.query);
    EXPECT_STREQ(found != nullptr ? found->library->Name().Text() : nullptr, c.library);
  }
}

TEST(PluginCatalogue, HostileTextsCostLittle) {
  // One bucket for all, groups within groups, and a library for each row.
  std::string text;
  Guid id;
  for (std::uint32_t i = 1; i <= 10'000; ++i) {
    const std::string above = id.Text();
    id.first = i * 97;
    text += " +PluginGroup=A:" + id.Text() + ":" + above + " +PluginGroup=B:" + id.Text();
    text += " +Plugin=" + std::to_string(i) + ":n:" + id.Text();
  }
  PluginCatalogue catalogue;
  Read(catalogue, text);
  std::uint32_t deepest = 0;
  for (const PluginEntry& entry : catalogue.Entries()) deepest = std::max(deepest, entry.depth);
  EXPECT_EQ(deepest, PluginCatalogue::kMostNesting);
  EXPECT_LT(catalogue.Entries().size(), 2 * PluginCatalogue::kMostRows);
}

TEST(PluginLibrary, NamesOfCataloguesBecomeFileNames) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"Render.DLL", {"Render_7s.dll", "Render_7s.so"}},
      {"tool.exe", {"tool_7s.exe", "tool_7s.so"}},
      {"a.b/render", {"a.b/render_7s.dll", "a.b/render_7s.so"}},
      {"render.v2", {"render.v2", "render.v2.so"}},
      {std::string(300, 'x'), {}}};
  for (const auto& [name, files] : cases) EXPECT_EQ(PluginFileNames(name), files) << name;
}
