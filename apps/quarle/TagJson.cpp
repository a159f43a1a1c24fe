#include "apps/quarle/TagJson.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "apps/quarle/JsonWriter.h"
#include "tagdata/TagContainer.h"

namespace {

constexpr std::array<const char*, 8> kTypeNames = {"null",   "container", "binary", "float",
                                                   "string", "string",    "int",    "plid"};

std::string Hex(const std::byte* data, std::uint32_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(std::size_t{size} * 2);
  for (std::uint32_t i = 0; i < size; ++i) {
    const auto byte = std::to_integer<unsigned>(data[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

void WriteWord(JsonWriter& json, std::string_view key, bool isFloat, const std::byte* data) {
  std::int32_t number = 0;
  float real = 0;
  std::memcpy(&number, data, sizeof number);
  std::memcpy(&real, data, sizeof real);
  if (isFloat) {
    json.Float(key, real);
  } else {
    json.Number(key, number);
  }
}

/// Floats and numbers: one value, or an array of several.
void WriteWords(JsonWriter& json, bool isFloat, const HCSChunk& chunk) {
  const std::uint32_t count = chunk.GetDataSize() / 4;
  if (count == 1) return WriteWord(json, "value", isFloat, chunk.GetData());
  json.BeginArray("value");
  for (std::uint32_t i = 0; i < count; ++i) {
    WriteWord(json, {}, isFloat, chunk.GetData() + std::size_t{i} * 4);
  }
  json.EndArray();
}

void WriteValue(JsonWriter& json, const HCSChunk& chunk) {
  const std::int32_t type = chunk.GetType();
  const CoreRef core = chunk.GetCore();
  if (type == TagNull) {
    json.Null("value");
  } else if (type == TagString || type == TagStringAlt) {
    json.Text("value", core ? core->Text() : std::string_view());
  } else if (type == TagFloat || type == TagInt) {
    WriteWords(json, type == TagFloat, chunk);
  } else if (type == TagPLID && chunk.GetDataSize() == PLID::kStoredSize) {
    json.Text("value", PLID::FromStored(chunk.GetData()).TagText());
  } else {
    json.Text("value", Hex(chunk.GetData(), chunk.GetDataSize()));
  }
}

}  // namespace

const char* TagTypeName(std::int32_t type) {
  const bool known = type >= 0 && static_cast<std::size_t>(type) < kTypeNames.size();
  return known ? kTypeNames[static_cast<std::size_t>(type)] : "unknown";
}

void WriteTags(JsonWriter& json, std::string_view key, const TagContainer& tags) {
  json.BeginArray(key);
  std::vector<std::unique_ptr<TagCursor>> open;
  if (tags.Chunk()) open.push_back(tags.Chunk()->Tags());
  std::string_view name;
  ChunkRef child;
  while (!open.empty()) {
    if (open.back() == nullptr || !open.back()->Next(name, child)) {
      open.pop_back();
      if (open.empty()) break;
      json.EndArray();
      json.EndObject();
      continue;
    }
    json.BeginObject();
    json.Text("key", name);
    json.Text("type", TagTypeName(child->GetType()));
    if (!open.back()->IsFirst() || open.size() > kMaxTagDepth) {
      json.Bool("repeated", true);
    } else if (child->GetType() != TagSoup) {
      WriteValue(json, *child);
    } else {
      json.BeginArray("tags");
      open.push_back(child->Tags());
      continue;
    }
    json.EndObject();
  }
  json.EndArray();
}
