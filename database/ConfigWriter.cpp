#include "database/ConfigWriter.h"

#include <memory>
#include <vector>

#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/ConfigReader.h"
#include "kernel/standard/CodePage.h"
#include "tagdata/TagFiles.h"
#include "tagdata/TagTextWriter.h"

namespace {

bool DeleteConfigs(const std::string& folder) {
  std::vector<std::string> names;
  if (!Zef::Platform::ListFolder(folder, &names)) return false;
  for (const std::string& name : names) {
    const std::string path = std::string(folder).append("/").append(name);
    if (!IsConfigName(name) || Zef::Platform::IsFolder(path)) continue;
    if (!Zef::Platform::DeleteFile(path)) return false;
  }
  return true;
}

/// A text without the zeros that close it.
std::string_view TextOf(const HCSChunk& chunk) {
  if (chunk.GetDataSize() == 0) return {};
  const std::string_view bytes(reinterpret_cast<const char*>(chunk.GetData()), chunk.GetDataSize());
  return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

/// Numbers may change their type, and nothing may become null.
bool Survives(const HCSChunk& before, const HCSChunk& after) {
  if (before.GetType() == TagSoup) return after.GetType() == TagSoup;
  const bool isText = before.GetType() == TagString || before.GetType() == TagStringAlt;
  if (isText) return TextOf(before) == TextOf(after);
  return after.GetType() != TagNull || before.GetDataSize() == 0;
}

/// Tags, at any depth, that are not there afterwards, or without their value. Of a container that
/// is lost its own are not counted.
std::uint64_t CountLost(const TagContainer& before, const TagContainer& after) {
  struct Pair {
    std::unique_ptr<TagCursor> before;
    TagContainer after;
  };
  std::uint64_t lost = 0;
  std::vector<Pair> open;
  open.push_back({before.Chunk()->Tags(), after});
  while (!open.empty()) {
    std::string_view key;
    ChunkRef tag;
    const bool hasNext = open.back().before != nullptr && open.back().before->Next(key, tag);
    if (!hasNext) {
      open.pop_back();
      continue;
    }
    const TagContainer& within = open.back().after;
    ChunkRef kept = within.FindTag(key);
    if (IsNullChunk(kept.Get())) kept = within.FindTag(CleanTagKey(key));
    if (!open.back().before->IsFirst() || IsNullChunk(kept.Get()) || !Survives(*tag, *kept)) {
      ++lost;
    } else if (tag->GetType() == TagSoup) {
      open.push_back({tag->Tags(), TagContainer(kept)});
    }
  }
  return lost;
}

}  // namespace

TagContainer TagsWithout(const TagContainer& source, std::string_view key) {
  TagContainer rest;
  rest.Ensure();
  source.ForEach([&](std::string_view name, const ChunkRef& chunk) {
    if (name != key) rest.Chunk()->AddTag(Zef::PString(name), chunk);
  });
  return rest;
}

bool WriteConfig(const TagContainer& config, const std::string& folder, ConfigForm form,
                 const PLID& id, std::uint64_t* lost) {
  static const Zef::PString idKey("plid");
  const char* const name = form == ConfigForm::Binary ? kBinaryConfig : kTextConfig;
  if (!DeleteConfigs(folder) || !SaveTagFile(config, {}, folder + "/" + name)) return false;
  TagContainer written;
  ConfigReader reader;
  if (reader.ReadAt({{}, folder}, written, UseOfConfigTag) != ConfigStatus::Loaded ||
      written.GetPLID(idKey) != id) {
    return false;
  }
  if (lost == nullptr) return true;
  if (reader.ReadAt({{}, folder}, written) != ConfigStatus::Loaded) return false;
  *lost += CountLost(config, written);
  return true;
}

std::uint64_t CountLosses(const TagTextLosses& losses) {
  return losses.replaced + losses.cut + losses.tooDeep + (losses.bytesLeft != 0 ? 1 : 0);
}
