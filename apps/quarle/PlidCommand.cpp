// quarle plid: what a text means as an asset identifier.

#include <array>
#include <cstdio>

#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "tagdata/PLID.h"

namespace {

/// "<NULL>" and its likes mean the null identifier; other texts that give it are no identifiers.
bool MeansNull(const std::string& text) {
  return text.size() >= 3 && text[0] == '<' && (text[1] | 0x20) == 'n' && (text[2] | 0x20) == 'u';
}

bool IsValid(const std::string& text, const PLID& id) { return !id.IsNull() || MeansNull(text); }

std::string HexWord(std::uint32_t word) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(word));
  return text.data();
}

void PrintText(const std::string& text, const PLID& id) {
  Print(Emphasised(Emphasis::Heading, id.TagText()) + "  from " + Quoted(text) + "\n");
  Print("  words   " + id.ToWords() + "\n");
  Print("  triple  user " + std::to_string(id.user) + ", content " + std::to_string(id.content) +
        ", version " + std::to_string(id.version) + "\n");
  Print("  packed  content " + HexWord(static_cast<std::uint32_t>(id.content)) +
        ", user and version " + HexWord(id.PackedWord()) + "\n");
}

void WriteItem(JsonWriter& json, const std::string& text, const PLID& id) {
  json.NewLine();
  json.BeginObject();
  json.Text("text", text);
  json.Text("tag", id.TagText());
  json.Text("words", id.ToWords());
  json.Number("user", id.user);
  json.Number("content", id.content);
  json.Number("version", id.version);
  json.BeginArray("packed");
  json.UnsignedItem(static_cast<std::uint32_t>(id.content));
  json.UnsignedItem(id.PackedWord());
  json.EndArray();
  json.Bool("null", id.IsNull());
  json.Bool("valid", IsValid(text, id));
  json.EndObject();
}

}  // namespace

int RunPlid(const PlidOptions& options, const CommonOptions& common) {
  const std::string* bad = nullptr;
  const auto parse = [&](const std::string& text) {
    const PLID id(std::string_view(text), options.strict);
    if (bad == nullptr && !IsValid(text, id)) bad = &text;
    return id;
  };
  if (common.json) {
    JsonWriter json;
    json.BeginArray();
    for (const std::string& text : options.texts) WriteItem(json, text, parse(text));
    json.EndArray();
  } else {
    for (const std::string& text : options.texts) {
      if (const PLID id = parse(text); IsValid(text, id)) PrintText(text, id);
    }
  }
  if (bad == nullptr) return kDone;
  return Fail(Quoted(*bad) + " is no asset identifier; write " +
              (options.strict ? "" : "USER:CONTENT, or ") +
              "in quotes '<plid:USER:CONTENT>' or '<plid2:USER:CONTENT:VERSION>'");
}
